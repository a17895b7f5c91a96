// The main executable's path, which Linux keeps as /proc/self/exe.
#include <mach-o/dyld.h>
#include <unistd.h>

#include <climits>
#include <cstring>

extern "C" int _NSGetExecutablePath(char* buf, uint32_t* bufsize) {
  char path[PATH_MAX];
  ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  if (length <= 0 || static_cast<size_t>(length) >= sizeof path) return -1;
  const uint32_t needed = static_cast<uint32_t>(length) + 1;
  if (bufsize == nullptr || buf == nullptr || *bufsize < needed) {
    if (bufsize != nullptr) *bufsize = needed;
    return -1;
  }
  memcpy(buf, path, static_cast<size_t>(length));
  buf[length] = '\0';
  return 0;
}
