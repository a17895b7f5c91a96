// launchd [--log FILE] [--ready-fd FD] [-- COMMAND [ARG...]]
//
// Started by `fakemac` as PID 1 of a fake Mac. See Launchd.h.
#include <fcntl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "BackgroundItems.h"
#include "Launchd.h"

int main(int argc, char** argv) {
  Launchd::Options options;
  options.jobDirs = {"/System/Library/LaunchDaemons", "/Library/LaunchDaemons"};
  options.backgroundItems = BackgroundItems::kDefaultPath;
  options.rendezvousDir = "/var/run/xpc";
  options.logPath = "/var/log/launchd.log";
  int i = 1;
  for (; i < argc; ++i) {
    if (!strcmp(argv[i], "--log") && i + 1 < argc) {
      options.logPath = argv[++i];
    } else if (!strcmp(argv[i], "--ready-fd") && i + 1 < argc) {
      options.readyFd = atoi(argv[++i]);
      fcntl(options.readyFd, F_SETFD, FD_CLOEXEC);
    } else if (!strcmp(argv[i], "--")) {
      ++i;
      break;
    } else {
      fprintf(stderr, "usage: launchd [--log FILE] [--ready-fd FD] [-- COMMAND [ARG...]]\n");
      return 2;
    }
  }
  options.session.assign(argv + i, argv + argc);
  return Launchd(std::move(options)).run();
}
