// find-certificate and delete-certificate: certificates in keychains, found
// by (part of) their common name or their SHA-1 hash.

#include <CommonCrypto/CommonDigest.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string>
#include <vector>

#include "SecurityTool.h"

using emu::Owned;

namespace {

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

std::string hex(const unsigned char *bytes, size_t length) {
  std::string text;
  for (size_t i = 0; i < length; ++i) {
    char pair[3];
    snprintf(pair, sizeof(pair), "%02X", bytes[i]);
    text += pair;
  }
  return text;
}

std::string commonName(SecCertificateRef certificate) {
  CFStringRef name = nullptr;
  if (SecCertificateCopyCommonName(certificate, &name) != errSecSuccess || name == nullptr) return std::string();
  Owned<CFStringRef> held(name);
  return emu::utf8(name);
}

std::string digest(SecCertificateRef certificate, bool sha256) {
  Owned<CFDataRef> data(SecCertificateCopyData(certificate));
  unsigned char bytes[CC_SHA256_DIGEST_LENGTH];
  auto length = static_cast<CC_LONG>(CFDataGetLength(data.get()));
  if (sha256) CC_SHA256(CFDataGetBytePtr(data.get()), length, bytes);
  if (!sha256) CC_SHA1(CFDataGetBytePtr(data.get()), length, bytes);
  return hex(bytes, sha256 ? CC_SHA256_DIGEST_LENGTH : CC_SHA1_DIGEST_LENGTH);
}

// The certificates of the keychains, each with its attributes and reference.
Owned<CFArrayRef> certificateItems(CFArrayRef keychains) {
  Owned<CFMutableDictionaryRef> query(emu::createMutableDictionary());
  CFDictionarySetValue(query.get(), kSecClass, kSecClassCertificate);
  CFDictionarySetValue(query.get(), kSecMatchLimit, kSecMatchLimitAll);
  CFDictionarySetValue(query.get(), kSecReturnAttributes, kCFBooleanTrue);
  CFDictionarySetValue(query.get(), kSecReturnRef, kCFBooleanTrue);
  if (keychains != nullptr) CFDictionarySetValue(query.get(), kSecUseKeychain, keychains);
  CFTypeRef result = nullptr;
  if (SecItemCopyMatching(query.get(), &result) != errSecSuccess) {
    return Owned<CFArrayRef>(CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks));
  }
  return Owned<CFArrayRef>(static_cast<CFArrayRef>(result));
}

SecCertificateRef certificateOf(CFTypeRef item) {
  return static_cast<SecCertificateRef>(
      const_cast<void *>(CFDictionaryGetValue(static_cast<CFDictionaryRef>(item), kSecValueRef)));
}

void printBlob(CFDataRef data) {
  const UInt8 *bytes = CFDataGetBytePtr(data);
  auto length = static_cast<size_t>(CFDataGetLength(data));
  bool printable = std::all_of(bytes, bytes + length, [](UInt8 c) { return std::isprint(c) != 0; });
  if (!printable) printf("0x%s  ", hex(bytes, length).c_str());
  printf("\"");
  for (size_t i = 0; i < length; ++i) {
    if (bytes[i] == '"' || bytes[i] == '\\') {
      printf("\\%c", bytes[i]);
    } else if (std::isprint(bytes[i])) {
      printf("%c", bytes[i]);
    } else {
      printf("\\%03o", bytes[i]);
    }
  }
  printf("\"");
}

// As the Mac tool lists an item, attributes by their keychain names.
void printAttributes(CFDictionaryRef item) {
  const std::pair<const char *, CFStringRef> attributes[] = {
      {"alis", CFSTR("alis")},           {"cenc", kSecAttrCertificateEncoding},
      {"ctyp", kSecAttrCertificateType}, {"hpky", kSecAttrPublicKeyHash},
      {"issu", kSecAttrIssuer},          {"labl", kSecAttrLabel},
      {"skid", kSecAttrSubjectKeyID},    {"snbr", kSecAttrSerialNumber},
      {"subj", kSecAttrSubject}};
  SecKeychainRef keychain = nullptr;
  SecKeychainItemCopyKeychain(reinterpret_cast<SecKeychainItemRef>(certificateOf(item)), &keychain);
  Owned<SecKeychainRef> held(keychain);
  char path[1024];
  UInt32 length = sizeof(path);
  printf("keychain: \"%s\"\n", SecKeychainGetPath(keychain, &length, path) == errSecSuccess ? path : "");
  printf("version: 512\nclass: 0x80001000 \nattributes:\n");
  for (const auto &[name, key] : attributes) {
    CFTypeRef value = CFDictionaryGetValue(item, key);
    if (emu::isA(value, CFNumberGetTypeID())) {
      SInt32 number = 0;
      CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt32Type, &number);
      printf("    \"%s\"<uint32>=0x%08X \n", name, static_cast<unsigned>(number));
      continue;
    }
    printf("    \"%s\"<blob>=", name);
    if (emu::isString(value)) {
      printf("\"%s\"", emu::utf8(static_cast<CFStringRef>(value)).c_str());
    } else if (emu::isA(value, CFDataGetTypeID())) {
      printBlob(static_cast<CFDataRef>(value));
    } else {
      printf("<NULL>");
    }
    printf("\n");
  }
}

