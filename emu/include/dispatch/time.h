#ifndef __DISPATCH_TIME__
#define __DISPATCH_TIME__

#ifndef __DISPATCH_INDIRECT__
#error "Please #include <dispatch/dispatch.h> instead of this file directly."
#endif

#include <stdint.h>

#define NSEC_PER_SEC 1000000000ull
#define NSEC_PER_MSEC 1000000ull
#define USEC_PER_SEC 1000000ull
#define NSEC_PER_USEC 1000ull

typedef uint64_t dispatch_time_t;

#define DISPATCH_TIME_NOW (0ull)
#define DISPATCH_TIME_FOREVER (~0ull)

__BEGIN_DECLS

// A point on the monotonic clock `delta` nanoseconds after `when`.
DISPATCH_NOTHROW dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta);

__END_DECLS

#endif
