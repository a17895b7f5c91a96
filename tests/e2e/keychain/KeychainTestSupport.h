#pragma once
// What the keychain commands change, read the way the system reads it, and
// what they log.
#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>

#include <string>
#include <vector>

#include "CFTestSupport.h"
#include "HelperSession.h"

constexpr char kSystemKeychain[] = "/Library/Keychains/System.keychain";

// The attribute dictionaries of the System keychain's items of one class,
// found through the Security framework.
inline std::vector<xpc::CFRef<CFDictionaryRef>> keychainItems(CFStringRef itemClass) {
  xpc::CFRef<SecKeychainRef> keychain;
  EXPECT_EQ(SecKeychainOpen(kSystemKeychain, keychain.initializeInto()), errSecSuccess);
  CFTypeRef keychains[] = {keychain.get()};
  auto searchList = adopt(CFArrayCreate(nullptr, keychains, 1, &kCFTypeArrayCallBacks));
  auto query = cfdictionary({{utf8(kSecUseKeychain), searchList.get()}, {utf8(kSecReturnAttributes), kCFBooleanTrue},
                             {utf8(kSecReturnRef), kCFBooleanTrue}, {utf8(kSecMatchLimit), kSecMatchLimitAll},
                             {utf8(kSecClass), itemClass}});
  xpc::CFRef<CFTypeRef> result;
  OSStatus status = SecItemCopyMatching(query.get(), result.initializeInto());
  std::vector<xpc::CFRef<CFDictionaryRef>> items;
  if (status == errSecItemNotFound) return items;
  EXPECT_EQ(status, errSecSuccess);
  if (!result || CFGetTypeID(result.get()) != CFArrayGetTypeID()) return items;
  auto array = static_cast<CFArrayRef>(result.get());
  for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
    items.emplace_back(static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(array, i)), xpc::RefPolicy::Retain);
  }
  return items;
}
