#ifndef __os_log_h
#define __os_log_h
// Unified logging, reduced to what MacHelper uses: messages on the default
// log. Here the "system log" is the process's standard error, one line per
// message, with privacy annotations such as %{public}s removed.

#include <stdint.h>
#include <sys/cdefs.h>

typedef struct os_log_s *os_log_t;

typedef enum : uint8_t {
  OS_LOG_TYPE_DEFAULT = 0x00,
  OS_LOG_TYPE_INFO = 0x01,
  OS_LOG_TYPE_DEBUG = 0x02,
  OS_LOG_TYPE_ERROR = 0x10,
  OS_LOG_TYPE_FAULT = 0x11,
} os_log_type_t;

__BEGIN_DECLS

extern struct os_log_s _os_log_default;
#define OS_LOG_DEFAULT ((os_log_t)&_os_log_default)

// Behind the macros only, as _os_log_impl is on macOS.
void emu_os_log_write(os_log_t log, os_log_type_t type, const char *format, ...)
    __attribute__((__format__(__os_log__, 3, 4)));

__END_DECLS

// The format must be a string literal, as on macOS.
#define os_log_with_type(log, type, format, ...) emu_os_log_write((log), (type), "" format "", ##__VA_ARGS__)
#define os_log(log, format, ...) os_log_with_type(log, OS_LOG_TYPE_DEFAULT, format, ##__VA_ARGS__)
#define os_log_info(log, format, ...) os_log_with_type(log, OS_LOG_TYPE_INFO, format, ##__VA_ARGS__)
#define os_log_debug(log, format, ...) os_log_with_type(log, OS_LOG_TYPE_DEBUG, format, ##__VA_ARGS__)
#define os_log_error(log, format, ...) os_log_with_type(log, OS_LOG_TYPE_ERROR, format, ##__VA_ARGS__)
#define os_log_fault(log, format, ...) os_log_with_type(log, OS_LOG_TYPE_FAULT, format, ##__VA_ARGS__)

#endif
