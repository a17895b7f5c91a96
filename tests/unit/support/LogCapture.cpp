#include "LogCapture.h"

#include <algorithm>

namespace {
const char kService[] = "test.support.log";
}  // namespace

LogCapture::LogCapture()
    : service_(kService,
               ^(xpc_connection_t peer, xpc_object_t message) {
                 xpc_object_t reply = xpc_dictionary_create_reply(message);
                 xpc_connection_send_message(peer, reply);
                 xpc_release(reply);
               }),
      client_(kService) {
  client_.sendCommand("hello");  // makes the peer exist on the service side
  logger_.setXpcConnection(service_.peers().at(0));
}

LogCapture::~LogCapture() { logger_.setXpcConnection(nullptr); }

std::vector<LogLine> LogCapture::take() {
  // Lines sent before the reply arrive before it.
  client_.sendCommand("hello");
  return client_.takeLogLines();
}

bool LogCapture::saw(int level, const std::string& text) {
  std::vector<LogLine> lines = take();
  return std::find(lines.begin(), lines.end(), LogLine{level, text}) != lines.end();
}
