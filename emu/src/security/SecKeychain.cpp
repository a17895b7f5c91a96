// Keychains. A keychain reference names a file; nothing is read until an
// operation needs the items. Root's default keychain and search list are the
// System keychain, as for daemons on the Mac; other users have their login
// keychain first.

#include <pwd.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>

#include "KeychainStore.h"
#include "SecInternal.h"

namespace {

std::atomic<bool> gUserInteractionAllowed{true};

Boolean keychainEqual(CFTypeRef a, CFTypeRef b) {
  return static_cast<const __SecKeychain *>(a)->path == static_cast<const __SecKeychain *>(b)->path;
}

CFHashCode keychainHash(CFTypeRef cf) { return std::hash<std::string>()(static_cast<const __SecKeychain *>(cf)->path); }

CFStringRef keychainDescription(CFTypeRef cf) {
  return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("<SecKeychain %p: %s>"), cf,
                                  static_cast<const __SecKeychain *>(cf)->path.c_str());
}

const CFRuntimeClass kKeychainClass = {
    "SecKeychain", emu::cfFinalize<__SecKeychain>, keychainEqual, keychainHash, nullptr, keychainDescription};

std::string keychainsFolder() {
  const passwd *user = getpwuid(geteuid());
  return std::string(user != nullptr ? user->pw_dir : "/var/empty") + "/Library/Keychains/";
}

const __SecKeychain *keychainOf(CFTypeRef cf) { return emu::instance<const __SecKeychain>(cf, SecKeychainGetTypeID()); }

}  // namespace

namespace emu::sec {

void unimplemented(const char *function, const char *what) {
  std::fprintf(stderr, "Security: %s: %s is not emulated\n", function, what);
  std::abort();
}

SecKeychainRef keychainCreate(const std::string &path) {
  auto *keychain = emu::cfCreate<__SecKeychain>(SecKeychainGetTypeID());
  keychain->path = path;
  return keychain;
}

SecKeychainRef copyDefaultKeychain() {
  return keychainCreate(geteuid() == 0 ? kSystemKeychainPath : keychainsFolder() + "login.keychain-db");
}

SecKeychainRef copyKeychainOrDefault(SecKeychainRef keychain) {
  return keychain != nullptr ? static_cast<SecKeychainRef>(const_cast<void *>(CFRetain(keychain)))
                             : copyDefaultKeychain();
}

OSStatus visitItems(CFTypeRef keychainOrArray,
                    const std::function<bool(SecKeychainRef keychain, CFDictionaryRef item)> &visit) {
  std::vector<Owned<SecKeychainRef>> keychains;
  bool searchList = keychainOrArray == nullptr;
  if (searchList) {
    keychains.emplace_back(copyDefaultKeychain());
    if (geteuid() != 0) keychains.emplace_back(keychainCreate(kSystemKeychainPath));
  } else if (keychainOf(keychainOrArray) != nullptr) {
    keychains.emplace_back(static_cast<SecKeychainRef>(const_cast<void *>(CFRetain(keychainOrArray))));
  } else if (isA(keychainOrArray, CFArrayGetTypeID())) {
    auto array = static_cast<CFArrayRef>(keychainOrArray);
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
      CFTypeRef element = CFArrayGetValueAtIndex(array, i);
      if (keychainOf(element) == nullptr) return errSecParam;
      keychains.emplace_back(static_cast<SecKeychainRef>(const_cast<void *>(CFRetain(element))));
    }
  } else {
    return errSecParam;
  }
  for (const auto &keychain : keychains) {
    KeychainStore store(keychainPath(keychain.get()));
    OSStatus status = store.load();
    if (status == errSecNoSuchKeychain && searchList) continue;
    if (status != errSecSuccess) return status;
    for (CFIndex i = 0; i < CFArrayGetCount(store.items()); ++i) {
      if (!visit(keychain.get(), static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(store.items(), i)))) {
        return errSecSuccess;
      }
    }
  }
  return errSecSuccess;
}

const std::string &keychainPath(SecKeychainRef keychain) { return keychainOf(keychain)->path; }

}  // namespace emu::sec

using emu::Owned;
using namespace emu::sec;

CFTypeID SecKeychainGetTypeID(void) {
  static const CFTypeID typeID = _CFRuntimeRegisterClass(&kKeychainClass);
  return typeID;
}

OSStatus SecKeychainOpen(const char *pathName, SecKeychainRef *keychain) {
  if (pathName == nullptr || keychain == nullptr) return errSecParam;
  // A bare name is looked up in the user's keychains folder, as on the Mac.
  *keychain = keychainCreate(pathName[0] == '/' ? std::string(pathName) : keychainsFolder() + pathName);
  return errSecSuccess;
}

OSStatus SecKeychainGetStatus(SecKeychainRef keychain, SecKeychainStatus *keychainStatus) {
  if (keychainStatus == nullptr || (keychain != nullptr && keychainOf(keychain) == nullptr)) return errSecParam;
  Owned<SecKeychainRef> target(copyKeychainOrDefault(keychain));
  KeychainStore store(keychainPath(target.get()));
  if (OSStatus status = store.load()) return status;
  // Keychains here are never locked.
  *keychainStatus = kSecUnlockStateStatus | kSecReadPermStatus | (store.writable() ? kSecWritePermStatus : 0);
  return errSecSuccess;
}

OSStatus SecKeychainGetPath(SecKeychainRef keychain, UInt32 *ioPathLength, char *pathName) {
  if (ioPathLength == nullptr || pathName == nullptr || (keychain != nullptr && keychainOf(keychain) == nullptr)) {
    return errSecParam;
  }
  Owned<SecKeychainRef> target(copyKeychainOrDefault(keychain));
  const std::string &path = keychainPath(target.get());
  if (path.size() + 1 > *ioPathLength) return errSecBufferTooSmall;
  std::memcpy(pathName, path.c_str(), path.size() + 1);
  *ioPathLength = static_cast<UInt32>(path.size());
  return errSecSuccess;
}

OSStatus SecKeychainSetUserInteractionAllowed(Boolean state) {
  gUserInteractionAllowed = state != 0;
  return errSecSuccess;
}

OSStatus SecKeychainGetUserInteractionAllowed(Boolean *state) {
  if (state == nullptr) return errSecParam;
  *state = gUserInteractionAllowed;
  return errSecSuccess;
}
