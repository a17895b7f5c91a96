#pragma once
// The emulated kernel's record of the process at the other end of a socket,
// taken when it connected: what macOS hands a listener as the peer's audit
// token. Code-signing checks read the executable through the descriptor
// taken here, so that a process that later execs or swaps the file on disk
// cannot change what was checked. Peers that run the same file share one
// descriptor to it, so that a connection costs the listener one descriptor
// (its socket), however many a client opens.

#include <bsm/audit.h>
#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>

namespace emu::kernel {

struct ProcessIdentity {  // what the kernel knew of a peer when it connected
  pid_t pid = 0;
  uid_t uid = 0;
  gid_t gid = 0;
  std::string executablePath;  // readlink(/proc/PID/exe) at capture time
  std::shared_ptr<const int> executable;  // the executable, opened O_RDONLY|O_CLOEXEC; closed with its last holder
  uint32_t generation = 0;     // unique per capture (process-wide counter); the token's pidversion slot
  ~ProcessIdentity();
};

// The process at the other end of a connected AF_UNIX socket as it was at
// connect time (SO_PEERCRED, and SO_PEERPIDFD to make sure the PID was not
// reused while /proc/PID/exe was opened); null if it cannot be established.
// Registers the identity so that its audit token finds it while it lives.
std::shared_ptr<const ProcessIdentity> captureSocketPeer(int fd);

// macOS's audit token layout: val[1] euid, val[2] egid, val[3] ruid,
// val[4] rgid, val[5] pid, val[7] pidversion.
audit_token_t auditTokenOf(const ProcessIdentity& identity);

// The identity a token names while some holder keeps it alive (weak
// registry), else null.
std::shared_ptr<const ProcessIdentity> identityForAuditToken(const audit_token_t& token);

}  // namespace emu::kernel
