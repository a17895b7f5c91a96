#include <Security/Authorization.h>
#include <unistd.h>

#include <cstring>

#include "../common/Release.h"
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

// Since macOS 11 changing the admin trust settings takes an administrator's
// password even for root; a daemon has nobody to ask for it.
bool needsAdministrator(const AuthorizationRights *rights) {
  if (emu::releaseMajor() < 11) return false;
  for (UInt32 i = 0; i < rights->count; i++) {
    if (rights->items[i].name != nullptr && std::strcmp(rights->items[i].name, "com.apple.trust-settings.admin") == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace

OSStatus AuthorizationCreate(const AuthorizationRights *rights, const AuthorizationEnvironment *environment,
                             AuthorizationFlags flags, AuthorizationRef *authorization) {
  if ((flags & ~kKnownFlags) != 0) return errAuthorizationInvalidFlags;
  if (!validSet(rights) || !validSet(environment)) return errAuthorizationInvalidSet;
  // Root holds every right. Anyone else would have to authenticate, and there
  // is nobody to ask.
  bool extending = rights != nullptr && rights->count > 0 && (flags & kAuthorizationFlagExtendRights) != 0;
  if (extending && needsAdministrator(rights)) return errAuthorizationInteractionNotAllowed;
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
