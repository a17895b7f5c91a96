#include "CertificateTrustPolicyHelper.h"

#include "CFCast.h"
#include "CFRef.h"
#include "DictionaryHelper.h"
#include "ErrorUtils.h"
#include "Logger.h"
#include "MacStringUtils.h"
#include "ReleaseLimits.h"

namespace xpc {

namespace {

// Each policy we trust, by its friendly name: its identifier, the policy name
// stored beside it in the settings, and its name in our log.
struct PolicyNames {
  const char* friendlyName;
  const CFStringRef* identifier;
  const char* policyName;
  const char* logName;
};

const PolicyNames kPolicies[] = {
    {"X.509", &kSecPolicyAppleX509Basic, "basicX509", "x.509 Policy"},
    {"SSL", &kSecPolicyAppleSSL, "sslServer", "SSL Policy"},
    {"EAP", &kSecPolicyAppleEAP, "eapServer", "EAP Policy"},
};

// Written in this order; each with the text logged when it cannot be set.
const struct {
  const char* friendlyName;
  const char* failureText;
} kDefaultPolicies[] = {
    {"X.509", "Unable to set the x.509 trust setting to our certificate!"},
    {"SSL", "Unable to set the SSL trust setting to our certificate!"},
    {"EAP", "Unable to set the EAP trust setting to our certificate!"},
};

// The framework stores the policy's name beside it under this key, which its
// public headers do not name.
const char kPolicyNameKey[] = "kSecTrustSettingsPolicyName";

const PolicyNames* findPolicy(const std::string& friendlyName) {
  for (const PolicyNames& policy : kPolicies) {
    if (friendlyName == policy.friendlyName) return &policy;
  }
  return nullptr;
}

std::string keyText(CFStringRef key) { return MacStringUtils::cfStringRefToStdString(key); }

}  // namespace

CertificateTrustPolicyHelper::CertificateTrustPolicyHelper(Logger* logger) : logger(logger) {}

void CertificateTrustPolicyHelper::log(LogLevel level, const std::string& text) {
  logLine(logger, level, text);
}

void CertificateTrustPolicyHelper::report(bool reportErrors, const std::string& text) {
  if (reportErrors) {
    log(LogLevel::Error, text);
  } else {
    log(LogLevel::Progress, "(Error) " + text);
  }
}

bool CertificateTrustPolicyHelper::setDefaultCertificateTrustItems(SecCertificateRef certificate,
                                                                   int trustModel,
                                                                   bool useUserDomain,
                                                                   bool reportErrors) {
  if (certificate == nullptr) {
    log(LogLevel::Error, "No certificate was provided to set the default trust items on!");
    return false;
  }
  logExistingTrustSettingsForCert(certificate);
  log(LogLevel::Progress, "Getting the existing trust settings.");
  SecTrustSettingsDomain domain = kSecTrustSettingsDomainUser;
  if (!useUserDomain) {
    log(LogLevel::Progress, "Using the admin domain for setting trust settings!");
    domain = kSecTrustSettingsDomainAdmin;
  }
  CFRef<CFArrayRef> existing;
  int found = getTrustSettingsFromCert(certificate, domain, existing.initializeInto());
  if (found == -1) return false;

  CFRef<CFMutableArrayRef> settings;
  if (found == 0 && existing && CFArrayGetCount(existing.get()) > 0) {
    log(LogLevel::Progress, "Certificate has existing trust settings.  Will copy the existing settings.");
    settings.reset(CFArrayCreateMutableCopy(kCFAllocatorDefault, 0, existing.get()), RefPolicy::Adopt);
    if (!settings) {
      const char text[] = "Unable to create a mutable copy of the trust settings for a certificate!";
      // This one line has always begun with a blank.
      reportErrors ? log(LogLevel::Error, text) : log(LogLevel::Progress, std::string(" (Error) ") + text);
      return false;
    }
  } else {
    log(LogLevel::Progress, "Certificate doesn't have any trust settings.  Will create a new setting list.");
    settings.reset(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks),
                   RefPolicy::Adopt);
    if (!settings) {
      report(reportErrors, "Unable to allocate memory to create new trust settings for a certificate!");
      return false;
    }
  }

  for (const auto& policy : kDefaultPolicies) {
    if (!setTrustSetting(policy.friendlyName, settings.get(), trustModel, reportErrors)) {
      report(reportErrors, policy.failureText);
      return false;
    }
  }

