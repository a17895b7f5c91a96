#pragma once
#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

struct ProcessResult {
  int status;  // exit status, or 128 + signal number
  std::string out;
  std::string err;
};

// A program started by a test. The destructor kills and reaps it if it is
// still running, so no test leaves a process behind.
class ChildProcess {
 public:
  explicit ChildProcess(const std::vector<std::string>& argv);
  // Runs `body` in a forked copy of the test; what it answers is the exit status.
  explicit ChildProcess(const std::function<int()>& body);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t pid() const { return pid_; }
  bool running();
  // Reaps the process and answers its status (as in ProcessResult).
  int wait();
  void signal(int number);

  // Runs a program to its end, capturing both output streams.
  static ProcessResult run(const std::vector<std::string>& argv);

 private:
  pid_t pid_;
  int status_ = -1;
};

// Waits until the Mach service listens (false if it never does).
bool waitForService(const std::string& label);
