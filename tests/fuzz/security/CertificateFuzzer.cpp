// Whatever bytes come in, SecCertificateCreateWithData either refuses them or
// gives a certificate that goes everywhere the helper takes one: its data,
// names and values read back, it is stored in the System keychain and found
// there again, and it gets trust settings that read back. Nothing crashes,
// reads out of bounds or leaks an object. Random bytes are seldom a
// certificate, so each input is also tried as an edit of a real one; the
// keychain and trust settings are put back after every input.
#include <Security/Security.h>
#include <emu/ObjectCounts.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "StoreSnapshot.h"

namespace {

// A real certificate's DER (ISRG Root X1 from Debian's ca-certificates).
const std::string& realCertificate() {
  static const std::string der = [] {
    std::ifstream in(REAL_CERTIFICATE_DER, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (bytes.empty()) abort();
    return bytes;
  }();
  return der;
}

void require(bool condition) {
  if (!condition) abort();
}

void readValues(SecCertificateRef certificate, CFDataRef data) {
  CFDataRef copy = SecCertificateCopyData(certificate);
  require(CFEqual(copy, data));
  CFRelease(copy);
  CFStringRef name = nullptr;
  if (SecCertificateCopyCommonName(certificate, &name) == errSecSuccess && name != nullptr) CFRelease(name);
  CFStringRef summary = SecCertificateCopySubjectSummary(certificate);
  require(summary != nullptr);
  CFRelease(summary);
  CFDictionaryRef values = SecCertificateCopyValues(certificate, nullptr, nullptr);
  require(values != nullptr);
  // Each field on its own is what the whole set holds for it.
  const CFStringRef fields[] = {kSecOIDX509V1SubjectName, kSecOIDX509V1IssuerName, kSecOIDX509V1SerialNumber,
                                kSecOIDX509V1ValidityNotAfter};
  for (CFStringRef field : fields) {
    CFArrayRef keys = CFArrayCreate(nullptr, reinterpret_cast<const void**>(&field), 1, &kCFTypeArrayCallBacks);
    CFDictionaryRef one = SecCertificateCopyValues(certificate, keys, nullptr);
    require(one != nullptr && CFDictionaryGetCount(one) == 1);
    require(CFEqual(CFDictionaryGetValue(one, field), CFDictionaryGetValue(values, field)));
    CFRelease(one);
    CFRelease(keys);
  }
  CFRelease(values);
  CFStringRef description = CFCopyDescription(certificate);
  CFRelease(description);
}

// Stored in the System keychain, the certificate is found there by its
// attributes, and can be deleted through the item found.
void storeAndFind(SecCertificateRef certificate, SecKeychainRef system) {
  if (SecCertificateAddToKeychain(certificate, system) != errSecSuccess) return;
  const void* keys[] = {kSecClass, kSecMatchLimit, kSecReturnAttributes, kSecReturnRef};
  const void* values[] = {kSecClassCertificate, kSecMatchLimitAll, kCFBooleanTrue, kCFBooleanTrue};
  CFDictionaryRef query = CFDictionaryCreate(nullptr, keys, values, 4, &kCFTypeDictionaryKeyCallBacks,
                                             &kCFTypeDictionaryValueCallBacks);
  CFTypeRef found = nullptr;
  require(SecItemCopyMatching(query, &found) == errSecSuccess);
  CFRelease(query);
  require(CFGetTypeID(found) == CFArrayGetTypeID() && CFArrayGetCount(static_cast<CFArrayRef>(found)) > 0);
  for (CFIndex i = 0; i < CFArrayGetCount(static_cast<CFArrayRef>(found)); ++i) {
    auto attributes = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(static_cast<CFArrayRef>(found), i));
    require(CFDictionaryGetValue(attributes, kSecAttrLabel) != nullptr);
    auto item = static_cast<SecKeychainItemRef>(const_cast<void*>(CFDictionaryGetValue(attributes, kSecValueRef)));
    if (item != nullptr && CFGetTypeID(item) == SecCertificateGetTypeID() && CFEqual(item, certificate))
      require(SecKeychainItemDelete(item) == errSecSuccess);
  }
  CFRelease(found);
}

// Trusted for SSL as the administrator's setting, the certificate reads the
// same setting back and loses it again.
void trust(SecCertificateRef certificate) {
  SecPolicyRef ssl = SecPolicyCreateSSL(true, nullptr);
  int result = kSecTrustSettingsResultTrustRoot;
  CFNumberRef resultNumber = CFNumberCreate(nullptr, kCFNumberIntType, &result);
  const void* keys[] = {kSecTrustSettingsPolicy, kSecTrustSettingsResult};
  const void* values[] = {ssl, resultNumber};
  CFDictionaryRef constraint = CFDictionaryCreate(nullptr, keys, values, 2, &kCFTypeDictionaryKeyCallBacks,
                                                  &kCFTypeDictionaryValueCallBacks);
  CFArrayRef settings =
      CFArrayCreate(nullptr, reinterpret_cast<const void**>(&constraint), 1, &kCFTypeArrayCallBacks);
  if (SecTrustSettingsSetTrustSettings(certificate, kSecTrustSettingsDomainAdmin, settings) == errSecSuccess) {
    CFArrayRef stored = nullptr;
    require(SecTrustSettingsCopyTrustSettings(certificate, kSecTrustSettingsDomainAdmin, &stored) == errSecSuccess);
    require(CFArrayGetCount(stored) == 1);
    CFRelease(stored);
    require(SecTrustSettingsRemoveTrustSettings(certificate, kSecTrustSettingsDomainAdmin) == errSecSuccess);
  }
  CFRelease(settings);
  CFRelease(constraint);
  CFRelease(resultNumber);
  CFRelease(ssl);
}

void exercise(const std::string& bytes, SecKeychainRef system) {
  long live = emu_cf_live_objects();
  CFDataRef data =
      CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()));
  SecCertificateRef certificate = SecCertificateCreateWithData(nullptr, data);
  if (certificate != nullptr) {
    readValues(certificate, data);
    storeAndFind(certificate, system);
    trust(certificate);
    CFRelease(certificate);
  }
  CFRelease(data);
  require(emu_cf_live_objects() == live);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
  static StoreSnapshot* stores = new StoreSnapshot(StoreSnapshot::ofCertificateStores());
  static SecKeychainRef system = [] {
    SecKeychainRef keychain = nullptr;
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
    require(SecKeychainOpen("/Library/Keychains/System.keychain", &keychain) == errSecSuccess);
#pragma clang diagnostic pop
    return keychain;
  }();
  std::string bytes(reinterpret_cast<const char*>(input), size);
  exercise(bytes, system);
  // The first two bytes place the rest over the real certificate.
  if (size > 2) {
    std::string edited = realCertificate();
    size_t at = ((input[0] << 8) | input[1]) % edited.size();
    edited.replace(at, std::min(size - 2, edited.size() - at), bytes.substr(2));
    exercise(edited, system);
  }
  stores->restore();
  return 0;
}
