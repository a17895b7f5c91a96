#include "ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <thread>

#include "Files.h"

namespace {

// Built before fork: the child of a threaded test only calls execv.
std::vector<char*> arguments(const std::vector<std::string>& argv) {
  std::vector<char*> args;
  for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  return args;
}

[[noreturn]] void execute(std::vector<char*>& args) {
  execv(args[0], args.data());
  _exit(127);
}

int decode(int status) {
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return -1;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& argv) {
  std::vector<char*> args = arguments(argv);
  pid_ = fork();
  if (pid_ == 0) execute(args);
}

ChildProcess::ChildProcess(const std::function<int()>& body) : pid_(fork()) {
  if (pid_ == 0) _exit(body());
}

ChildProcess::~ChildProcess() {
  if (pid_ > 0 && running()) {
    ::kill(pid_, SIGKILL);
    wait();
  }
}

bool ChildProcess::running() {
  if (status_ != -1) return false;
  int status = 0;
  if (waitpid(pid_, &status, WNOHANG) == pid_) {
    status_ = decode(status);
    return false;
  }
  return true;
}

int ChildProcess::wait() {
  if (status_ == -1) {
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    status_ = decode(status);
  }
  return status_;
}

void ChildProcess::signal(int number) { ::kill(pid_, number); }

ProcessResult ChildProcess::run(const std::vector<std::string>& argv) {
  char outPath[] = "/tmp/child-out-XXXXXX";
  char errPath[] = "/tmp/child-err-XXXXXX";
  int out = mkstemp(outPath);
  int err = mkstemp(errPath);
  std::vector<char*> args = arguments(argv);
  pid_t pid = fork();
  if (pid == 0) {
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    execute(args);
  }
  close(out);
  close(err);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  ProcessResult result{decode(status), fileBytes(outPath), fileBytes(errPath)};
  unlink(outPath);
  unlink(errPath);
  return result;
}

bool waitForService(const std::string& label) {
  // Looks for the listening socket without connecting: a probe connection
  // would itself be a client of the service and move its log stream.
  const std::string path = " /var/run/xpc/" + label;
  const std::string listening = " 00010000 ";  // __SO_ACCEPTCON in the flags column
  // Only a guard against a hang: the service normally listens at once.
  for (int attempt = 0; attempt < 3000; ++attempt) {
    std::ifstream table("/proc/net/unix");
    std::string line;
    while (std::getline(table, line)) {
      bool samePath = line.size() >= path.size() &&
                      line.compare(line.size() - path.size(), path.size(), path) == 0;
      if (samePath && line.find(listening) != std::string::npos) return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}
