#include "PeerProcess.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

extern char** environ;

PeerProcess::PeerProcess(const std::vector<std::string>& args) {
  int pipeFds[2];
  if (pipe2(pipeFds, O_CLOEXEC) != 0) return;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
  std::vector<char*> argv{const_cast<char*>(XPC_TEST_PEER)};
  for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  if (posix_spawn(&pid_, XPC_TEST_PEER, &actions, nullptr, argv.data(), environ) != 0) pid_ = -1;
  posix_spawn_file_actions_destroy(&actions);
  close(pipeFds[1]);
  output_ = pipeFds[0];
}

PeerProcess::~PeerProcess() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    wait();
  }
  if (output_ >= 0) close(output_);
}

bool PeerProcess::readLine(std::string& line) {
  line.clear();
  char c;
  while (read(output_, &c, 1) == 1) {
    if (c == '\n') return true;
    line += c;
  }
  return false;
}

int PeerProcess::wait() {
  if (pid_ <= 0) return -1;
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
