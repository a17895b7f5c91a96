#include "ClientVerifier.h"

#include <limits.h>

#include "CFCast.h"
#include "ErrorUtils.h"

// Exported by libxpc, though not declared in its public headers: the kernel's
// identity of the process at the other end of a connection.
extern "C" void xpc_connection_get_audit_token(xpc_connection_t connection, audit_token_t* token);

#ifdef __APPLE__
// Introduced in macOS 12; the helper also runs on older releases, so the
// symbol is weak and its presence is tested at run time (the cross-build has
// no compiler runtime for availability checks).
extern "C" int xpc_connection_set_peer_code_signing_requirement(xpc_connection_t connection,
                                                                const char* requirement)
    __attribute__((weak_import));
#endif

namespace {

// Entitlements that let other code into a process despite the hardened runtime.
const char kDisableLibraryValidation[] = "com.apple.security.cs.disable-library-validation";

std::string statusText(OSStatus status) { return xpc::ErrorUtils(nullptr).getErrorStringFromOsStatus(status); }

xpc::CFRef<SecCodeRef> guestFor(xpc_connection_t peer, OSStatus& status) {
  audit_token_t token;
  xpc_connection_get_audit_token(peer, &token);
  xpc::CFRef<CFDataRef> data(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(&token), sizeof token),
                             xpc::RefPolicy::Adopt);
  const void* keys[] = {kSecGuestAttributeAudit};
  const void* values[] = {data.get()};
  xpc::CFRef<CFDictionaryRef> attributes(
      CFDictionaryCreate(nullptr, keys, values, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks),
      xpc::RefPolicy::Adopt);
  xpc::CFRef<SecCodeRef> code;
  status = SecCodeCopyGuestWithAttributes(nullptr, attributes.get(), kSecCSDefaultFlags, code.initializeInto());
  return code;
}

std::string pathOf(SecCodeRef code) {
  xpc::CFRef<CFURLRef> url;
  char path[PATH_MAX];
  if (SecCodeCopyPath(code, kSecCSDefaultFlags, url.initializeInto()) != errSecSuccess ||
      !CFURLGetFileSystemRepresentation(url.get(), true, reinterpret_cast<UInt8*>(path), sizeof path)) {
    return "";
  }
  return path;
}

// Why code signed with these flags and entitlements could be made to run
// someone else's code; empty when it could not.
std::string injectionRisk(SecCodeRef code) {
  xpc::CFRef<CFDictionaryRef> information;
  if (SecCodeCopySigningInformation(code, kSecCSSigningInformation | kSecCSRequirementInformation,
                                    information.initializeInto()) != errSecSuccess) {
    return "its signing information cannot be read";
  }
  uint32_t flags = 0;
  CFNumberRef number = xpc::cfCast<CFNumberRef>(CFDictionaryGetValue(information.get(), kSecCodeInfoFlags));
  if (number == nullptr || !CFNumberGetValue(number, kCFNumberSInt32Type, &flags) ||
      (flags & kSecCodeSignatureRuntime) == 0) {
    return "it does not run with the hardened runtime, so other code could be injected into it";
  }
  CFDictionaryRef entitlements =
      xpc::cfCast<CFDictionaryRef>(CFDictionaryGetValue(information.get(), kSecCodeInfoEntitlementsDict));
  if (entitlements != nullptr) {
    xpc::CFRef<CFStringRef> key(CFStringCreateWithCString(nullptr, kDisableLibraryValidation, kCFStringEncodingUTF8),
                                xpc::RefPolicy::Adopt);
    if (CFDictionaryGetValue(entitlements, key.get()) == kCFBooleanTrue) {
      return "it disables library validation, so other code could be injected into it";
    }
  }
  return "";
}

}  // namespace

ClientVerifier::ClientVerifier(const std::string& requirement) : requirementText(requirement) {
  xpc::CFRef<CFStringRef> text(CFStringCreateWithCString(nullptr, requirement.c_str(), kCFStringEncodingUTF8),
                               xpc::RefPolicy::Adopt);
  requirementStatus = text ? SecRequirementCreateWithString(text.get(), kSecCSDefaultFlags,
                                                             this->requirement.initializeInto())
                           : errSecCSReqInvalid;
}

std::string ClientVerifier::refusal(xpc_connection_t peer) const {
  std::string who = "(PID " + std::to_string(xpc_connection_get_pid(peer)) + ", UID " +
                    std::to_string(xpc_connection_get_euid(peer)) + ")";
  OSStatus status;
  xpc::CFRef<SecCodeRef> code = guestFor(peer, status);
  if (status != errSecSuccess) {
    return "Refused a connection from a process " + who + " whose code cannot be examined: " + statusText(status);
  }
  who = "'" + pathOf(code.get()) + "' " + who;
  if (requirementStatus != errSecSuccess) {
    return "Refused a connection from " + who + ": the client requirement cannot be read: " +
           statusText(requirementStatus);
  }
  status = SecCodeCheckValidity(code.get(), kSecCSDefaultFlags, requirement.get());
  if (status != errSecSuccess) {
    return "Refused a connection from " + who + ": it is not a signed client of this helper: " + statusText(status);
  }
  std::string risk = injectionRisk(code.get());
  if (!risk.empty()) return "Refused a connection from " + who + ": " + risk + ".";
  return "";
}

void ClientVerifier::enforceOnEveryMessage(xpc_connection_t peer) const {
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wunguarded-availability-new"
  int (*const setRequirement)(xpc_connection_t, const char*) = xpc_connection_set_peer_code_signing_requirement;
#pragma clang diagnostic pop
  if (setRequirement == nullptr) return;
  // A requirement the runtime cannot read was refused by refusal() already.
  (void)setRequirement(peer, requirementText.c_str());
}
