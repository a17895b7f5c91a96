#include "Log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <ctime>

Log::Log(const std::string& path) {
  std::string dir = path.substr(0, path.rfind('/'));
  if (!dir.empty()) mkdir(dir.c_str(), 0755);
  fd_ = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
}

Log::~Log() {
  if (fd_ >= 0) close(fd_);
}

void Log::write(const char* format, ...) {
  if (fd_ < 0) return;
  const auto now = std::chrono::system_clock::now();
  const time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto millis =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  tm local{};
  localtime_r(&seconds, &local);
  char line[1024];
  size_t n = strftime(line, sizeof line, "%Y-%m-%d %H:%M:%S", &local);
  n += snprintf(line + n, sizeof line - n, ".%03lld launchd[%d]: ", static_cast<long long>(millis),
                static_cast<int>(getpid()));
  va_list args;
  va_start(args, format);
  int body = vsnprintf(line + n, sizeof line - n - 1, format, args);
  va_end(args);
  n = body < 0 ? n : std::min(sizeof line - 2, n + static_cast<size_t>(body));
  line[n++] = '\n';
  (void)!::write(fd_, line, n);
}
