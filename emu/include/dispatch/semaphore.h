#ifndef __DISPATCH_SEMAPHORE__
#define __DISPATCH_SEMAPHORE__

#ifndef __DISPATCH_INDIRECT__
#error "Please #include <dispatch/dispatch.h> instead of this file directly."
#endif

DISPATCH_DECL(dispatch_semaphore);

__BEGIN_DECLS

// NULL if value is negative.
DISPATCH_NOTHROW dispatch_semaphore_t dispatch_semaphore_create(intptr_t value);
// Zero on success, non-zero if the timeout elapsed.
DISPATCH_NOTHROW intptr_t dispatch_semaphore_wait(dispatch_semaphore_t dsema, dispatch_time_t timeout);
// Non-zero if a waiting thread was woken.
DISPATCH_NOTHROW intptr_t dispatch_semaphore_signal(dispatch_semaphore_t dsema);

__END_DECLS

#endif
