#include "ProcessIdentity.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <map>
#include <mutex>

#ifndef SO_PEERPIDFD
#define SO_PEERPIDFD 77
#endif

namespace emu::kernel {
namespace {

std::atomic<uint32_t> lastGeneration{0};

// Live identities by generation; an entry leaves with its identity.
std::mutex registryMutex;
std::map<uint32_t, std::weak_ptr<const ProcessIdentity>>& registry() {
  static auto* identities = new std::map<uint32_t, std::weak_ptr<const ProcessIdentity>>;
  return *identities;
}

struct Descriptor {
  int fd = -1;
  ~Descriptor() {
    if (fd >= 0) close(fd);
  }
};

// Open descriptors of the executables peers run, by file; an entry leaves
// with its last holder.
std::mutex executablesMutex;
std::map<std::pair<dev_t, ino_t>, std::weak_ptr<const int>>& executables() {
  static auto* files = new std::map<std::pair<dev_t, ino_t>, std::weak_ptr<const int>>;
  return *files;
}

// A descriptor of the file `link` resolves to, shared with every other peer
// that runs the same file; null if it cannot be opened.
std::shared_ptr<const int> openExecutable(const std::string& link) {
  struct stat named {};
  if (stat(link.c_str(), &named) != 0) return nullptr;
  const std::pair<dev_t, ino_t> file(named.st_dev, named.st_ino);
  std::lock_guard<std::mutex> lock(executablesMutex);
  if (auto shared = executables()[file].lock()) return shared;
  int fd = open(link.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return nullptr;
  std::shared_ptr<const int> opened(new int(fd), [file](const int* fd) {
    close(*fd);
    delete fd;
    std::lock_guard<std::mutex> lock(executablesMutex);
    auto found = executables().find(file);
    if (found != executables().end() && found->second.expired()) executables().erase(found);
  });
  executables()[file] = opened;
  return opened;
}

// Whether the process a pidfd names is still the one it named: a PID is
// reused only after its process has gone.
bool stillRunning(int pidfd) { return syscall(SYS_pidfd_send_signal, pidfd, 0, nullptr, 0) == 0; }

}  // namespace

ProcessIdentity::~ProcessIdentity() {
  std::lock_guard<std::mutex> lock(registryMutex);
  auto found = registry().find(generation);
  if (found != registry().end() && found->second.expired()) registry().erase(found);
}

std::shared_ptr<const ProcessIdentity> captureSocketPeer(int fd) {
  ucred cred{};
  socklen_t credSize = sizeof cred;
  if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &credSize) != 0 || credSize != sizeof cred || cred.pid <= 0)
    return nullptr;
  Descriptor pidfd;
  socklen_t pidfdSize = sizeof pidfd.fd;
  if (getsockopt(fd, SOL_SOCKET, SO_PEERPIDFD, &pidfd.fd, &pidfdSize) != 0) {
    // Kernels before 6.5 (Debian 12's among them) cannot pin the peer at
    // connect time; the PID is pinned from now on instead, which leaves the
    // small window in which a peer that went away had its PID reused.
    if (errno != ENOPROTOOPT) return nullptr;
    pidfd.fd = static_cast<int>(syscall(SYS_pidfd_open, cred.pid, 0));
  }
  if (pidfd.fd < 0) return nullptr;

  auto identity = std::make_shared<ProcessIdentity>();
  identity->pid = cred.pid;
  identity->uid = cred.uid;
  identity->gid = cred.gid;
  const std::string exeLink = "/proc/" + std::to_string(cred.pid) + "/exe";
  identity->executable = openExecutable(exeLink);
  if (!identity->executable) return nullptr;
  char path[PATH_MAX];
  ssize_t length = readlink(exeLink.c_str(), path, sizeof path);
  if (length <= 0 || static_cast<size_t>(length) >= sizeof path) return nullptr;
  identity->executablePath.assign(path, static_cast<size_t>(length));
  // The path must name the file that was opened (no exec in between), and
  // the PID must still be the peer's.
  struct stat opened {}, named {};
  if (fstat(*identity->executable, &opened) != 0 || stat(exeLink.c_str(), &named) != 0 ||
      opened.st_dev != named.st_dev || opened.st_ino != named.st_ino || !stillRunning(pidfd.fd))
    return nullptr;

  identity->generation = ++lastGeneration;
  std::lock_guard<std::mutex> lock(registryMutex);
  registry()[identity->generation] = identity;
  return identity;
}

audit_token_t auditTokenOf(const ProcessIdentity& identity) {
  audit_token_t token{};
  token.val[1] = identity.uid;
  token.val[2] = identity.gid;
  token.val[3] = identity.uid;
  token.val[4] = identity.gid;
  token.val[5] = static_cast<unsigned int>(identity.pid);
  token.val[7] = identity.generation;
  return token;
}

std::shared_ptr<const ProcessIdentity> identityForAuditToken(const audit_token_t& token) {
  std::weak_ptr<const ProcessIdentity> entry;
  {
    std::lock_guard<std::mutex> lock(registryMutex);
    auto found = registry().find(token.val[7]);
    if (found == registry().end()) return nullptr;
    entry = found->second;
  }
  // Outside the lock: the last reference may go here, and its destructor
  // takes the lock.
  auto identity = entry.lock();
  if (!identity) return nullptr;
  audit_token_t own = auditTokenOf(*identity);
  for (int i = 0; i < 8; ++i)
    if (own.val[i] != token.val[i]) return nullptr;
  return identity;
}

}  // namespace emu::kernel