  log(LogLevel::Progress, "********  Settings before write!");
  logTrustArray(settings.get());
  log(LogLevel::Progress, useUserDomain ? "Attempting to write new trust settings to the user domain."
                       : "Attempting to write new trust settings to the admin domain.");
  OSStatus status = SecTrustSettingsSetTrustSettings(certificate, domain, settings.get());
  if (status == errSecSuccess) {
    log(LogLevel::Progress, "Trust settings after we set them : ");
    logCertTrustSettingsForDomain(certificate, domain);
    log(LogLevel::Progress, "Certificate trust items were set on the certificate!");
  } else {
    // The settings are complete; a refused write is only worth a note.
    log(LogLevel::Progress, "(Error) Failed to write new trust settings for a certificate!");
    log(LogLevel::Progress, "(Error)     OS Error : " + ErrorUtils(logger).getErrorStringFromOsStatus(status));
    if (!useUserDomain) ReleaseLimits(logger).explain(ReleaseLimits::Limit::AdminTrust);
  }
  return true;
}

int CertificateTrustPolicyHelper::getTrustSettingsFromCert(SecCertificateRef certificate,
                                                           unsigned int domain, CFArrayRef* out) {
  if (certificate == nullptr || out == nullptr) {
    log(LogLevel::Error, "Unable to read the trust settings for the certificate! Error : ");
    log(LogLevel::Error, "    OS Error : " + ErrorUtils(logger).getErrorStringFromOsStatus(errSecParam));
    return -1;
  }
  std::string number = std::to_string(domain);
  OSStatus status = SecTrustSettingsCopyTrustSettings(
      certificate, getTrustSettingsDomainFromInt(static_cast<int>(domain)), out);
  if (status == errSecItemNotFound) {
    log(LogLevel::Progress, "There were no trust settings available for the certificate in domain " + number +
                            ", or the certificate wasn't installed in the keychain!");
    return 1;
  }
  if (status != errSecSuccess) {
    log(LogLevel::Error, "Unable to read the trust settings for the certificate! Error : ");
    log(LogLevel::Error, "    OS Error : " + ErrorUtils(logger).getErrorStringFromOsStatus(status));
    return -1;
  }
  CFIndex count = *out != nullptr ? CFArrayGetCount(*out) : 0;
  log(LogLevel::Progress, "The certificate has " + std::to_string(count) + " trust setting(s).");
  return 0;
}

bool CertificateTrustPolicyHelper::deleteCertificateTrustItems(SecCertificateRef certificate) {
  if (certificate == nullptr) {
    log(LogLevel::Error, "The certificate provided to delete the trust settings on was NULL!");
    return false;
  }
  bool removed = false;
  for (unsigned int domain : {0u, 1u}) {
    CFRef<CFArrayRef> settings;
    if (getTrustSettingsFromCert(certificate, domain, settings.initializeInto()) != 0) continue;
    std::string number = std::to_string(domain);
    log(LogLevel::Progress, "Have trust settings in domain " + number + ".");
    OSStatus status = SecTrustSettingsRemoveTrustSettings(
        certificate, getTrustSettingsDomainFromInt(static_cast<int>(domain)));
    if (status != errSecSuccess) {
      log(LogLevel::Error, "Unable to remove the trust settings for the certificate in trust domain " + number +
                           "!  Error : ");
      log(LogLevel::Error, "    OS Error : " + ErrorUtils(logger).getErrorStringFromOsStatus(status));
      return false;
    }
    removed = true;
  }
  if (!removed) {
    log(LogLevel::Error, "Unable to locate a certificate policy to delete!");
    return false;
  }
  log(LogLevel::Progress, "Deleted the trust settings for the certificate...");
  return true;
}

