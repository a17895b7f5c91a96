#pragma once
// Shared by the Security sources: the layouts of the framework's CF types
// and what the sources need from each other.

#include <Security/Security.h>

#include <functional>
#include <string>
#include <vector>

#include "../common/CFSupport.h"
#include "../corefoundation/CFRuntimeInternal.h"

struct __SecKeychain {
  CFRuntimeBase base;
  std::string path;
};

// A password item as it was stored when it was added or found.
struct __SecKeychainItem {
  CFRuntimeBase base;
  emu::Owned<SecKeychainRef> keychain;
  emu::Owned<CFDictionaryRef> record;
};

namespace emu::sec {

constexpr char kSystemKeychainPath[] = "/Library/Keychains/System.keychain";

// Ends the process for a call the emulation does not cover, so that it is
// noticed rather than answered with something made up.
[[noreturn]] void unimplemented(const char *function, const char *what);

// Keychains (SecKeychain.cpp).
SecKeychainRef keychainCreate(const std::string &path);
const std::string &keychainPath(SecKeychainRef keychain);
// The keychain itself, or the default keychain when it is NULL (Create rule).
SecKeychainRef copyKeychainOrDefault(SecKeychainRef keychain);
// Hands visit the stored items of the keychains a search covers, keychain by
// keychain, until it answers false. keychainOrArray is one keychain, an array
// of them, or NULL for the default search list, whose missing keychains are
// passed over. errSecParam for anything else; the status of a keychain that
// cannot be read.
OSStatus visitItems(CFTypeRef keychainOrArray,
                    const std::function<bool(SecKeychainRef keychain, CFDictionaryRef item)> &visit);

// Items (SecKeychainItem.cpp). The reference a search returns for a stored
// record (Create rule).
CFTypeRef copyItemReference(SecKeychainRef keychain, CFDictionaryRef record);

}  // namespace emu::sec
