#include "Rendezvous.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace emu::xpc::rendezvous {
namespace {

constexpr char kDirectory[] = "/var/run/xpc";
constexpr char kHandOverVariable[] = "XPC_EMU_LISTENER_FDS";

bool address(const std::string& name, sockaddr_un& addr) {
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos) return false;
  std::string path = std::string(kDirectory) + "/" + name;
  if (path.size() >= sizeof addr.sun_path) return false;
  std::memset(&addr, 0, sizeof addr);
  addr.sun_family = AF_UNIX;
  std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
  return true;
}

bool parseFd(const std::string& text, int& fd) {
  if (text.empty() || text.size() > 9 || text.find_first_not_of("0123456789") != std::string::npos) return false;
  fd = std::atoi(text.c_str());
  return true;
}

// Takes this service's entry out of XPC_EMU_LISTENER_FDS ("NAME=FD,...") so
// that children do not inherit it, and returns the socket, close-on-exec.
int takeHandedOver(const std::string& name) {
  const char* value = std::getenv(kHandOverVariable);
  if (!value) return -1;
  std::string rest = value;
  std::string kept;
  int fd = -1;
  size_t start = 0;
  while (start <= rest.size()) {
    size_t end = rest.find(',', start);
    if (end == std::string::npos) end = rest.size();
    std::string entry = rest.substr(start, end - start);
    size_t equals = entry.find('=');
    bool ours = fd < 0 && equals != std::string::npos && entry.compare(0, equals, name) == 0 &&
                parseFd(entry.substr(equals + 1), fd);
    if (!ours && !entry.empty()) kept += (kept.empty() ? "" : ",") + entry;
    start = end + 1;
  }
  if (fd < 0) return -1;
  if (kept.empty()) {
    unsetenv(kHandOverVariable);
  } else {
    setenv(kHandOverVariable, kept.c_str(), 1);
  }
  fcntl(fd, F_SETFD, FD_CLOEXEC);
  return fd;
}

}  // namespace

int listen(const std::string& name) {
  sockaddr_un addr;
  if (!address(name, addr)) return -1;
  int fd = takeHandedOver(name);
  if (fd >= 0) return fd;

  mkdir(kDirectory, 0755);
  std::string lockPath = std::string(addr.sun_path) + ".lock";
  int lock = open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (lock < 0) return -1;
  if (flock(lock, LOCK_EX | LOCK_NB) != 0) {
    close(lock);
    return -1;
  }
  // From here on the service is ours: a socket file left behind by a dead
  // listener is stale. The lock stays held (its descriptor open) for the
  // life of the process.
  unlink(addr.sun_path);
  fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
      chmod(addr.sun_path, 0666) != 0 || ::listen(fd, SOMAXCONN) != 0) {
    if (fd >= 0) close(fd);
    close(lock);
    return -1;
  }
  return fd;
}

int connect(const std::string& name) {
  sockaddr_un addr;
  if (!address(name, addr)) return -1;
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  if (::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
    close(fd);
    return -1;
  }
  // Lets the client see which process answers it (xpc_connection_get_pid).
  int on = 1;
  setsockopt(fd, SOL_SOCKET, SO_PASSCRED, &on, sizeof on);
  return fd;
}

pid_t peerPid(int fd) {
  ucred cred;
  socklen_t length = sizeof cred;
  return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &length) == 0 ? cred.pid : 0;
}

}  // namespace emu::xpc::rendezvous