bool CertificateTrustPolicyHelper::setTrustSetting(std::string friendlyName,
                                                   CFMutableArrayRef settings, int trustModel,
                                                   bool reportErrors) {
  if (friendlyName.empty()) {
    report(reportErrors, "The policy name provided to use for setting trust settings was empty!");
    return false;
  }
  if (settings == nullptr) {
    report(reportErrors, "The trust settings array provided to setTrustSetting() was NULL!");
    return false;
  }
  log(LogLevel::Progress, "Setting policy for : " + friendlyName);
  CFStringRef identifier = getCfStringFromPolicyName(friendlyName);
  CFIndex index = cfArrayGetPolicyIndex(settings, identifier);
  if (index < 0) {
    log(LogLevel::Progress, "Our trust policy doesn't currently exist.  Adding it.");
    addTrustPolicy(settings, friendlyName);
    index = cfArrayGetPolicyIndex(settings, identifier);
    if (index < 0) {
      report(reportErrors,
             "Unable to configure the certificate trust settings for policy '" + friendlyName + "'!");
      return false;
    }
  } else {
    log(LogLevel::Progress, "The certificate already has the " + friendlyName +
                            " trust setting..  Modifying if needed..");
  }

  int result;
  switch (trustModel) {
    case 0: result = kSecTrustSettingsResultTrustRoot; break;
    case 1: result = kSecTrustSettingsResultTrustAsRoot; break;
    default:
      report(reportErrors,
             "Unexpected trust result/model value provided while setting x.509 trust settings!");
      return false;
  }

  // The entries of settings read from the system may be immutable: edit a copy.
  CFRef<CFMutableDictionaryRef> entry(
      CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0,
                                    static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(settings, index))),
      RefPolicy::Adopt);
  if (!validateAndFixTrustSettingName(entry.get(), friendlyName, reportErrors)) {
    report(reportErrors, "Unable to verify the trust setting name is valid!");
    return false;
  }
  if (!changeTrustResultSetting(entry.get(), result, friendlyName, reportErrors)) return false;
  CFArrayRemoveValueAtIndex(settings, index);
  CFArrayInsertValueAtIndex(settings, index, entry.get());
  return true;
}

bool CertificateTrustPolicyHelper::addTrustPolicy(CFMutableArrayRef settings,
                                                  std::string friendlyName) {
  if (settings == nullptr) return false;
  if (findPolicy(friendlyName) == nullptr) {
    log(LogLevel::Error, "Unknown trust settings policy constant '" + friendlyName + "'!");
    return false;
  }
  CFRef<SecPolicyRef> policy = createPolicy(friendlyName);
  if (!policy) {
    log(LogLevel::Error, "Unable to get a " + friendlyName + " trust policy!");
    return false;
  }
  DictionaryHelper entry(logger);
  if (!entry.createNewDictionary()) {
    log(LogLevel::Error, "Unable to create a dictionary to add the policy '" + friendlyName + "'!");
    return false;
  }
  if (!entry.setValue(kSecTrustSettingsPolicy, policy.get())) {
    log(LogLevel::Error, "Unable to assign the policy for '" + friendlyName + "' to our dictionary!");
    return false;
  }
  CFArrayAppendValue(settings, entry.getDictionary());
  return true;
}

CFRef<SecPolicyRef> CertificateTrustPolicyHelper::createPolicy(const std::string& friendlyName) {
  if (friendlyName == "X.509") return CFRef<SecPolicyRef>(SecPolicyCreateBasicX509(), RefPolicy::Adopt);
  if (friendlyName == "SSL") return CFRef<SecPolicyRef>(SecPolicyCreateSSL(true, nullptr), RefPolicy::Adopt);
#pragma clang diagnostic push
  // Deprecated in favour of per-purpose constructors, and there is none for EAP.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
  if (friendlyName == "EAP") return CFRef<SecPolicyRef>(SecPolicyCreateWithOID(kSecPolicyAppleEAP), RefPolicy::Adopt);
#pragma clang diagnostic pop
  return {};
}

CFIndex CertificateTrustPolicyHelper::cfArrayGetPolicyIndex(CFArrayRef settings,
                                                            CFStringRef policyId) {
  if (settings == nullptr || policyId == nullptr) return -1;
  for (CFIndex i = 0; i < CFArrayGetCount(settings); ++i) {
    CFTypeRef entry = CFArrayGetValueAtIndex(settings, i);
    if (cfCast<CFDictionaryRef>(entry) == nullptr) continue;
    CFTypeRef policy = CFDictionaryGetValue(static_cast<CFDictionaryRef>(entry), kSecTrustSettingsPolicy);
    if (cfCast<SecPolicyRef>(policy) == nullptr) continue;
    if (secPolicyRefIsOid(static_cast<SecPolicyRef>(const_cast<void*>(policy)), policyId)) return i;
  }
  return -1;
}

