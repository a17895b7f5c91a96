#pragma once
#include <string>
#include <vector>

#include "Logger.h"
#include "ServiceLoopback.h"
#include "XpcTestClient.h"

// A real Logger whose lines come back to the test: it is attached to the peer
// of an in-process service, and that service's client collects what the
// Logger streams, as the helper's client would.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  Logger* logger() { return &logger_; }
  // Every line logged so far, then forgets them.
  std::vector<LogLine> take();
  // Whether a line with exactly this level and text was logged (and forgets all).
  bool saw(int level, const std::string& text);

 private:
  ServiceLoopback service_;
  XpcTestClient client_;
  Logger logger_;
};
