#include "ProcessLauncher.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

std::vector<char*> pointers(const std::vector<std::string>& strings) {
  std::vector<char*> result;
  for (const auto& s : strings) result.push_back(const_cast<char*>(s.c_str()));
  result.push_back(nullptr);
  return result;
}

void redirect(int target, const std::string& path, int flags) {
  int fd = open(path.empty() ? "/dev/null" : path.c_str(), flags | O_CLOEXEC, 0644);
  if (fd >= 0 && fd != target) {
    dup2(fd, target);
    close(fd);
  }
}

// launchd starts its jobs with every signal at its default, whatever it
// inherited or chose for itself: an ignored signal would survive exec. The
// raw call also reaches the signals the C library keeps for its own use.
void resetSignalDispositions() {
  struct KernelSigaction {
    void* handler;  // SIG_DFL is null
    unsigned long flags;
    void* restorer;
    unsigned long mask;
  };
  for (int number = 1; number <= 64; ++number) {
    if (number == SIGKILL || number == SIGSTOP) continue;
    KernelSigaction action{};
    syscall(SYS_rt_sigaction, number, &action, nullptr, sizeof action.mask);
  }
}

[[noreturn]] void runChild(const ProcessLauncher::Options& options, char* const* argv,
                           char* const* envp, int statusFd) {
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  resetSignalDispositions();
  if (options.daemon) {
    setsid();
    redirect(STDIN_FILENO, "", O_RDONLY);
    redirect(STDOUT_FILENO, options.standardOutPath, O_WRONLY | O_CREAT | O_APPEND);
    redirect(STDERR_FILENO, options.standardErrorPath, O_WRONLY | O_CREAT | O_APPEND);
  }
  // A daemon gets only what launchd hands it, never what launchd itself
  // happened to inherit.
  if (options.daemon) close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
  for (int fd : options.inheritedFds) fcntl(fd, F_SETFD, 0);
  if (!options.workingDirectory.empty() && chdir(options.workingDirectory.c_str()) != 0) {
    int error = errno;
    (void)!write(statusFd, &error, sizeof error);
    _exit(127);
  }
  execvpe(options.program.c_str(), argv, envp);
  int error = errno;
  (void)!write(statusFd, &error, sizeof error);
  _exit(127);
}

}  // namespace

pid_t ProcessLauncher::launch(const Options& options, std::string& error) {
  // Everything the child needs is built before fork.
  std::vector<char*> argv = pointers(options.arguments);
  std::vector<char*> envp =
      options.environment ? pointers(*options.environment) : std::vector<char*>{};
  char* const* environment = options.environment ? envp.data() : environ;

  int status[2];
  if (pipe2(status, O_CLOEXEC) != 0) {
    error = std::string("pipe: ") + strerror(errno);
    return -1;
  }
  pid_t pid = fork();
  if (pid < 0) {
    error = std::string("fork: ") + strerror(errno);
    close(status[0]);
    close(status[1]);
    return -1;
  }
  if (pid == 0) runChild(options, argv.data(), environment, status[1]);

  close(status[1]);
  int childErrno = 0;
  ssize_t n;
  do {
    n = read(status[0], &childErrno, sizeof childErrno);
  } while (n < 0 && errno == EINTR);
  close(status[0]);
  if (n <= 0) return pid;  // exec succeeded and closed the pipe

  waitpid(pid, nullptr, 0);
  error = "cannot execute " + options.program + ": " + strerror(childErrno);
  return -1;
}
