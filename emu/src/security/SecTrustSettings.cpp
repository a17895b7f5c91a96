// Trust settings: what callers give and get (dictionaries with SecPolicyRefs)
// checked and converted to and from what the domain's record stores (policy
// object identifiers as data, the policy's own name beside them).

#include "SecInternal.h"
#include "TrustSettingsStore.h"

using emu::Owned;
using emu::sec::TrustSettingsStore;
using emu::sec::X509Certificate;

namespace {

// kSecTrustSettingsPolicyName is not in the public headers; the record keeps
// each policy's name under it.
const CFStringRef kPolicyNameKey = CFSTR("kSecTrustSettingsPolicyName");

bool readNumber(CFTypeRef value, SInt32 *number) {
  return emu::isA(value, CFNumberGetTypeID()) &&
         CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt32Type, number);
}

// One caller's setting in stored form; null with *status errSecSuccess for a
// setting that says nothing, which is skipped.
CFDictionaryRef createStoredSetting(CFTypeRef value, bool root, OSStatus *status) {
  *status = errSecParam;
  if (!emu::isDictionary(value)) return nullptr;
  auto setting = static_cast<CFDictionaryRef>(value);
  CFTypeRef policy = CFDictionaryGetValue(setting, kSecTrustSettingsPolicy);
  CFTypeRef application = CFDictionaryGetValue(setting, kSecTrustSettingsApplication);
  CFTypeRef policyString = CFDictionaryGetValue(setting, kSecTrustSettingsPolicyString);
  CFTypeRef allowedError = CFDictionaryGetValue(setting, kSecTrustSettingsAllowedError);
  CFTypeRef result = CFDictionaryGetValue(setting, kSecTrustSettingsResult);
  CFTypeRef keyUsage = CFDictionaryGetValue(setting, kSecTrustSettingsKeyUsage);
  SInt32 number = 0;
  if ((policy != nullptr && !emu::isA(policy, SecPolicyGetTypeID())) ||
      (policyString != nullptr && !emu::isString(policyString)) ||
      (allowedError != nullptr && !readNumber(allowedError, &number)) ||
      (keyUsage != nullptr && !readNumber(keyUsage, &number))) {
    return nullptr;
  }
  if (application != nullptr) emu::sec::unimplemented("SecTrustSettingsSetTrustSettings", "an application constraint");
  // Trust as a root is for roots, trust as if a root for the others; without
  // a result, trust root is meant.
  SInt32 wanted = kSecTrustSettingsResultTrustRoot;
  if (result != nullptr && !readNumber(result, &wanted)) return nullptr;
  switch (wanted) {
    case kSecTrustSettingsResultTrustRoot:
      if (!root) return nullptr;
      break;
    case kSecTrustSettingsResultTrustAsRoot:
      if (root) return nullptr;
      break;
    case kSecTrustSettingsResultDeny:
    case kSecTrustSettingsResultUnspecified:
      break;
    default:
      return nullptr;
  }
  *status = errSecSuccess;
  if (policy == nullptr && policyString == nullptr && allowedError == nullptr && result == nullptr &&
      keyUsage == nullptr) {
    return nullptr;
  }
  CFMutableDictionaryRef stored = emu::createMutableDictionary();
  if (policy != nullptr) {
    auto policyRef = static_cast<SecPolicyRef>(const_cast<void *>(policy));
    Owned<CFDataRef> oid(emu::sec::copyPolicyOIDData(policyRef));
    CFDictionarySetValue(stored, kSecTrustSettingsPolicy, oid.get());
    CFDictionarySetValue(stored, kPolicyNameKey, emu::sec::policyName(policyRef));
  }
  const std::pair<CFStringRef, CFTypeRef> copied[] = {{kSecTrustSettingsPolicyString, policyString},
                                                      {kSecTrustSettingsAllowedError, allowedError},
                                                      {kSecTrustSettingsResult, result},
                                                      {kSecTrustSettingsKeyUsage, keyUsage}};
  for (const auto &[key, entry] : copied) {
    if (entry != nullptr) CFDictionarySetValue(stored, key, entry);
  }
  return stored;
}

