#pragma once
#include <dispatch/dispatch.h>
#include <xpc/xpc.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "XpcRef.h"

struct LogLine {
  int64_t level;
  std::string text;
  bool operator==(const LogLine& other) const { return level == other.level && text == other.text; }
};
void PrintTo(const LogLine& line, std::ostream* out);
bool contains(const std::vector<LogLine>& lines, const LogLine& line);

// A client of a Mach service for tests: sends requests, waits for replies and
// collects the log lines the service streams in between, and every event. Log lines and replies
// are handled on one serial queue, so every line sent before a reply has been
// collected when the reply is returned; lines sent after it may or may not
// have arrived yet, so the client shows only the lines that came before the
// most recent reply.
class XpcTestClient {
 public:
  explicit XpcTestClient(const std::string& service);
  ~XpcTestClient();
  XpcTestClient(const XpcTestClient&) = delete;
  XpcTestClient& operator=(const XpcTestClient&) = delete;

  // Sends the request and waits for its reply (or the error the connection
  // reports instead). Null only if nothing came within the time limit.
  xpc::XpcRef send(xpc_object_t request);
  // Sends {"Command": command} and waits for the reply.
  xpc::XpcRef sendCommand(const std::string& command);
  void sendWithoutReply(xpc_object_t message);

  // Log lines that arrived before the most recent reply; takeLogLines also
  // forgets them.
  std::vector<LogLine> logLines();
  std::vector<LogLine> takeLogLines();
  // Waits for `text` among the lines that arrive after the most recent reply,
  // e.g. the service's closing lines of a request.
  bool waitForLineAfterReply(const std::string& text);

  // Every event so far (messages and errors) in order, and a wait for more.
  size_t eventCount();
  xpc_object_t event(size_t index);
  bool waitForEvents(size_t count);

  void cancel();
  xpc_connection_t connection() const { return connection_; }

 private:
  template <typename Predicate>
  bool waitFor(Predicate predicate);

  dispatch_queue_t queue_;
  xpc_connection_t connection_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<LogLine> lines_;
  std::vector<xpc::XpcRef> events_;
  size_t linesBeforeReply_ = 0;
  bool finished_ = false;  // the connection's last event has been delivered
};

// One request argument, typed as the helper reads it.
struct Arg {
  Arg(const char* key, const char* value) : key(key), type(XPC_TYPE_STRING), text(value) {}
  Arg(const char* key, std::string value) : key(key), type(XPC_TYPE_STRING), text(std::move(value)) {}
  Arg(const char* key, int value) : key(key), type(XPC_TYPE_INT64), number(value) {}
  Arg(const char* key, long long value) : key(key), type(XPC_TYPE_INT64), number(value) {}
  Arg(const char* key, bool value) : key(key), type(XPC_TYPE_BOOL), flag(value) {}
  Arg(const char* key, unsigned long long value)
      : key(key), type(XPC_TYPE_UINT64), number(static_cast<int64_t>(value)) {}
  // Bytes as an XPC data value.
  static Arg data(const char* key, std::string bytes) {
    Arg arg(key, std::move(bytes));
    arg.type = XPC_TYPE_DATA;
    return arg;
  }
  std::string key;
  xpc_type_t type;
  std::string text;
  int64_t number = 0;
  bool flag = false;
};

// {"Command": command, args...} as a new request.
xpc::XpcRef makeRequest(const std::string& command, const std::vector<Arg>& args = {});
// The keys of a reply dictionary, sorted.
std::vector<std::string> replyKeys(xpc_object_t reply);
std::string replyString(xpc_object_t reply, const char* key);
