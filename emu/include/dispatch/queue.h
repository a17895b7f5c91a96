#ifndef __DISPATCH_QUEUE__
#define __DISPATCH_QUEUE__

#ifndef __DISPATCH_INDIRECT__
#error "Please #include <dispatch/dispatch.h> instead of this file directly."
#endif

DISPATCH_DECL(dispatch_queue);
DISPATCH_DECL_SUBCLASS(dispatch_queue_global, dispatch_queue);
DISPATCH_DECL_SUBCLASS(dispatch_queue_serial, dispatch_queue);
DISPATCH_DECL_SUBCLASS(dispatch_queue_main, dispatch_queue_serial);
DISPATCH_DECL(dispatch_queue_attr);

#define DISPATCH_QUEUE_SERIAL NULL

#define DISPATCH_QUEUE_PRIORITY_HIGH 2
#define DISPATCH_QUEUE_PRIORITY_DEFAULT 0
#define DISPATCH_QUEUE_PRIORITY_LOW (-2)
#define DISPATCH_QUEUE_PRIORITY_BACKGROUND INT16_MIN

__BEGIN_DECLS

#ifdef __BLOCKS__
DISPATCH_NOTHROW void dispatch_async(dispatch_queue_t queue, dispatch_block_t block);
DISPATCH_NOTHROW void dispatch_sync(dispatch_queue_t queue, DISPATCH_NOESCAPE dispatch_block_t block);
#endif
DISPATCH_NOTHROW void dispatch_async_f(dispatch_queue_t queue, void *context, dispatch_function_t work);
DISPATCH_NOTHROW void dispatch_sync_f(dispatch_queue_t queue, void *context, dispatch_function_t work);

DISPATCH_NOTHROW dispatch_queue_main_t dispatch_get_main_queue(void);
DISPATCH_NOTHROW dispatch_queue_global_t dispatch_get_global_queue(intptr_t identifier, uintptr_t flags);
DISPATCH_NOTHROW dispatch_queue_t dispatch_queue_create(const char *label, dispatch_queue_attr_t attr);

// Runs blocks submitted to the main queue on the calling (main) thread.
DISPATCH_NOTHROW void dispatch_main(void) __attribute__((__noreturn__));

__END_DECLS

#endif