void printPem(SecCertificateRef certificate) {
  Owned<CFDataRef> data(SecCertificateCopyData(certificate));
  std::string encoded(4 * ((static_cast<size_t>(CFDataGetLength(data.get())) + 2) / 3) + 1, '\0');
  int length = EVP_EncodeBlock(reinterpret_cast<unsigned char *>(encoded.data()), CFDataGetBytePtr(data.get()),
                               static_cast<int>(CFDataGetLength(data.get())));
  printf("-----BEGIN CERTIFICATE-----\n");
  for (int at = 0; at < length; at += 64) printf("%s\n", encoded.substr(at, 64).c_str());
  printf("-----END CERTIFICATE-----\n");
}

}  // namespace

int findCertificate(int argc, char *const *argv) {
  const char *name = nullptr;
  bool all = false, pem = false, hashes = false;
  optind = 1;
  for (int option; (option = getopt(argc, argv, "hac:e:mpZ")) != -1;) {
    switch (option) {
      case 'a':
        all = true;
        break;
      case 'c':
        name = optarg;
        break;
      case 'p':
        pem = true;
        break;
      case 'Z':
        hashes = true;
        break;
      case 'e':
      case 'm':
        secError("find-certificate: option -%c is not emulated", option);
        return 1;
      default:
        return 2;
    }
  }
  Owned<CFArrayRef> keychains = openKeychains(argc - optind, argv + optind);
  Owned<CFArrayRef> items = certificateItems(keychains.get());
  bool found = false;
  for (CFIndex i = 0; i < CFArrayGetCount(items.get()); ++i) {
    auto item = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(items.get(), i));
    SecCertificateRef certificate = certificateOf(item);
    // -c matches part of the common name, whatever the case.
    if (name != nullptr && lower(commonName(certificate)).find(lower(name)) == std::string::npos) continue;
    found = true;
    if (hashes) {
      printf("SHA-256 hash: %s\n", digest(certificate, true).c_str());
      printf("SHA-1 hash: %s\n", digest(certificate, false).c_str());
    }
    if (pem) {
      printPem(certificate);
    } else {
      printAttributes(item);
    }
    if (!all) break;
  }
  if (!found && !all) {
    secPerror("SecKeychainSearchCopyNext", errSecItemNotFound);
    return errSecItemNotFound;
  }
  return 0;
}

int deleteCertificate(int argc, char *const *argv) {
  const char *name = nullptr, *hash = nullptr;
  bool deleteTrust = false;
  optind = 1;
  for (int option; (option = getopt(argc, argv, "hc:Z:t")) != -1;) {
    switch (option) {
      case 'c':
        name = optarg;
        break;
      case 'Z':
        hash = optarg;
        break;
      case 't':
        deleteTrust = true;
        break;
      default:
        return 2;
    }
  }
  if (name == nullptr && hash == nullptr) return 2;
  Owned<CFArrayRef> keychains = openKeychains(argc - optind, argv + optind);
  Owned<CFArrayRef> items = certificateItems(keychains.get());
  // A hash names one certificate; a name must match exactly one, or one
  // exactly where others match in part.
  SecCertificateRef unique = nullptr;
  bool exact = false;
  for (CFIndex i = 0; i < CFArrayGetCount(items.get()); ++i) {
    SecCertificateRef candidate = certificateOf(CFArrayGetValueAtIndex(items.get(), i));
    if (hash != nullptr) {
      if (lower(digest(candidate, false)) == lower(hash)) {
        unique = candidate;
        break;
      }
      continue;
    }
    std::string candidateName = lower(commonName(candidate));
    size_t at = candidateName.find(lower(name));
    if (candidateName.empty() || at == std::string::npos) continue;
    bool isExact = at == 0 && candidateName.size() == std::string(name).size();
    if (unique != nullptr && !isExact && exact) continue;
    if (unique != nullptr && isExact == exact && !CFEqual(unique, candidate)) {
      secError("\"%s\" is ambiguous, matches more than one certificate", name);
      unique = nullptr;
      break;
    }
    unique = candidate;
    exact = isExact;
  }
  if (unique == nullptr) {
    fprintf(stderr, "Unable to delete certificate matching \"%s\"", name != nullptr ? name : hash);
    return 1;
  }
  OSStatus result = errSecSuccess;
  if (deleteTrust) {
    OSStatus status = SecTrustSettingsRemoveTrustSettings(unique, kSecTrustSettingsDomainUser);
    if (status != errSecSuccess && status != errSecItemNotFound && status != errSecNoTrustSettings) {
      result = status;
      secPerror("SecTrustSettingsRemoveTrustSettings (user)", status);
    }
    if (geteuid() == 0) {
      status = SecTrustSettingsRemoveTrustSettings(unique, kSecTrustSettingsDomainAdmin);
      if (status != errSecSuccess && status != errSecItemNotFound && status != errSecNoTrustSettings) {
        result = status;
        secPerror("SecTrustSettingsRemoveTrustSettings (admin)", status);
      }
    }
  }
  if (result == errSecSuccess) {
    result = SecKeychainItemDelete(reinterpret_cast<SecKeychainItemRef>(unique));
    if (result != errSecSuccess) secPerror("SecKeychainItemDelete", result);
  }
  return result;
}
