#pragma once
#include <Security/Security.h>
#include <xpc/xpc.h>

#include <string>

#include "CFRef.h"

// Decides who may talk to the helper. Any local process can look up the Mach
// service, so a peer is admitted only when its code satisfies the client
// requirement (the maker's signed client applications) and cannot have other
// code injected into it. What is examined is the kernel's identity of the
// peer (its audit token), never a PID that may since belong to someone else.
class ClientVerifier {
 public:
  explicit ClientVerifier(const std::string& requirement);
  ClientVerifier(const ClientVerifier&) = delete;
  ClientVerifier& operator=(const ClientVerifier&) = delete;

  // Empty when the peer may talk to the helper; otherwise the line that says
  // who was refused and why.
  std::string refusal(xpc_connection_t peer) const;

  // Where the XPC runtime offers it (macOS 12 and later), has it check the
  // requirement again on every message, so that a peer that hands its
  // connection to another process is still kept out. Call before resuming.
  void enforceOnEveryMessage(xpc_connection_t peer) const;

 private:
  std::string requirementText;
  xpc::CFRef<SecRequirementRef> requirement;
  OSStatus requirementStatus;
};
