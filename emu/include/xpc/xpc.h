#ifndef __XPC_H__
#define __XPC_H__
// XPC objects and connections, the subset MacHelper and its client use. Names,
// types, constants and signatures are Apple's (plain C/C++ flavour: objects
// are void pointers with manual retain/release).

#include <dispatch/dispatch.h>
#include <bsm/audit.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/cdefs.h>
#include <sys/types.h>
#include <unistd.h>

#define XPC_WARN_RESULT __attribute__((__warn_unused_result__))
#define XPC_NOESCAPE __attribute__((__noescape__))

typedef const struct _xpc_type_s *xpc_type_t;
typedef void *xpc_object_t;
#define XPC_DECL(name) typedef struct _##name##_s *name##_t
#define XPC_GLOBAL_OBJECT(object) (&(object))

#ifdef __BLOCKS__
typedef void (^xpc_handler_t)(xpc_object_t object);
typedef bool (^xpc_array_applier_t)(size_t index, xpc_object_t value);
typedef bool (^xpc_dictionary_applier_t)(const char *key, xpc_object_t value);
#endif

__BEGIN_DECLS

extern const struct _xpc_type_s _xpc_type_connection;
extern const struct _xpc_type_s _xpc_type_null;
extern const struct _xpc_type_s _xpc_type_bool;
extern const struct _xpc_type_s _xpc_type_int64;
extern const struct _xpc_type_s _xpc_type_uint64;
extern const struct _xpc_type_s _xpc_type_double;
extern const struct _xpc_type_s _xpc_type_data;
extern const struct _xpc_type_s _xpc_type_string;
extern const struct _xpc_type_s _xpc_type_array;
extern const struct _xpc_type_s _xpc_type_dictionary;
extern const struct _xpc_type_s _xpc_type_error;

#define XPC_TYPE_CONNECTION (&_xpc_type_connection)
#define XPC_TYPE_NULL (&_xpc_type_null)
#define XPC_TYPE_BOOL (&_xpc_type_bool)
#define XPC_TYPE_INT64 (&_xpc_type_int64)
#define XPC_TYPE_UINT64 (&_xpc_type_uint64)
#define XPC_TYPE_DOUBLE (&_xpc_type_double)
#define XPC_TYPE_DATA (&_xpc_type_data)
#define XPC_TYPE_STRING (&_xpc_type_string)
#define XPC_TYPE_ARRAY (&_xpc_type_array)
#define XPC_TYPE_DICTIONARY (&_xpc_type_dictionary)
#define XPC_TYPE_ERROR (&_xpc_type_error)

XPC_DECL(xpc_connection);

extern const struct _xpc_bool_s _xpc_bool_true;
extern const struct _xpc_bool_s _xpc_bool_false;
#define XPC_BOOL_TRUE XPC_GLOBAL_OBJECT(_xpc_bool_true)
#define XPC_BOOL_FALSE XPC_GLOBAL_OBJECT(_xpc_bool_false)

extern const char *const _xpc_error_key_description;
#define XPC_ERROR_KEY_DESCRIPTION _xpc_error_key_description

#define XPC_ARRAY_APPEND ((size_t)(-1))

// Objects
xpc_object_t xpc_retain(xpc_object_t object);
void xpc_release(xpc_object_t object);
XPC_WARN_RESULT xpc_type_t xpc_get_type(xpc_object_t object);
const char *xpc_type_get_name(xpc_type_t type);
XPC_WARN_RESULT bool xpc_equal(xpc_object_t object1, xpc_object_t object2);
XPC_WARN_RESULT size_t xpc_hash(xpc_object_t object);
// A debugging description; the caller frees it with free(3).
XPC_WARN_RESULT char *xpc_copy_description(xpc_object_t object);

// Scalars
XPC_WARN_RESULT xpc_object_t xpc_null_create(void);
XPC_WARN_RESULT xpc_object_t xpc_bool_create(bool value);
bool xpc_bool_get_value(xpc_object_t xbool);
XPC_WARN_RESULT xpc_object_t xpc_int64_create(int64_t value);
int64_t xpc_int64_get_value(xpc_object_t xint);
XPC_WARN_RESULT xpc_object_t xpc_uint64_create(uint64_t value);
uint64_t xpc_uint64_get_value(xpc_object_t xuint);
XPC_WARN_RESULT xpc_object_t xpc_double_create(double value);
double xpc_double_get_value(xpc_object_t xdouble);

