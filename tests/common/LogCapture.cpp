#include "LogCapture.h"

#include <algorithm>
#include <atomic>

namespace {

std::string uniqueServiceName() {
  static std::atomic<int> next{0};
  return "test.logcapture." + std::to_string(next++);
}

}  // namespace

LogCapture::LogCapture()
    : name_(uniqueServiceName()),
      service_(name_,
               ^(xpc_connection_t peer, xpc_object_t message) {
                 xpc_object_t reply = xpc_dictionary_create_reply(message);
                 xpc_connection_send_message(peer, reply);
                 xpc_release(reply);
               }),
      client_(name_) {
  sync();
  logger_.setXpcConnection(service_.peers().at(0));
}

LogCapture::~LogCapture() { logger_.setXpcConnection(nullptr); }

void LogCapture::sync() { client_.sendCommand("sync"); }

std::vector<LogLine> LogCapture::take() {
  sync();
  return client_.takeLogLines();
}

bool LogCapture::saw(int64_t level, const std::string& text) {
  std::vector<LogLine> lines = take();
  return std::find(lines.begin(), lines.end(), LogLine{level, text}) != lines.end();
}
