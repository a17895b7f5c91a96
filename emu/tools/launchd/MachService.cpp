#include "MachService.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

MachService::MachService(std::string dir, std::string name)
    : dir_(std::move(dir)), name_(std::move(name)) {}

MachService::~MachService() { close(); }

MachService::OpenResult MachService::open(std::string& error) {
  if (isOpen()) return OpenResult::Opened;
  const std::string path = socketPath();
  // Bound under a temporary name and renamed into place, so that the name
  // only ever appears already listening.
  const std::string staging = dir_ + "/.launchd-bind";
  sockaddr_un address{};
  if (staging.size() >= sizeof(address.sun_path) || path.size() >= sizeof(address.sun_path)) {
    error = "socket path too long: " + path;
    return OpenResult::Failed;
  }
  mkdir(dir_.c_str(), 0755);

  lockFd_ = ::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (lockFd_ < 0) {
    error = "cannot open " + path + ".lock: " + strerror(errno);
    return OpenResult::Failed;
  }
  if (flock(lockFd_, LOCK_EX | LOCK_NB) != 0) {
    const bool taken = errno == EWOULDBLOCK;
    error = taken ? "held by another process" : std::string("flock: ") + strerror(errno);
    ::close(std::exchange(lockFd_, -1));
    return taken ? OpenResult::Taken : OpenResult::Failed;
  }

  fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  address.sun_family = AF_UNIX;
  memcpy(address.sun_path, staging.c_str(), staging.size() + 1);
  unlink(staging.c_str());
  if (fd_ < 0 || bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
      chmod(staging.c_str(), 0666) != 0 || listen(fd_, SOMAXCONN) != 0 ||
      rename(staging.c_str(), path.c_str()) != 0) {
    error = "cannot listen on " + path + ": " + strerror(errno);
    unlink(staging.c_str());
    if (fd_ >= 0) ::close(std::exchange(fd_, -1));
    ::close(std::exchange(lockFd_, -1));
    return OpenResult::Failed;
  }
  return OpenResult::Opened;
}

void MachService::close() {
  if (fd_ >= 0) {
    unlink(socketPath().c_str());
    ::close(std::exchange(fd_, -1));
  }
  if (lockFd_ >= 0) ::close(std::exchange(lockFd_, -1));
}
