#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>

#include <string>

#include "CFRef.h"
#include "LogSink.h"

class Logger;

namespace xpc {

// Trust settings of an installed CA certificate: trusted for basic X.509, SSL
// server and EAP server. Existing settings are repaired in place (policy name,
// result) rather than duplicated; they can be removed and logged.
//
// Policies are named by a friendly name: "X.509", "SSL" or "EAP". A trust
// model of 0 writes "trust root", 1 "trust as root"; anything else fails.
//
// With `reportErrors` false (a first attempt that will be retried) failures
// are logged as "(Error) " + text at level 5, otherwise as text at level 4.
class CertificateTrustPolicyHelper {
 public:
  explicit CertificateTrustPolicyHelper(Logger* logger);

  // Writes the three policies into the certificate's settings of the admin
  // domain (user domain when asked). True once the settings are complete,
  // even when the system then refuses the write, which is only logged.
  bool setDefaultCertificateTrustItems(SecCertificateRef certificate, int trustModel,
                                       bool useUserDomain, bool reportErrors);
  // 0 settings present (`*out`, for the caller to release), 1 none (or the
  // certificate is in no keychain), -1 error.
  int getTrustSettingsFromCert(SecCertificateRef certificate, unsigned int domain, CFArrayRef* out);
  // Removes the settings of the user and admin domains; false when there were
  // none or a removal failed. The system domain is never touched.
  bool deleteCertificateTrustItems(SecCertificateRef certificate);

  // The edits of one settings array, each on plain CF values.
  // Adds the named policy's entry, or repairs the one present.
  bool setTrustSetting(std::string friendlyName, CFMutableArrayRef settings, int trustModel,
                       bool reportErrors);
  // Appends an entry holding only the named policy.
  bool addTrustPolicy(CFMutableArrayRef settings, std::string friendlyName);
  // The index of the entry for the policy identifier, -1 when none.
  CFIndex cfArrayGetPolicyIndex(CFArrayRef settings, CFStringRef policyId);
  // Makes the entry's policy name the one the friendly name stands for.
  bool validateAndFixTrustSettingName(CFMutableDictionaryRef entry, std::string friendlyName,
                                      bool reportErrors);
  // Makes the entry's result `trustResult` (a SecTrustSettingsResult).
  bool changeTrustResultSetting(CFMutableDictionaryRef entry, int trustResult,
                                std::string friendlyName, bool reportErrors);

  // Names and numbers.
  // The policy identifier for a friendly name; null (not owned) when unknown.
  CFStringRef getCfStringFromPolicyName(std::string friendlyName);
  // "basicX509", "sslServer", "eapServer"; "" when unknown.
  std::string getPolicyNameFromHumanReadableString(std::string friendlyName);
  static std::string resultValueToString(long long result);
  SecTrustSettingsDomain getTrustSettingsDomainFromInt(int domain);

  // Policy identity.
  std::string getSecPolicyOid(SecPolicyRef policy);
  std::string getSecPolicyName(SecPolicyRef policy);
  bool secPolicyRefIsOid(SecPolicyRef policy, CFStringRef oid);

  // Logging.
  void logExistingTrustSettingsForCert(SecCertificateRef certificate);
  void logCertTrustSettingsForDomain(SecCertificateRef certificate, unsigned int domain);
  void logTrustArray(CFArrayRef settings);
  void logSingleSecPolicy(CFDictionaryRef entry);

 private:
  // A new policy object for the friendly name, or null.
  CFRef<SecPolicyRef> createPolicy(const std::string& friendlyName);
  void report(bool reportErrors, const std::string& text);
  void log(LogLevel level, const std::string& text);

  Logger* logger;
};

}  // namespace xpc
