#pragma once
// A small service built the way the helper is built (listener, one handler
// per peer, replies and streamed messages), to drive connections in tests.
// Requests are dictionaries with an "op":
//   echo   replies {"value": <the request's "value">}
//   stream sends "count" messages {"line": i}, then replies {"done": true}
//   burst  sends "count" messages {"sender": s, "seq": i} from each of
//          "senders" queues at once, then replies {"done": true}
//   hold   never replies
//   exit   exits the process on the spot
// Anything else is a stray: its type name is recorded, plus " awaiting reply"
// if the sender waits for one.
#include <dispatch/dispatch.h>
#include <xpc/xpc.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class EchoService {
 public:
  // Shared with the handlers, which the runtime may keep after the service is gone.
  struct State {
    std::mutex mu;
    std::vector<std::string> strays;
    int peersEnded = 0;
    int eventsAfterEnd = 0;
    dispatch_semaphore_t changed = dispatch_semaphore_create(0);
    ~State() { dispatch_release(changed); }
  };

  // Listens for `name`, with listener events on `queue` (NULL: its own).
  explicit EchoService(const std::string& name, dispatch_queue_t queue = nullptr);
  ~EchoService();
  EchoService(const EchoService&) = delete;
  EchoService& operator=(const EchoService&) = delete;

  bool listening() const { return listener_ != nullptr; }
  // Bounded waits until that many peers have ended / strays arrived.
  bool waitForPeersEnded(int count);
  bool waitForStrays(size_t count);
  std::vector<std::string> strays();
  int eventsAfterEnd();

 private:
  bool waitUntil(const std::function<bool(State&)>& done);

  std::shared_ptr<State> state_ = std::make_shared<State>();
  xpc_connection_t listener_ = nullptr;
};
