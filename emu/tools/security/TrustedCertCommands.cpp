// add-trusted-cert and dump-trust-settings: trust settings as the Mac tool
// writes and shows them.

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "SecurityTool.h"

using emu::Owned;

namespace {

// The policies -p names, and what dump-trust-settings calls them.
struct PolicyName {
  const char *option;
  CFStringRef oid;
  const char *shown;
};

const std::vector<PolicyName> &policyNames() {
  static const std::vector<PolicyName> names = {{"basic", kSecPolicyAppleX509Basic, "Apple X509 Basic"},
                                                {"ssl", kSecPolicyAppleSSL, "SSL"},
                                                {"eap", kSecPolicyAppleEAP, "EAP"}};
  return names;
}

bool readResult(const char *text, SecTrustSettingsResult *result) {
  const std::pair<const char *, SecTrustSettingsResult> results[] = {
      {"trustRoot", kSecTrustSettingsResultTrustRoot},
      {"trustAsRoot", kSecTrustSettingsResultTrustAsRoot},
      {"deny", kSecTrustSettingsResultDeny},
      {"unspecified", kSecTrustSettingsResultUnspecified}};
  for (const auto &[name, value] : results) {
    if (strcmp(text, name) == 0) {
      *result = value;
      return true;
    }
  }
  return false;
}

// One usage constraint: the policy, and the result unless it is the default.
CFDictionaryRef createConstraint(CFStringRef oid, SecTrustSettingsResult result) {
  CFMutableDictionaryRef constraint = emu::createMutableDictionary();
  if (oid != nullptr) {
    Owned<SecPolicyRef> policy(SecPolicyCreateWithOID(oid));
    CFDictionarySetValue(constraint, kSecTrustSettingsPolicy, policy.get());
  }
  if (result != kSecTrustSettingsResultTrustRoot) {
    SInt32 number = static_cast<SInt32>(result);
    Owned<CFNumberRef> value(CFNumberCreate(nullptr, kCFNumberSInt32Type, &number));
    CFDictionarySetValue(constraint, kSecTrustSettingsResult, value.get());
  }
  return constraint;
}

const char *resultName(SInt32 result) {
  switch (result) {
    case kSecTrustSettingsResultInvalid:
      return "kSecTrustSettingsResultInvalid";
    case kSecTrustSettingsResultTrustRoot:
      return "kSecTrustSettingsResultTrustRoot";
    case kSecTrustSettingsResultTrustAsRoot:
      return "kSecTrustSettingsResultTrustAsRoot";
    case kSecTrustSettingsResultDeny:
      return "kSecTrustSettingsResultDeny";
    case kSecTrustSettingsResultUnspecified:
      return "kSecTrustSettingsResultUnspecified";
    default:
      return nullptr;
  }
}

std::string policyShown(CFTypeRef policy) {
  Owned<CFDictionaryRef> properties(SecPolicyCopyProperties(static_cast<SecPolicyRef>(const_cast<void *>(policy))));
  CFTypeRef oid = properties ? CFDictionaryGetValue(properties.get(), kSecPolicyOid) : nullptr;
  for (const PolicyName &name : policyNames()) {
    if (oid != nullptr && CFEqual(oid, name.oid)) return name.shown;
  }
  return "Unknown OID " + (emu::isString(oid) ? emu::utf8(static_cast<CFStringRef>(oid)) : std::string());
}

SInt32 numberOf(CFTypeRef value) {
  SInt32 number = 0;
  CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt32Type, &number);
  return number;
}

void displayTrustSettings(CFArrayRef settings) {
  printf("   Number of trust settings : %ld\n", static_cast<long>(CFArrayGetCount(settings)));
  for (CFIndex i = 0; i < CFArrayGetCount(settings); ++i) {
    auto setting = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(settings, i));
    printf("   Trust Setting %ld:\n", static_cast<long>(i));
    if (CFTypeRef policy = CFDictionaryGetValue(setting, kSecTrustSettingsPolicy)) {
      printf("      Policy OID            : %s\n", policyShown(policy).c_str());
    }
    if (CFTypeRef string = CFDictionaryGetValue(setting, kSecTrustSettingsPolicyString)) {
      printf("      Policy String         : %s\n", emu::utf8(static_cast<CFStringRef>(string)).c_str());
    }
    if (CFTypeRef error = CFDictionaryGetValue(setting, kSecTrustSettingsAllowedError)) {
      printf("      Allowed Error         : %d\n", static_cast<int>(numberOf(error)));
    }
    if (CFTypeRef result = CFDictionaryGetValue(setting, kSecTrustSettingsResult)) {
      const char *name = resultName(numberOf(result));
      if (name != nullptr) {
        printf("      Result Type           : %s\n", name);
      } else {
        printf("      Result Type           : Unknown SecTrustSettingsResult (%d)\n",
               static_cast<int>(numberOf(result)));
      }
    }
    if (CFTypeRef usage = CFDictionaryGetValue(setting, kSecTrustSettingsKeyUsage)) {
      printf("      Key Usage             : %d\n", static_cast<int>(numberOf(usage)));
    }
  }
}

}  // namespace

