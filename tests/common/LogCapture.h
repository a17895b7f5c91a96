#pragma once
#include <string>
#include <vector>

#include "Logger.h"
#include "ServiceLoopback.h"
#include "XpcTestClient.h"

// A real Logger whose lines land in the test: it is attached to an in-process
// client, exactly as the helper attaches it to its client.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();

  Logger* logger() { return &logger_; }
  // Every line logged since the last look (all of them have arrived when
  // this returns); forgets them.
  std::vector<LogLine> take();
  // Whether exactly this line was logged since the last look; forgets them all.
  bool saw(int64_t level, const std::string& text);

 private:
  void sync();

  std::string name_;
  ServiceLoopback service_;
  XpcTestClient client_;
  Logger logger_;
};
