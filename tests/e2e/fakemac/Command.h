#pragma once
// Runs a program to completion and collects what it printed (stdout and
// stderr together), for tests that drive the fake Mac's tools.
#include <string>
#include <vector>

class Command {
 public:
  struct Result {
    int status = -1;  // exit status, or 128 + signal
    std::string output;
  };

  static Result run(const std::vector<std::string>& argv);
};
