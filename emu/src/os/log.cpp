#include <os/log.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <string>

struct os_log_s {
  int unused;
};

extern "C" {

struct os_log_s _os_log_default = {0};

void emu_os_log_write(os_log_t, os_log_type_t, const char* format, ...) {
  // Privacy annotations ("%{public}s") mean nothing to printf; drop them.
  std::string plain;
  for (const char* p = format; *p; ++p) {
    plain += *p;
    if (*p != '%') continue;
    if (p[1] == '%') {
      plain += *++p;
    } else if (p[1] == '{') {
      const char* close = p + 2;
      while (*close && *close != '}') ++close;
      if (*close) p = close;
    }
  }

  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  int length = std::vsnprintf(nullptr, 0, plain.c_str(), args);
  va_end(args);
  std::string line(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(&line[0], line.size() + 1, plain.c_str(), again);
  va_end(again);
  line += '\n';

  // One write per message so lines from concurrent threads never interleave.
  const char* data = line.data();
  size_t left = line.size();
  while (left > 0) {
    ssize_t n = write(STDERR_FILENO, data, left);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    data += n;
    left -= static_cast<size_t>(n);
  }
}

}  // extern "C"
