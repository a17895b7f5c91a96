// The fake Mac's cfprefsd. On a Mac it caches preference domains and
// `killall -HUP cfprefsd` makes it drop that cache after a plist was edited
// behind its back. The emulated CFPreferences reads the files directly, so
// there is no cache: this daemon exists so that the same command works and
// finds a process of that name. It stays up until SIGTERM.
#include <signal.h>

int main() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGHUP);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGINT);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  for (;;) {
    int sig = 0;
    if (sigwait(&set, &sig) == 0 && sig != SIGHUP) return 0;
  }
}
