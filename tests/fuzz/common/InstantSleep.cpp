// Some commands wait for the system to catch up before they try again (a
// trust setting refused once, a location not yet propagated): seconds on a
// Mac, where another process is at work. In a fuzz target nothing is
// catching up, and an input that reaches such a retry would cost seconds of
// idle time. Linked into the command-level targets, this sleep returns at
// once; the retry itself still runs.
#include <unistd.h>

extern "C" unsigned int sleep(unsigned int) { return 0; }
