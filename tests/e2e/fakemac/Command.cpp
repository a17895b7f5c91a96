#include "Command.h"

#include <sys/wait.h>
#include <unistd.h>

Command::Result Command::run(const std::vector<std::string>& argv) {
  std::vector<char*> args;
  for (const auto& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  int out[2];
  if (pipe(out) != 0) return {};
  pid_t pid = fork();
  if (pid == 0) {
    dup2(out[1], STDOUT_FILENO);
    dup2(out[1], STDERR_FILENO);
    close(out[0]);
    close(out[1]);
    execv(args[0], args.data());
    _exit(127);
  }
  close(out[1]);
  Result result;
  char buffer[4096];
  ssize_t n;
  while ((n = read(out[0], buffer, sizeof buffer)) > 0) result.output.append(buffer, n);
  close(out[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}
