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

std::vector<LogLine> LogCapture::lines() {
  sync();
  return client_.logLines();
}

std::vector<std::string> LogCapture::texts() {
  std::vector<std::string> result;
  for (const LogLine& line : lines()) result.push_back(line.text);
  return result;
}

bool LogCapture::contains(const std::string& text) {
  std::vector<std::string> all = texts();
  return std::find(all.begin(), all.end(), text) != all.end();
}

void LogCapture::clear() {
  sync();
  client_.takeLogLines();
}