bool CertificateTrustPolicyHelper::validateAndFixTrustSettingName(CFMutableDictionaryRef entry,
                                                                  std::string friendlyName,
                                                                  bool reportErrors) {
  std::string expected = getPolicyNameFromHumanReadableString(friendlyName);
  log(LogLevel::Progress, "The policy name should be : " + expected);
  DictionaryHelper settings(logger);
  if (expected.empty() || !settings.setActiveDictionary(entry)) return false;
  std::string current;
  int found = settings.getValue(kPolicyNameKey, current);
  if (found == 0 && current == expected) return true;
  // A new entry has no name yet; any other name is wrong, whatever its type.
  if (found != 1) {
    if (!settings.deleteKey(kPolicyNameKey)) {
      report(reportErrors, "Unable to delete the incorrect trust settings policy name key!");
      return false;
    }
    log(LogLevel::Progress, "The incorrect trust setting policy name was deleted.");
  }
  if (!settings.setValue(kPolicyNameKey, expected.c_str())) {
    report(reportErrors, "Unable to set the " + friendlyName + " trust setting policy name!");
    return false;
  }
  return true;
}

bool CertificateTrustPolicyHelper::changeTrustResultSetting(CFMutableDictionaryRef entry,
                                                            int trustResult,
                                                            std::string friendlyName,
                                                            bool reportErrors) {
  log(LogLevel::Progress, "Attempting to set the value for '" + friendlyName + "' to '" +
             resultValueToString(trustResult) + "'.");
  DictionaryHelper settings(logger);
  if (!settings.setActiveDictionary(entry)) return false;
  const std::string resultKey = keyText(kSecTrustSettingsResult);
  int current = 0;
  switch (settings.getValue(resultKey, current)) {
    case 1:
      break;
    case 0:
      log(LogLevel::Progress, "The trust setting result value is : " + std::to_string(current));
      if (current == trustResult) {
        log(LogLevel::Progress, "The current trust setting result value is already correct.. Won't mess with it.");
        return true;
      }
      if (!settings.deleteKey(resultKey)) {
        report(reportErrors, "Unable to delete the incorrect trust settings result key!");
        return false;
      }
      log(LogLevel::Progress, "The incorrect trust setting was deleted.");
      break;
    case -1:
      log(LogLevel::Progress, "The trust setting result value appears to be invalid.  Will delete..");
      if (!settings.deleteKey(resultKey)) {
        report(reportErrors, "Unable to delete the invalid trust settings result key!");
        return false;
      }
      log(LogLevel::Progress, "Deleted the invalid trust setting result key.");
      break;
    default:
      report(reportErrors, "Unknown result value returned from getting the trust setting result key!");
      return false;
  }
  log(LogLevel::Progress, "Attempting to add the trust settings key...");
  if (!settings.setValue(resultKey, trustResult)) {
    report(reportErrors, "Unable to set the " + friendlyName + " trust setting!");
    return false;
  }
  log(LogLevel::Progress, "The new trust result value was set.");
  log(LogLevel::Detail, "Generated dictionary data : \n" + settings.toString());
  return true;
}

CFStringRef CertificateTrustPolicyHelper::getCfStringFromPolicyName(std::string friendlyName) {
  if (friendlyName.empty()) {
    log(LogLevel::Error, "The 'friendly name' of the policy constant we want to locate is EMPTY!");
    return nullptr;
  }
  const PolicyNames* policy = findPolicy(friendlyName);
  if (policy == nullptr) {
    log(LogLevel::Error, "Unknown policy constant '" + friendlyName + "'!");
    return nullptr;
  }
  return *policy->identifier;
}

std::string CertificateTrustPolicyHelper::getPolicyNameFromHumanReadableString(
    std::string friendlyName) {
  const PolicyNames* policy = findPolicy(friendlyName);
  if (policy == nullptr) {
    log(LogLevel::Error, "Human readable name : " + friendlyName);
    return "";
  }
  return policy->policyName;
}

std::string CertificateTrustPolicyHelper::resultValueToString(long long result) {
  switch (result) {
    case kSecTrustSettingsResultInvalid: return "invalid";
    case kSecTrustSettingsResultTrustRoot: return "trust root";
    case kSecTrustSettingsResultTrustAsRoot: return "trust as root";
    case kSecTrustSettingsResultDeny: return "deny";
    case kSecTrustSettingsResultUnspecified: return "unspecified";
    default: return std::to_string(result);
  }
}

