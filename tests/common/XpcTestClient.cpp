#include "XpcTestClient.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

namespace {
// Only guards against a hang; no test depends on how long anything takes.
constexpr auto kPatience = std::chrono::seconds(30);
}  // namespace

XpcTestClient::XpcTestClient(const std::string& service)
    : queue_(dispatch_queue_create("test.client", DISPATCH_QUEUE_SERIAL)),
      connection_(xpc_connection_create_mach_service(service.c_str(), queue_, 0)) {
  xpc_connection_set_event_handler(connection_, ^(xpc_object_t event) {
    std::lock_guard<std::mutex> lock(mutex_);
    events_.emplace_back(event, xpc::RefPolicy::Retain);
    if (xpc_get_type(event) == XPC_TYPE_DICTIONARY) {
      const char* text = xpc_dictionary_get_string(event, "LogLine");
      lines_.push_back({xpc_dictionary_get_int64(event, "LogLevel"), text ? text : "<no LogLine>"});
    } else if (event == XPC_ERROR_CONNECTION_INVALID) {
      finished_ = true;
    }
    changed_.notify_all();
  });
  xpc_connection_resume(connection_);
}

XpcTestClient::~XpcTestClient() {
  cancel();
  // After a cancel the invalid event is the last one the handler gets; the
  // state the handler touches must outlive it. A connection that never ends
  // is a fault of the runtime under test.
  if (!waitFor([&] { return finished_; })) {
    std::fprintf(stderr, "XpcTestClient: no XPC_ERROR_CONNECTION_INVALID after cancel\n");
    std::abort();
  }
  xpc_release(connection_);
  dispatch_release(queue_);
}

template <typename Predicate>
bool XpcTestClient::waitFor(Predicate predicate) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, kPatience, predicate);
}

xpc::XpcRef XpcTestClient::send(xpc_object_t request) {
  // Shared with the handler, which may outlive this call if the wait gives up.
  auto reply = std::make_shared<xpc_object_t>(nullptr);
  xpc_connection_send_message_with_reply(connection_, request, queue_, ^(xpc_object_t answer) {
    std::lock_guard<std::mutex> lock(mutex_);
    *reply = xpc_retain(answer);
    linesBeforeReply_ = lines_.size();
    changed_.notify_all();
  });
  waitFor([&] { return *reply != nullptr; });
  std::lock_guard<std::mutex> lock(mutex_);
  return xpc::XpcRef(std::exchange(*reply, nullptr), xpc::RefPolicy::Adopt);
}

xpc::XpcRef XpcTestClient::sendCommand(const std::string& command) {
  return send(makeRequest(command).get());
}

void XpcTestClient::sendWithoutReply(xpc_object_t message) {
  xpc_connection_send_message(connection_, message);
}

std::vector<LogLine> XpcTestClient::logLines() {
  std::lock_guard<std::mutex> lock(mutex_);
  return std::vector<LogLine>(lines_.begin(), lines_.begin() + linesBeforeReply_);
}

std::vector<LogLine> XpcTestClient::takeLogLines() {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<LogLine> taken(lines_.begin(), lines_.begin() + linesBeforeReply_);
  lines_.erase(lines_.begin(), lines_.begin() + linesBeforeReply_);
  linesBeforeReply_ = 0;
  return taken;
}

bool XpcTestClient::waitForLineAfterReply(const std::string& text) {
  return waitFor([&] {
    return std::any_of(lines_.begin() + linesBeforeReply_, lines_.end(),
                       [&](const LogLine& line) { return line.text == text; });
  });
}

size_t XpcTestClient::eventCount() {
  std::lock_guard<std::mutex> lock(mutex_);
  return events_.size();
}

xpc_object_t XpcTestClient::event(size_t index) {
  std::lock_guard<std::mutex> lock(mutex_);
  return events_.at(index).get();
}

bool XpcTestClient::waitForEvents(size_t count) {
  return waitFor([&] { return events_.size() >= count; });
}

void XpcTestClient::cancel() { xpc_connection_cancel(connection_); }

void PrintTo(const LogLine& line, std::ostream* out) {
  *out << "[" << line.level << "] \"" << line.text << "\"";
}

bool contains(const std::vector<LogLine>& lines, const LogLine& line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

xpc::XpcRef makeRequest(const std::string& command, const std::vector<Arg>& args) {
  xpc::XpcRef request(xpc_dictionary_create(nullptr, nullptr, 0), xpc::RefPolicy::Adopt);
  xpc_dictionary_set_string(request.get(), "Command", command.c_str());
  for (const Arg& arg : args) {
    if (arg.type == XPC_TYPE_STRING) {
      xpc_dictionary_set_string(request.get(), arg.key.c_str(), arg.text.c_str());
    } else if (arg.type == XPC_TYPE_INT64) {
      xpc_dictionary_set_int64(request.get(), arg.key.c_str(), arg.number);
    } else if (arg.type == XPC_TYPE_UINT64) {
      xpc_dictionary_set_uint64(request.get(), arg.key.c_str(), static_cast<uint64_t>(arg.number));
    } else if (arg.type == XPC_TYPE_DATA) {
      xpc_dictionary_set_data(request.get(), arg.key.c_str(), arg.text.data(), arg.text.size());
    } else {
      xpc_dictionary_set_bool(request.get(), arg.key.c_str(), arg.flag);
    }
  }
  return request;
}

std::vector<std::string> replyKeys(xpc_object_t reply) {
  __block std::vector<std::string> keys;
  xpc_dictionary_apply(reply, ^bool(const char* key, xpc_object_t) {
    keys.push_back(key);
    return true;
  });
  std::sort(keys.begin(), keys.end());
  return keys;
}

std::string replyString(xpc_object_t reply, const char* key) {
  const char* value = xpc_dictionary_get_string(reply, key);
  return value != nullptr ? value : "<missing>";
}
