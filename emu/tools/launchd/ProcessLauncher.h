#pragma once
// fork + exec that reports a failed exec to the caller instead of leaving it
// to a child exiting with 127, so that launchd can log the real reason.
#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

class ProcessLauncher {
 public:
  struct Options {
    std::string program;  // searched in PATH when it has no slash
    std::vector<std::string> arguments;
    std::optional<std::vector<std::string>> environment;  // nullopt: inherit ours
    std::vector<int> inheritedFds;  // kept open across exec; all others are close-on-exec
    bool daemon = false;            // new session, stdin from /dev/null, output below
    std::string standardOutPath;    // daemon only; /dev/null when empty
    std::string standardErrorPath;
    std::string workingDirectory;
  };

  // The child's pid, or -1 with `error` set.
  static pid_t launch(const Options& options, std::string& error);
};
