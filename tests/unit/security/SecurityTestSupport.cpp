#include "SecurityTestSupport.h"

#include <unistd.h>

namespace sectest {

xpc::CFRef<SecKeychainRef> openKeychain(const std::string& path) {
  xpc::CFRef<SecKeychainRef> keychain;
  EXPECT_EQ(SecKeychainOpen(path.c_str(), keychain.initializeInto()), errSecSuccess);
  return keychain;
}

OSStatus addPassword(SecKeychainRef keychain, const std::string& account, const std::string& service,
                     const std::string& label, const std::string& description, const std::string& password) {
  std::string values[] = {account, service, label, description};
  SecKeychainAttribute attributes[] = {{kSecAccountItemAttr, 0, nullptr},
                                       {kSecServiceItemAttr, 0, nullptr},
                                       {kSecLabelItemAttr, 0, nullptr},
                                       {kSecDescriptionItemAttr, 0, nullptr}};
  for (size_t i = 0; i < 4; ++i) {
    attributes[i].length = static_cast<UInt32>(values[i].size());
    attributes[i].data = values[i].data();
  }
  SecKeychainAttributeList list = {4, attributes};
  return SecKeychainItemCreateFromContent(kSecGenericPasswordItemClass, &list, static_cast<UInt32>(password.size()),
                                          password.data(), keychain, nullptr, nullptr);
}

std::string message(OSStatus status) { return utf8(adopt(SecCopyErrorMessageString(status, nullptr)).get()); }

std::vector<xpc::CFRef<CFDictionaryRef>> storedItems(const std::string& path) {
  std::vector<xpc::CFRef<CFDictionaryRef>> items;
  auto root = readPropertyList(path);
  auto array = static_cast<CFArrayRef>(valueAt(root.get(), "Items"));
  for (CFIndex i = 0; array != nullptr && i < CFArrayGetCount(array); ++i) {
    items.emplace_back(static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(array, i)), xpc::RefPolicy::Retain);
  }
  return items;
}

int asUser(const std::function<int()>& body) {
  return ChildProcess([&] {
           if (setgid(20) != 0 || setuid(501) != 0) return 77;
           return body();
         })
      .wait();
}

}  // namespace sectest