// The caller's settings (NULL, one dictionary or an array of them) in stored form.
OSStatus createStoredSettings(CFTypeRef settings, bool root, CFArrayRef *stored) {
  Owned<CFMutableArrayRef> result(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  if (settings == nullptr) {
    // Unconstrained trust is for roots only.
    if (!root) return errSecParam;
  } else if (emu::isDictionary(settings) || emu::isA(settings, CFArrayGetTypeID())) {
    Owned<CFArrayRef> list(emu::isDictionary(settings) ? CFArrayCreate(nullptr, &settings, 1, &kCFTypeArrayCallBacks)
                                                       : static_cast<CFArrayRef>(CFRetain(settings)));
    for (CFIndex i = 0; i < CFArrayGetCount(list.get()); ++i) {
      OSStatus status;
      Owned<CFDictionaryRef> setting(createStoredSetting(CFArrayGetValueAtIndex(list.get(), i), root, &status));
      if (status != errSecSuccess) return status;
      if (setting) CFArrayAppendValue(result.get(), setting.get());
    }
  } else {
    return errSecParam;
  }
  *stored = result.release();
  return errSecSuccess;
}

// A stored setting as callers get it; null for one that is not readable.
CFDictionaryRef createCallerSetting(CFDictionaryRef stored) {
  CFMutableDictionaryRef setting = emu::createMutableDictionary();
  for (const auto &[key, value] : emu::entries(stored)) {
    if (CFEqual(key, kSecTrustSettingsPolicy)) {
      Owned<SecPolicyRef> policy(emu::isA(value, CFDataGetTypeID())
                                     ? emu::sec::policyCreateWithOIDData(static_cast<CFDataRef>(value))
                                     : SecPolicyCreateWithProperties(value, nullptr));
      if (!policy) {
        CFRelease(setting);
        return nullptr;
      }
      CFDictionarySetValue(setting, key, policy.get());
    } else if (CFEqual(key, kSecTrustSettingsApplication)) {
      emu::sec::unimplemented("SecTrustSettingsCopyTrustSettings", "an application constraint");
    } else {
      CFDictionarySetValue(setting, key, value);
    }
  }
  return setting;
}

const X509Certificate *x509Of(SecCertificateRef certificate) {
  const __SecCertificate *c = emu::sec::certificateOf(certificate);
  return c != nullptr ? c->x509.get() : nullptr;
}

}  // namespace

OSStatus SecTrustSettingsCopyTrustSettings(SecCertificateRef certRef, SecTrustSettingsDomain domain,
                                           CFArrayRef *trustSettings) {
  const X509Certificate *x509 = x509Of(certRef);
  if (x509 == nullptr || trustSettings == nullptr) return errSecParam;
  TrustSettingsStore store(domain);
  OSStatus status = store.load();
  if (status == errSecNoTrustSettings) return errSecItemNotFound;
  if (status != errSecSuccess) return status;
  CFDictionaryRef entry = store.entry(*x509);
  if (entry == nullptr) return errSecItemNotFound;
  CFArrayRef stored = TrustSettingsStore::settings(entry);
  Owned<CFMutableArrayRef> result(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  for (CFIndex i = 0; stored != nullptr && i < CFArrayGetCount(stored); ++i) {
    auto setting = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(stored, i));
    if (CFDictionaryGetCount(setting) == 0) continue;
    Owned<CFDictionaryRef> converted(createCallerSetting(setting));
    if (!converted) return errSecInvalidTrustSettings;
    CFArrayAppendValue(result.get(), converted.get());
  }
  *trustSettings = result.release();
  return errSecSuccess;
}

OSStatus SecTrustSettingsSetTrustSettings(SecCertificateRef certRef, SecTrustSettingsDomain domain,
                                          CFTypeRef trustSettingsDictOrArray) {
  const X509Certificate *x509 = x509Of(certRef);
  if (x509 == nullptr) return errSecParam;
  if (domain == kSecTrustSettingsDomainSystem) return errSecDataNotModifiable;
  if (domain != kSecTrustSettingsDomainUser && domain != kSecTrustSettingsDomainAdmin) return errSecParam;
  CFArrayRef created = nullptr;
  if (OSStatus status = createStoredSettings(trustSettingsDictOrArray, x509->selfSigned(), &created)) return status;
  Owned<CFArrayRef> stored(created);
  return TrustSettingsStore(domain).set(*x509, stored.get());
}

OSStatus SecTrustSettingsRemoveTrustSettings(SecCertificateRef certRef, SecTrustSettingsDomain domain) {
  const X509Certificate *x509 = x509Of(certRef);
  if (x509 == nullptr) return errSecParam;
  if (domain == kSecTrustSettingsDomainSystem) return errSecDataNotModifiable;
  return TrustSettingsStore(domain).remove(*x509);
}

OSStatus SecTrustSettingsCopyCertificates(SecTrustSettingsDomain domain, CFArrayRef *certArray) {
  if (certArray == nullptr) return errSecParam;
  TrustSettingsStore store(domain);
  if (OSStatus status = store.load()) return status;
  // The user domain looks through the search list and the System keychain,
  // the admin domain through the System keychain; the system roots are not
  // part of this Mac.
  Owned<CFMutableArrayRef> certificates(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  if (domain != kSecTrustSettingsDomainSystem) {
    Owned<SecKeychainRef> system(emu::sec::keychainCreate(emu::sec::kSystemKeychainPath));
    OSStatus status = emu::sec::visitItems(
        domain == kSecTrustSettingsDomainUser ? nullptr : system.get(),
        [&](SecKeychainRef keychain, CFDictionaryRef record) {
          if (!CFEqual(CFDictionaryGetValue(record, kSecClass), kSecClassCertificate)) return true;
          Owned<CFTypeRef> certificate(emu::sec::copyItemReference(keychain, record));
          if (store.entry(*x509Of(static_cast<SecCertificateRef>(const_cast<void *>(certificate.get())))) != nullptr &&
              !CFArrayContainsValue(certificates.get(), CFRangeMake(0, CFArrayGetCount(certificates.get())),
                                    certificate.get())) {
            CFArrayAppendValue(certificates.get(), certificate.get());
          }
          return true;
        });
    if (status != errSecSuccess) return status;
  }
  if (CFArrayGetCount(certificates.get()) == 0) return errSecNoTrustSettings;
  *certArray = certificates.release();
  return errSecSuccess;
}
