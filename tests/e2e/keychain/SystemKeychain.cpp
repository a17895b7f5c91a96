#include "SystemKeychain.h"

#include <gtest/gtest.h>

#include <ostream>

#include "CFTestSupport.h"

namespace {

void writePropertyList(const char* path, CFPropertyListRef root) {
  auto data = adopt(CFPropertyListCreateData(nullptr, root, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  writeFile(path, std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())),
                              static_cast<size_t>(CFDataGetLength(data.get()))));
}

xpc::CFRef<SecKeychainRef> systemKeychain() {
  xpc::CFRef<SecKeychainRef> keychain;
  EXPECT_EQ(SecKeychainOpen(kSystemKeychain, keychain.initializeInto()), errSecSuccess);
  return keychain;
}

}  // namespace

std::vector<xpc::CFRef<CFDictionaryRef>> keychainItems(CFStringRef itemClass) {
  xpc::CFRef<SecKeychainRef> keychain = systemKeychain();
  CFTypeRef keychains[] = {keychain.get()};
  auto searchList = adopt(CFArrayCreate(nullptr, keychains, 1, &kCFTypeArrayCallBacks));
  auto query = cfdictionary();
  CFDictionarySetValue(query.get(), kSecUseKeychain, searchList.get());
  CFDictionarySetValue(query.get(), kSecReturnAttributes, kCFBooleanTrue);
  CFDictionarySetValue(query.get(), kSecReturnRef, kCFBooleanTrue);
  CFDictionarySetValue(query.get(), kSecMatchLimit, kSecMatchLimitAll);
  CFDictionarySetValue(query.get(), kSecClass, itemClass);
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

int copiesInKeychain(const std::string& der) {
  int copies = 0;
  for (const auto& item : keychainItems(kSecClassCertificate)) {
    auto certificate = static_cast<SecCertificateRef>(const_cast<void*>(valueAt(item.get(), "v_Ref")));
    if (certificate == nullptr) continue;
    auto data = adopt(SecCertificateCopyData(certificate));
    if (std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())),
                    static_cast<size_t>(CFDataGetLength(data.get()))) == der) {
      ++copies;
    }
  }
  return copies;
}

std::string storedPassword(const std::string& service, const std::string& account) {
  xpc::CFRef<SecKeychainRef> keychain = systemKeychain();
  UInt32 length = 0;
  void* data = nullptr;
  OSStatus status = SecKeychainFindGenericPassword(
      keychain.get(), static_cast<UInt32>(service.size()), service.c_str(), static_cast<UInt32>(account.size()),
      account.c_str(), &length, &data, nullptr);
  if (status != errSecSuccess) return "";
  std::string password(static_cast<const char*>(data), length);
  SecKeychainItemFreeContent(nullptr, data);
  return password;
}

// The file is the emulation's own property list: {"Items": [attributes...]}.
void relabelCertificates(const std::string& label) {
  auto root = adopt(CFPropertyListCreateWithData(nullptr, cfdata(fileBytes(kSystemKeychain)).get(),
                                                 kCFPropertyListMutableContainersAndLeaves, nullptr, nullptr));
  auto items = static_cast<CFArrayRef>(valueAt(root.get(), "Items"));
  ASSERT_NE(items, nullptr);
  for (CFIndex i = 0; i < CFArrayGetCount(items); ++i) {
    auto item = static_cast<CFMutableDictionaryRef>(const_cast<void*>(CFArrayGetValueAtIndex(items, i)));
    if (utf8(valueAt(item, "class")) == "cert") CFDictionarySetValue(item, CFSTR("labl"), cfstring(label).get());
  }
  writePropertyList(kSystemKeychain, root.get());
}

void PrintTo(const TrustEntry& entry, std::ostream* out) { *out << entry.policyName << " " << entry.result; }

std::vector<TrustEntry> adminTrust(const Certificate& certificate) {
  auto root = readPropertyList(kAdminTrust);
  CFTypeRef settings = valueAt(root.get(), {"trustList", certificate.trustKey(), "trustSettings"});
  std::vector<TrustEntry> entries;
  if (settings == nullptr || CFGetTypeID(settings) != CFArrayGetTypeID()) return entries;
  auto array = static_cast<CFArrayRef>(settings);
  for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
    CFTypeRef entry = CFArrayGetValueAtIndex(array, i);
    long long result = -1;
    CFTypeRef number = valueAt(entry, "kSecTrustSettingsResult");
    if (number != nullptr && CFGetTypeID(number) == CFNumberGetTypeID()) {
      CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberLongLongType, &result);
    }
    entries.push_back({utf8(valueAt(entry, "kSecTrustSettingsPolicyName")), result});
  }
  return entries;
}

void editAdminTrust(const Certificate& certificate, void (*edit)(CFMutableArrayRef settings)) {
  auto root = adopt(CFPropertyListCreateWithData(nullptr, cfdata(fileBytes(kAdminTrust)).get(),
                                                 kCFPropertyListMutableContainersAndLeaves, nullptr, nullptr));
  CFTypeRef settings = valueAt(root.get(), {"trustList", certificate.trustKey(), "trustSettings"});
  ASSERT_NE(settings, nullptr) << "no trust settings to edit";
  edit(static_cast<CFMutableArrayRef>(const_cast<void*>(settings)));
  writePropertyList(kAdminTrust, root.get());
}