// Data and strings
XPC_WARN_RESULT xpc_object_t xpc_data_create(const void *bytes, size_t length);
size_t xpc_data_get_length(xpc_object_t xdata);
const void *xpc_data_get_bytes_ptr(xpc_object_t xdata);
size_t xpc_data_get_bytes(xpc_object_t xdata, void *buffer, size_t off, size_t length);
XPC_WARN_RESULT xpc_object_t xpc_string_create(const char *string);
XPC_WARN_RESULT xpc_object_t xpc_string_create_with_format(const char *fmt, ...)
    __attribute__((__format__(__printf__, 1, 2)));
size_t xpc_string_get_length(xpc_object_t xstring);
const char *xpc_string_get_string_ptr(xpc_object_t xstring);

// Arrays
XPC_WARN_RESULT xpc_object_t xpc_array_create(const xpc_object_t *objects, size_t count);
XPC_WARN_RESULT xpc_object_t xpc_array_create_empty(void);
void xpc_array_set_value(xpc_object_t xarray, size_t index, xpc_object_t value);
void xpc_array_append_value(xpc_object_t xarray, xpc_object_t value);
size_t xpc_array_get_count(xpc_object_t xarray);
xpc_object_t xpc_array_get_value(xpc_object_t xarray, size_t index);
void xpc_array_set_string(xpc_object_t xarray, size_t index, const char *string);
const char *xpc_array_get_string(xpc_object_t xarray, size_t index);
#ifdef __BLOCKS__
bool xpc_array_apply(xpc_object_t xarray, XPC_NOESCAPE xpc_array_applier_t applier);
#endif

// Dictionaries
XPC_WARN_RESULT xpc_object_t xpc_dictionary_create(const char *const *keys, const xpc_object_t *values,
                                                   size_t count);
XPC_WARN_RESULT xpc_object_t xpc_dictionary_create_empty(void);
// NULL unless `original` arrived from a peer that waits for a reply; only once per message.
XPC_WARN_RESULT xpc_object_t xpc_dictionary_create_reply(xpc_object_t original);
void xpc_dictionary_set_value(xpc_object_t xdict, const char *key, xpc_object_t value);
xpc_object_t xpc_dictionary_get_value(xpc_object_t xdict, const char *key);
size_t xpc_dictionary_get_count(xpc_object_t xdict);
#ifdef __BLOCKS__
bool xpc_dictionary_apply(xpc_object_t xdict, XPC_NOESCAPE xpc_dictionary_applier_t applier);
#endif
xpc_connection_t xpc_dictionary_get_remote_connection(xpc_object_t xdict);

void xpc_dictionary_set_bool(xpc_object_t xdict, const char *key, bool value);
void xpc_dictionary_set_int64(xpc_object_t xdict, const char *key, int64_t value);
void xpc_dictionary_set_uint64(xpc_object_t xdict, const char *key, uint64_t value);
void xpc_dictionary_set_double(xpc_object_t xdict, const char *key, double value);
void xpc_dictionary_set_data(xpc_object_t xdict, const char *key, const void *bytes, size_t length);
void xpc_dictionary_set_string(xpc_object_t xdict, const char *key, const char *string);

bool xpc_dictionary_get_bool(xpc_object_t xdict, const char *key);
int64_t xpc_dictionary_get_int64(xpc_object_t xdict, const char *key);
uint64_t xpc_dictionary_get_uint64(xpc_object_t xdict, const char *key);
double xpc_dictionary_get_double(xpc_object_t xdict, const char *key);
const void *xpc_dictionary_get_data(xpc_object_t xdict, const char *key, size_t *length);
const char *xpc_dictionary_get_string(xpc_object_t xdict, const char *key);
xpc_object_t xpc_dictionary_get_dictionary(xpc_object_t xdict, const char *key);
xpc_object_t xpc_dictionary_get_array(xpc_object_t xdict, const char *key);

__END_DECLS

#ifdef __BLOCKS__
#define __XPC_INDIRECT__
#include <xpc/connection.h>
#undef __XPC_INDIRECT__
#endif

#endif
