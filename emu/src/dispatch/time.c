#include <dispatch/dispatch.h>
#include <time.h>

dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta) {
  if (when == DISPATCH_TIME_FOREVER) return DISPATCH_TIME_FOREVER;
  if (when == DISPATCH_TIME_NOW) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    when = (uint64_t)now.tv_sec * NSEC_PER_SEC + (uint64_t)now.tv_nsec;
  }
  if (delta >= 0) {
    // Saturate: a deadline past the end of time is no deadline.
    return (uint64_t)delta >= DISPATCH_TIME_FOREVER - when ? DISPATCH_TIME_FOREVER : when + (uint64_t)delta;
  }
  uint64_t back = (uint64_t)(-(delta + 1)) + 1;  // |delta| without overflowing at INT64_MIN
  // Never 0, which would mean "now" rather than a point in the past.
  return back >= when ? 1 : when - back;
}
