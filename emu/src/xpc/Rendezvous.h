#pragma once
#include <sys/types.h>

#include <string>

namespace emu::xpc::rendezvous {

// Where the two ends of Mach service NAME meet: the Unix socket
// /var/run/xpc/NAME, and the lock file /var/run/xpc/NAME.lock held by the
// process that listens.

// A listening socket for `name`: the one the emulated launchd handed over in
// XPC_EMU_LISTENER_FDS, else a freshly bound one if no other live process
// listens. -1 if neither.
int listen(const std::string& name);

// A socket connected to the listener for `name`, or -1.
int connect(const std::string& name);

// The process at the other end of a connected socket, 0 if unknown.
pid_t peerPid(int fd);

}  // namespace emu::xpc::rendezvous
