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
  // Every line logged so far (waits until lines already sent have arrived).
  std::vector<LogLine> lines();
  std::vector<std::string> texts();
  bool contains(const std::string& text);
  void clear();

 private:
  void sync();

  std::string name_;
  ServiceLoopback service_;
  XpcTestClient client_;
  Logger logger_;
};
