#include "PayloadInstaller.h"

#include <Security/Security.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstring>

#include "PayloadCertificate.h"
#include "common/CFSupport.h"
#include "corewlan/RememberedNetworks.h"

using emu::Owned;

namespace {

constexpr char kSystemKeychain[] = "/Library/Keychains/System.keychain";

// Calls visit(type, content) for each payload of an installed profile whose
// content is a dictionary.
template <typename Visit>
void forEachItem(CFDictionaryRef installed, Visit visit) {
  CFTypeRef items = CFDictionaryGetValue(installed, CFSTR("ProfileItems"));
  if (!emu::isA(items, CFArrayGetTypeID())) return;
  for (CFIndex i = 0; i < CFArrayGetCount(static_cast<CFArrayRef>(items)); ++i) {
    CFTypeRef item = CFArrayGetValueAtIndex(static_cast<CFArrayRef>(items), i);
    if (!emu::isDictionary(item)) continue;
    CFTypeRef type = CFDictionaryGetValue(static_cast<CFDictionaryRef>(item), CFSTR("PayloadType"));
    CFTypeRef content = CFDictionaryGetValue(static_cast<CFDictionaryRef>(item), CFSTR("PayloadContent"));
    if (emu::isString(type) && emu::isDictionary(content)) {
      visit(emu::utf8(static_cast<CFStringRef>(type)), static_cast<CFDictionaryRef>(content));
    }
  }
}

// The network's name as remembered networks keep it: its UTF-8 bytes.
Owned<CFDataRef> ssidOf(CFDictionaryRef content) {
  CFTypeRef name = CFDictionaryGetValue(content, CFSTR("SSID_STR"));
  if (!emu::isString(name)) return nullptr;
  std::string bytes = emu::utf8(static_cast<CFStringRef>(name));
  return Owned<CFDataRef>(
      CFDataCreate(nullptr, reinterpret_cast<const UInt8 *>(bytes.data()), static_cast<CFIndex>(bytes.size())));
}

// The DER of a certificate payload's certificate; null for another payload, or
// one that cannot be read (the installation checked it).
Owned<CFDataRef> certificateOf(const std::string &type, CFDictionaryRef content) {
  ProfileError ignored;
  return PayloadCertificate::isCertificateType(type) ? PayloadCertificate::createDer(type, content, ignored)
                                                     : nullptr;
}

bool flag(CFDictionaryRef content, CFStringRef key, bool absent) {
  CFTypeRef value = CFDictionaryGetValue(content, key);
  return emu::isA(value, CFBooleanGetTypeID()) ? CFBooleanGetValue(static_cast<CFBooleanRef>(value)) : absent;
}

// The security a remembered network records for the payload's encryption.
CFStringRef securityOf(CFDictionaryRef content) {
  CFTypeRef encryption = CFDictionaryGetValue(content, CFSTR("EncryptionType"));
  bool enterprise = emu::isDictionary(CFDictionaryGetValue(content, CFSTR("EAPClientConfiguration")));
  auto is = [&](CFStringRef name) { return encryption != nullptr && CFEqual(encryption, name); };
  if (is(CFSTR("None"))) return CFSTR("Open");
  if (is(CFSTR("WEP"))) return CFSTR("WEP");
  if (is(CFSTR("WPA3"))) return enterprise ? CFSTR("WPA3 Enterprise") : CFSTR("WPA3 Personal");
  return enterprise ? CFSTR("WPA2 Enterprise") : CFSTR("WPA2 Personal");
}

// A remembered network's entry, keyed as macOS keeps the others.
Owned<CFDictionaryRef> createNetworkEntry(CFDictionaryRef content, CFDataRef ssid, bool machineLevel) {
  Owned<CFMutableDictionaryRef> entry(emu::createMutableDictionary());
  Owned<CFDateRef> now(CFDateCreate(nullptr, CFAbsoluteTimeGetCurrent()));
  bool hidden = flag(content, CFSTR("HIDDEN_NETWORK"), false);
  auto boolean = [](bool value) { return value ? kCFBooleanTrue : kCFBooleanFalse; };
  const std::pair<CFStringRef, CFTypeRef> values[] = {
      {CFSTR("AddReason"), CFSTR("Profile")},
      {CFSTR("AddedAt"), now.get()},
      {CFSTR("AutoLogin"), boolean(flag(content, CFSTR("AutoJoin"), true))},
      {CFSTR("Captive"), kCFBooleanFalse},
      {CFSTR("Closed"), boolean(hidden)},
      {CFSTR("Disabled"), kCFBooleanFalse},
      {CFSTR("Passpoint"), boolean(flag(content, CFSTR("IsHotspot"), false))},
      {CFSTR("PersonalHotspot"), kCFBooleanFalse},
      {CFSTR("PossiblyHiddenNetwork"), boolean(hidden)},
      {CFSTR("RoamingProfileType"), CFSTR("Single")},
      {CFSTR("SPRoaming"), kCFBooleanFalse},
      {CFSTR("SSID"), ssid},
      {CFSTR("SSIDString"), CFDictionaryGetValue(content, CFSTR("SSID_STR"))},
      {CFSTR("SecurityType"), securityOf(content)},
      {CFSTR("SystemMode"), boolean(machineLevel)},
      {CFSTR("TemporarilyDisabled"), kCFBooleanFalse},
  };
  for (const auto &[key, value] : values) CFDictionarySetValue(entry.get(), key, value);
  return Owned<CFDictionaryRef>(entry.release());
}

bool isSelfSigned(CFDataRef der) {
  const unsigned char *bytes = CFDataGetBytePtr(der);
  X509 *certificate = d2i_X509(nullptr, &bytes, CFDataGetLength(der));
  bool selfSigned = certificate != nullptr && X509_check_issued(certificate, certificate) == X509_V_OK;
  X509_free(certificate);
  return selfSigned;
}

std::string statusText(OSStatus status) {
  Owned<CFStringRef> message(SecCopyErrorMessageString(status, nullptr));
  return message ? emu::utf8(message.get()) : std::to_string(status);
}

bool securityFailure(ProfileError &error, OSStatus status) {
  error.code = status;
  error.text = statusText(status);
  return false;
}

bool installCertificate(CFDataRef der, bool trustSelfSigned, ProfileError &error) {
  Owned<SecCertificateRef> certificate(der != nullptr ? SecCertificateCreateWithData(nullptr, der) : nullptr);
  if (!certificate) return securityFailure(error, errSecUnknownFormat);
  SecKeychainRef opened = nullptr;
  OSStatus status = SecKeychainOpen(kSystemKeychain, &opened);
  Owned<SecKeychainRef> keychain(opened);
  if (status == errSecSuccess) status = SecCertificateAddToKeychain(certificate.get(), keychain.get());
  if (status != errSecSuccess && status != errSecDuplicateItem) return securityFailure(error, status);
  if (!trustSelfSigned || !isSelfSigned(der)) return true;
  status = SecTrustSettingsSetTrustSettings(certificate.get(), kSecTrustSettingsDomainAdmin, nullptr);
  return status == errSecSuccess || securityFailure(error, status);
}

// Removes the certificate and its admin trust settings; what is already gone
// stays gone.
void removeCertificate(CFDataRef der) {
  Owned<SecCertificateRef> certificate(SecCertificateCreateWithData(nullptr, der));
  if (!certificate) return;
  SecTrustSettingsRemoveTrustSettings(certificate.get(), kSecTrustSettingsDomainAdmin);
  const void *keys[] = {kSecClass, kSecMatchLimit, kSecReturnRef, kSecReturnData};
  const void *values[] = {kSecClassCertificate, kSecMatchLimitAll, kCFBooleanTrue, kCFBooleanTrue};
  Owned<CFDictionaryRef> query(
      CFDictionaryCreate(nullptr, keys, values, 4, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  CFTypeRef found = nullptr;
  if (SecItemCopyMatching(query.get(), &found) != errSecSuccess) return;
  Owned<CFTypeRef> items(found);
  for (CFIndex i = 0; i < CFArrayGetCount(static_cast<CFArrayRef>(found)); ++i) {
    auto item = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(static_cast<CFArrayRef>(found), i));
    if (CFEqual(CFDictionaryGetValue(item, kSecValueData), der)) {
      auto reference = static_cast<SecKeychainItemRef>(const_cast<void *>(CFDictionaryGetValue(item, kSecValueRef)));
      SecKeychainItemDelete(reference);
    }
  }
}

}  // namespace

bool PayloadInstaller::apply(CFDictionaryRef installed, bool machineLevel, ProfileError &error) {
  bool applied = true;
  forEachItem(installed, [&](const std::string &type, CFDictionaryRef content) {
    if (!applied) return;
    if (type == kWifiType) {
      Owned<CFDataRef> ssid = ssidOf(content);
      Owned<CFDictionaryRef> entry = createNetworkEntry(content, ssid.get(), machineLevel);
      if (int failure = emu::wlan::rememberNetwork(entry.get())) {
        error.code = failure;
        error.text = strerror(failure);
        applied = false;
      }
    } else if (PayloadCertificate::isCertificateType(type)) {
      Owned<CFDataRef> der = certificateOf(type, content);
      applied = installCertificate(der.get(), !PayloadCertificate::isIdentityType(type), error);
    }
  });
  return applied;
}

void PayloadInstaller::remove(CFDictionaryRef installed, const std::vector<Owned<CFDictionaryRef>> &remaining) {
  // What the profiles still installed bring.
  std::vector<Owned<CFDataRef>> networks, certificates;
  for (const auto &other : remaining) {
    forEachItem(other.get(), [&](const std::string &type, CFDictionaryRef content) {
      if (type == kWifiType) networks.push_back(ssidOf(content));
      if (Owned<CFDataRef> der = certificateOf(type, content)) certificates.push_back(std::move(der));
    });
  }
  auto among = [](const std::vector<Owned<CFDataRef>> &list, CFDataRef value) {
    for (const auto &item : list) {
      if (item && CFEqual(item.get(), value)) return true;
    }
    return false;
  };
  forEachItem(installed, [&](const std::string &type, CFDictionaryRef content) {
    if (type == kWifiType) {
      Owned<CFDataRef> ssid = ssidOf(content);
      if (ssid && !among(networks, ssid.get())) emu::wlan::forgetNetwork(ssid.get());
    } else if (Owned<CFDataRef> der = certificateOf(type, content)) {
      if (!among(certificates, der.get())) removeCertificate(der.get());
    }
  });
}