int addTrustedCert(int argc, char *const *argv) {
  SecTrustSettingsDomain domain = kSecTrustSettingsDomainUser;
  SecTrustSettingsResult result = kSecTrustSettingsResultTrustRoot;
  std::vector<CFStringRef> policies;
  bool constrained = false;
  const char *keychainName = nullptr;
  optind = 1;
  for (int option; (option = getopt(argc, argv, "dr:a:p:s:e:u:k:i:o:Dh")) != -1;) {
    switch (option) {
      case 'd':
        domain = kSecTrustSettingsDomainAdmin;
        break;
      case 'r':
        if (!readResult(optarg, &result)) return 2;
        constrained = true;
        break;
      case 'p': {
        CFStringRef oid = nullptr;
        for (const PolicyName &name : policyNames()) {
          if (strcmp(optarg, name.option) == 0) oid = name.oid;
        }
        if (oid == nullptr) {
          fprintf(stderr, "***unknown policy (%s)\n", optarg);
          return 2;
        }
        policies.push_back(oid);
        constrained = true;
        break;
      }
      case 'k':
        keychainName = optarg;
        break;
      case 'a':
      case 's':
      case 'e':
      case 'u':
      case 'i':
      case 'o':
      case 'D':
        secError("add-trusted-cert: option -%c is not emulated", option);
        return 1;
      default:
        return 2;
    }
  }
  if (argc - optind != 1) {
    if (argc == optind) fprintf(stderr, "No cert file specified.\n");
    return 2;
  }

  Owned<SecCertificateRef> certificate = readCertFile(argv[optind]);
  if (!certificate) return 1;
  // The certificate goes into the keychain -k names; for the admin domain
  // the System keychain is the default.
  if (keychainName == nullptr && domain == kSecTrustSettingsDomainAdmin) {
    keychainName = "/Library/Keychains/System.keychain";
  }
  if (keychainName != nullptr) {
    SecKeychainRef opened = nullptr;
    SecKeychainOpen(keychainName, &opened);
    Owned<SecKeychainRef> keychain(opened);
    OSStatus status = SecCertificateAddToKeychain(certificate.get(), keychain.get());
    if (status != errSecSuccess && status != errSecDuplicateItem) {
      cssmPerror("SecCertificateAddToKeychain", status);
      return 1;
    }
  }

  Owned<CFMutableArrayRef> settings;
  if (constrained) {
    settings.reset(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    if (policies.empty()) policies.push_back(nullptr);
    for (CFStringRef oid : policies) {
      Owned<CFDictionaryRef> constraint(createConstraint(oid, result));
      CFArrayAppendValue(settings.get(), constraint.get());
    }
  }
  OSStatus status = SecTrustSettingsSetTrustSettings(certificate.get(), domain, settings.get());
  if (status != errSecSuccess) {
    cssmPerror("SecTrustSettingsSetTrustSettings", status);
    return 1;
  }
  return 0;
}

int dumpTrustSettings(int argc, char *const *argv) {
  SecTrustSettingsDomain domain = kSecTrustSettingsDomainUser;
  optind = 1;
  for (int option; (option = getopt(argc, argv, "sdh")) != -1;) {
    switch (option) {
      case 's':
        domain = kSecTrustSettingsDomainSystem;
        break;
      case 'd':
        domain = kSecTrustSettingsDomainAdmin;
        break;
      default:
        return 2;
    }
  }
  if (optind != argc) return 2;
  CFArrayRef copied = nullptr;
  OSStatus status = SecTrustSettingsCopyCertificates(domain, &copied);
  if (status != errSecSuccess) {
    cssmPerror("SecTrustSettingsCopyCertificates", status);
    return 1;
  }
  Owned<CFArrayRef> certificates(copied);
  printf("Number of trusted certs = %ld\n", static_cast<long>(CFArrayGetCount(copied)));
  int result = 0;
  for (CFIndex i = 0; i < CFArrayGetCount(copied); ++i) {
    auto certificate = static_cast<SecCertificateRef>(const_cast<void *>(CFArrayGetValueAtIndex(copied, i)));
    Owned<CFStringRef> label(SecCertificateCopySubjectSummary(certificate));
    printf("Cert %ld: %s\n", static_cast<long>(i), emu::utf8(label.get()).c_str());
    CFArrayRef settings = nullptr;
    status = SecTrustSettingsCopyTrustSettings(certificate, domain, &settings);
    if (status != errSecSuccess) {
      cssmPerror("SecTrustSettingsCopyTrustSettings", status);
      result = -1;
      continue;
    }
    Owned<CFArrayRef> held(settings);
    displayTrustSettings(settings);
  }
  return result;
}
