#pragma once
// launchd's own log file: one timestamped line per event, for whoever is
// debugging the fake Mac (nothing reads it programmatically).
#include <string>

class Log {
 public:
  explicit Log(const std::string& path);
  ~Log();
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  void write(const char* format, ...) __attribute__((format(printf, 2, 3)));

 private:
  int fd_ = -1;
};