SecTrustSettingsDomain CertificateTrustPolicyHelper::getTrustSettingsDomainFromInt(int domain) {
  switch (domain) {
    case 0: return kSecTrustSettingsDomainUser;
    case 1: return kSecTrustSettingsDomainAdmin;
    case 2: return kSecTrustSettingsDomainSystem;
    default:
      log(LogLevel::Error, "Unknown trust settings domain of '" + std::to_string(domain) + "'.  Assuming 'user'.");
      return kSecTrustSettingsDomainUser;
  }
}

std::string CertificateTrustPolicyHelper::getSecPolicyOid(SecPolicyRef policy) {
  if (policy == nullptr) return "";
  CFRef<CFDictionaryRef> properties(SecPolicyCopyProperties(policy), RefPolicy::Adopt);
  if (!properties) return "";
  CFTypeRef oid = CFDictionaryGetValue(properties.get(), kSecPolicyOid);
  if (cfCast<CFStringRef>(oid) == nullptr) return "";
  return MacStringUtils::cfStringRefToStdString(static_cast<CFStringRef>(oid));
}

bool CertificateTrustPolicyHelper::secPolicyRefIsOid(SecPolicyRef policy, CFStringRef oid) {
  std::string identifier = getSecPolicyOid(policy);
  return oid != nullptr && !identifier.empty() && identifier == keyText(oid);
}

std::string CertificateTrustPolicyHelper::getSecPolicyName(SecPolicyRef policy) {
  std::string oid = getSecPolicyOid(policy);
  for (const PolicyNames& known : kPolicies) {
    if (oid == keyText(*known.identifier)) return known.logName;
  }
  log(LogLevel::Progress, "Unchecked, or unknown policy.  Policy OID : " + oid);
  return oid;
}

void CertificateTrustPolicyHelper::logExistingTrustSettingsForCert(SecCertificateRef certificate) {
  const char* headings[] = {"Trust settings for the user domain : ",
                            "Trust settings for the admin domain : ",
                            "Trust settings for the system domain : "};
  for (unsigned int domain = 0; domain < 3; ++domain) {
    log(LogLevel::Progress, headings[domain]);
    logCertTrustSettingsForDomain(certificate, domain);
  }
}

void CertificateTrustPolicyHelper::logCertTrustSettingsForDomain(SecCertificateRef certificate,
                                                                 unsigned int domain) {
  CFRef<CFArrayRef> settings;
  if (getTrustSettingsFromCert(certificate, domain, settings.initializeInto()) == 0) {
    logTrustArray(settings.get());
  }
}

void CertificateTrustPolicyHelper::logTrustArray(CFArrayRef settings) {
  if (settings == nullptr || CFArrayGetCount(settings) == 0) {
    log(LogLevel::Progress, "The certificate provided doesn't contain any trust settings!");
    return;
  }
  for (CFIndex i = 0; i < CFArrayGetCount(settings); ++i) {
    CFTypeRef entry = CFArrayGetValueAtIndex(settings, i);
    if (cfCast<CFDictionaryRef>(entry) != nullptr) {
      logSingleSecPolicy(static_cast<CFDictionaryRef>(entry));
    }
  }
}

void CertificateTrustPolicyHelper::logSingleSecPolicy(CFDictionaryRef entry) {
  if (entry == nullptr) return;
  CFTypeRef policy = CFDictionaryGetValue(entry, kSecTrustSettingsPolicy);
  std::string name = "(any policy)";
  if (cfCast<SecPolicyRef>(policy) != nullptr) {
    name = getSecPolicyName(static_cast<SecPolicyRef>(const_cast<void*>(policy)));
  }
  log(LogLevel::Progress, "\tFound policy : " + name);
  // Read quietly: an absent key is an answer here, not a problem.
  DictionaryHelper settings(nullptr);
  settings.setActiveDictionary(entry);
  int number = 0;
  if (settings.getValue(keyText(kSecTrustSettingsResult), number) == 0) {
    log(LogLevel::Progress, "\t\tTrust settings result : " + std::to_string(number) + " (" +
               resultValueToString(number) + ")");
  } else {
    log(LogLevel::Progress, "\t\tNo trust settings result.");
  }
  if (settings.getValue(keyText(kSecTrustSettingsAllowedError), number) == 0) {
    log(LogLevel::Progress, "\t\tTrust settings allowed error : " + std::to_string(number));
  } else {
    log(LogLevel::Progress, "\t\tNo allowed errors.");
  }
  log(LogLevel::Detail, "Dictionary dump : \n" + settings.toString());
}

}  // namespace xpc
