#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Files.h"

namespace emu {

bool readFile(const std::string &path, std::vector<UInt8> &bytes, struct stat &status) {
  status = {};
  bytes.clear();
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd == -1) return false;
  bool ok = fstat(fd, &status) == 0;
  UInt8 buffer[65536];
  for (ssize_t n; ok && (n = read(fd, buffer, sizeof(buffer))) != 0;) {
    if (n > 0) {
      bytes.insert(bytes.end(), buffer, buffer + n);
    } else {
      ok = errno == EINTR;
    }
  }
  close(fd);
  if (!ok) bytes.clear();
  return ok;
}

int replaceFile(const std::string &path, CFDataRef contents, mode_t mode) {
  std::string newPath = path + "-new";
  int fd = open(newPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
  if (fd == -1) return errno;
  int error = fchmod(fd, mode) == 0 ? 0 : errno;  // the umask must not narrow the mode
  const UInt8 *bytes = CFDataGetBytePtr(contents);
  size_t left = static_cast<size_t>(CFDataGetLength(contents));
  while (error == 0 && left > 0) {
    ssize_t n = write(fd, bytes, left);
    if (n > 0) {
      bytes += n;
      left -= static_cast<size_t>(n);
    } else if (n == 0 || errno != EINTR) {
      error = n == 0 ? EIO : errno;
    }
  }
  if (error == 0 && fsync(fd) != 0) error = errno;
  if (close(fd) != 0 && error == 0) error = errno;
  if (error == 0 && rename(newPath.c_str(), path.c_str()) != 0) error = errno;
  if (error != 0) unlink(newPath.c_str());
  return error;
}

}  // namespace emu
