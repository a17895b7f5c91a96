#pragma once
#include <string>
#include <utility>

// How much a log line matters; lower numbers matter more. The client gets
// the number, so the values are fixed.
enum class LogLevel : unsigned char {
  Outcome = 1,   // a notable final outcome the user should see
  Warning = 3,   // something skipped or left behind; the work goes on
  Error = 4,     // an operation failed or an argument was missing
  Progress = 5,  // progress and information
  Detail = 6,    // file checks and temporary files
};

// Where log lines go. The service's Logger is the one sink; the support
// classes know only this, so that they stay below the service core.
class LogSink {
 public:
  virtual void addLine(unsigned char level, std::string text) = 0;

 protected:
  ~LogSink() = default;
};

namespace xpc {

// Every object may be given no sink, which silences it.
inline void logLine(LogSink* sink, LogLevel level, std::string text) {
  if (sink != nullptr) sink->addLine(static_cast<unsigned char>(level), std::move(text));
}

}  // namespace xpc
