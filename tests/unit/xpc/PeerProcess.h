#pragma once
// xpc_test_peer running as a child process.
#include <sys/types.h>

#include <string>
#include <vector>

class PeerProcess {
 public:
  explicit PeerProcess(const std::vector<std::string>& args);
  ~PeerProcess();  // kills the child if it still runs
  PeerProcess(const PeerProcess&) = delete;
  PeerProcess& operator=(const PeerProcess&) = delete;

  pid_t pid() const { return pid_; }
  // The next line the child printed; false once its output has ended.
  bool readLine(std::string& line);
  // Its exit status once it has ended, -1 if it did not exit normally.
  int wait();

 private:
  pid_t pid_ = -1;
  int output_ = -1;
};
