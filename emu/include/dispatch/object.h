#ifndef __DISPATCH_OBJECT__
#define __DISPATCH_OBJECT__

#ifndef __DISPATCH_INDIRECT__
#error "Please #include <dispatch/dispatch.h> instead of this file directly."
#endif

// Dispatch objects are opaque handles. In C++ the handle types form a class
// hierarchy (so a queue converts to dispatch_object_t); in C a transparent
// union does the same job, as on macOS.
#if defined(__cplusplus)
typedef struct dispatch_object_s {
  dispatch_object_s() = delete;
} *dispatch_object_t;
#define DISPATCH_DECL(name) typedef struct name##_s : public dispatch_object_s {} *name##_t
#define DISPATCH_DECL_SUBCLASS(name, base) typedef struct name##_s : public base##_s {} *name##_t
#else
typedef union {
  struct dispatch_object_s *_do;
  struct dispatch_queue_s *_dq;
  struct dispatch_queue_attr_s *_dqa;
  struct dispatch_semaphore_s *_dsema;
} dispatch_object_t __attribute__((__transparent_union__));
#define DISPATCH_DECL(name) typedef struct name##_s *name##_t
#define DISPATCH_DECL_SUBCLASS(name, base) typedef base##_t name##_t
#endif

// Attributes Apple's headers give the functions: none of them throws, and a
// block given to a synchronous call does not outlive it.
#define DISPATCH_NOTHROW __attribute__((__nothrow__))
#define DISPATCH_NOESCAPE __attribute__((__noescape__))

typedef void (*dispatch_function_t)(void *context);

#ifdef __BLOCKS__
typedef void (^dispatch_block_t)(void);
#endif

__BEGIN_DECLS

DISPATCH_NOTHROW void dispatch_retain(dispatch_object_t object);
DISPATCH_NOTHROW void dispatch_release(dispatch_object_t object);

__END_DECLS

#endif
