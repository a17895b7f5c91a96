#include <Security/Authorization.h>
#include <unistd.h>

#include "../corefoundation/CFRuntimeInternal.h"

// An opaque pointer on the Mac, not a CF object. Here it is an instance of a
// private CF class, so that the live-object counts catch a reference that is
// never freed.
struct AuthorizationOpaqueRef {
  CFRuntimeBase base;
};

namespace {

const CFRuntimeClass kAuthorizationClass = {"Authorization", nullptr, nullptr, nullptr, nullptr, nullptr};

CFTypeID authorizationTypeID() {
  static const CFTypeID typeID = _CFRuntimeRegisterClass(&kAuthorizationClass);
  return typeID;
}

// The system's own flag for skipping the internal authentication; only its
// private header names it.
const AuthorizationFlags kAuthorizationFlagSkipInternalAuth = (1 << 9);
const AuthorizationFlags kKnownFlags = kAuthorizationFlagInteractionAllowed | kAuthorizationFlagExtendRights |
                                       kAuthorizationFlagPartialRights | kAuthorizationFlagDestroyRights |
                                       kAuthorizationFlagPreAuthorize | kAuthorizationFlagSkipInternalAuth |
                                       kAuthorizationFlagNoData;

bool validSet(const AuthorizationItemSet *set) { return set == nullptr || set->count == 0 || set->items != nullptr; }

}  // namespace

OSStatus AuthorizationCreate(const AuthorizationRights *rights, const AuthorizationEnvironment *environment,
                             AuthorizationFlags flags, AuthorizationRef *authorization) {
  if ((flags & ~kKnownFlags) != 0) return errAuthorizationInvalidFlags;
  if (!validSet(rights) || !validSet(environment)) return errAuthorizationInvalidSet;
  // Root holds every right. Anyone else would have to authenticate, and there
  // is nobody to ask.
  bool extending = rights != nullptr && rights->count > 0 && (flags & kAuthorizationFlagExtendRights) != 0;
  if (extending && geteuid() != 0) {
    return (flags & kAuthorizationFlagInteractionAllowed) != 0 ? errAuthorizationDenied
                                                               : errAuthorizationInteractionNotAllowed;
  }
  if (authorization != nullptr) {
    *authorization = static_cast<AuthorizationRef>(_CFRuntimeCreateInstance(nullptr, authorizationTypeID(), 0));
  }
  return errAuthorizationSuccess;
}

OSStatus AuthorizationFree(AuthorizationRef authorization, AuthorizationFlags flags) {
  if (authorization == nullptr || CFGetTypeID(authorization) != authorizationTypeID()) {
    return errAuthorizationInvalidRef;
  }
  if ((flags & ~kKnownFlags) != 0) return errAuthorizationInvalidFlags;
  CFRelease(authorization);
  return errAuthorizationSuccess;
}
