#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "Logger.h"

struct LogLine {
  int64_t level;
  std::string text;
  bool operator==(const LogLine& other) const { return level == other.level && text == other.text; }
};

inline std::ostream& operator<<(std::ostream& out, const LogLine& line) {
  return out << "{" << line.level << ", \"" << line.text << "\"}";
}

// The lines the objects under test log. This program links a recording
// Logger (LogCapture.cpp defines Logger's members, so the linker never takes
// the XPC-sending one from machelper_logger): support tests need the texts,
// not a client connection.
class LogCapture {
 public:
  LogCapture();
  Logger* logger() { return &logger_; }
  // Every line logged so far; forgets them.
  std::vector<LogLine> take();
  // Whether exactly this line was logged since the last look; forgets them all.
  bool saw(int level, const std::string& text);

 private:
  Logger logger_;
};
