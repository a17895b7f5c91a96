#pragma once
#include <dispatch/dispatch.h>
#include <xpc/xpc.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

// A Mach service served inside the test process: every dictionary a peer
// sends is handed to the given block on that peer's queue, as the helper's
// peer handler would. The destructor returns only when no handler can run
// any more, so what the block uses may go away right after it.
class ServiceLoopback {
 public:
  using MessageHandler = void (^)(xpc_connection_t peer, xpc_object_t message);

  ServiceLoopback(const std::string& name, MessageHandler onMessage);
  ~ServiceLoopback();
  ServiceLoopback(const ServiceLoopback&) = delete;
  ServiceLoopback& operator=(const ServiceLoopback&) = delete;

  // Peers accepted so far, oldest first.
  std::vector<xpc_connection_t> peers();

 private:
  dispatch_queue_t queue_;
  xpc_connection_t listener_;
  MessageHandler onMessage_;
  std::mutex mutex_;
  std::condition_variable ended_;
  std::vector<xpc_connection_t> peers_;  // retained
  size_t endedConnections_ = 0;          // the listener's and peers' final events seen
};
