#include "LogCapture.h"

#include <algorithm>
#include <utility>

namespace {

// Support objects log from the test's own thread only.
std::vector<LogLine>& recorded() {
  static std::vector<LogLine> lines;
  return lines;
}

}  // namespace

// The recording Logger.
Logger::Logger() : connectionSet(false), connection(nullptr) {}
Logger::~Logger() {}
void Logger::addLine(unsigned char level, std::string text) { recorded().push_back({level, std::move(text)}); }
void Logger::setXpcConnection(xpc_connection_t newConnection) {
  connection = newConnection;
  connectionSet = true;
}

LogCapture::LogCapture() { recorded().clear(); }

std::vector<LogLine> LogCapture::take() {
  std::vector<LogLine> lines;
  lines.swap(recorded());
  return lines;
}

bool LogCapture::saw(int level, const std::string& text) {
  std::vector<LogLine> lines = take();
  return std::find(lines.begin(), lines.end(), LogLine{level, text}) != lines.end();
}
