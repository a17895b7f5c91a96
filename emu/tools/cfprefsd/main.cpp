// The fake Mac's cfprefsd. On a Mac it caches preference domains and
// `killall -HUP cfprefsd` makes it drop that cache after a plist was edited
// behind its back. The emulated CFPreferences reads the files directly, so
// there is no cache: this daemon exists so that the same command works and
// finds a process of that name. SIGTERM ends it.
#include <signal.h>
#include <unistd.h>

namespace {

void dropCache(int) {}

}  // namespace

int main() {
  struct sigaction action {};
  action.sa_handler = dropCache;
  sigaction(SIGHUP, &action, nullptr);
  for (;;) pause();
}
