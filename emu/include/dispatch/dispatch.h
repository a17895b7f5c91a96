#ifndef __DISPATCH_PUBLIC__
#define __DISPATCH_PUBLIC__
// The part of libdispatch MacHelper uses: serial queues, the main and global
// queues, semaphores and dispatch time. Names, types and signatures are
// Apple's, so code written against this header builds unchanged on macOS.

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/cdefs.h>
#include <unistd.h>

#define __DISPATCH_INDIRECT__
#include <dispatch/object.h>
#include <dispatch/time.h>
#include <dispatch/queue.h>
#include <dispatch/semaphore.h>
#undef __DISPATCH_INDIRECT__

#endif
