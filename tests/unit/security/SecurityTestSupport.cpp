#include "SecurityTestSupport.h"

#include <unistd.h>

#include <cstdio>

namespace sectest {

xpc::CFRef<SecKeychainRef> openKeychain(const std::string& path) {
  xpc::CFRef<SecKeychainRef> keychain;
  EXPECT_EQ(SecKeychainOpen(path.c_str(), keychain.initializeInto()), errSecSuccess);
  return keychain;
}

std::vector<xpc::CFRef<CFDictionaryRef>> storedItems(const std::string& path) {
  std::vector<xpc::CFRef<CFDictionaryRef>> items;
  auto root = readPropertyList(path);
  auto array = static_cast<CFArrayRef>(valueAt(root.get(), "Items"));
  for (CFIndex i = 0; array != nullptr && i < CFArrayGetCount(array); ++i) {
    items.emplace_back(static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(array, i)), xpc::RefPolicy::Retain);
  }
  return items;
}

xpc::CFRef<CFMutableDictionaryRef> searchAll(CFStringRef itemClass) {
  auto keychain = openKeychain();
  CFTypeRef keychains[] = {keychain.get()};
  auto searchList = adopt(CFArrayCreate(nullptr, keychains, 1, &kCFTypeArrayCallBacks));
  return cfdictionary({{utf8(kSecClass), itemClass},
                       {utf8(kSecUseKeychain), searchList.get()},
                       {utf8(kSecReturnAttributes), kCFBooleanTrue},
                       {utf8(kSecReturnRef), kCFBooleanTrue},
                       {utf8(kSecMatchLimit), kSecMatchLimitAll}});
}

int asUser(const std::function<int()>& body) {
  return ChildProcess([&] {
           if (setgid(20) != 0 || setuid(501) != 0) return 77;
           return body();
         })
      .wait();
}

xpc::CFRef<SecCertificateRef> certificateFrom(const std::string& der) {
  return adopt(SecCertificateCreateWithData(nullptr, cfdata(der).get()));
}

std::string hex(CFTypeRef data) {
  if (data == nullptr || CFGetTypeID(data) != CFDataGetTypeID()) return "<not data>";
  std::string text;
  for (CFIndex i = 0; i < CFDataGetLength(static_cast<CFDataRef>(data)); ++i) {
    char pair[3];
    std::snprintf(pair, sizeof(pair), "%02X", CFDataGetBytePtr(static_cast<CFDataRef>(data))[i]);
    text += pair;
  }
  return text;
}

}  // namespace sectest
