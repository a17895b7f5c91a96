#pragma once
// The trust settings of one domain, where and as macOS keeps them: an XML
// property list {"trustVersion": 1, "trustList": {...}} whose trust list maps
// each certificate's SHA-1 (upper-case hex) to its "issuerName",
// "serialNumber", "modDate" and, unless empty, its "trustSettings" array in
// the stored form (policies as object identifier octets). Admin settings are
// "/Library/Security/Trust Settings/Admin.plist", a user's are beside them
// under the user's UUID, and the system's are read-only.

#include <Security/Security.h>

#include <string>

#include "../common/CFSupport.h"
#include "X509Certificate.h"

namespace emu::sec {

class TrustSettingsStore {
 public:
  explicit TrustSettingsStore(SecTrustSettingsDomain domain);

  // errSecNoTrustSettings when the domain has no record, errSecInvalidTrustSettings
  // when the file is not one, errSecParam for an unknown domain.
  OSStatus load();
  // The certificate's entry, or null.
  CFDictionaryRef entry(const X509Certificate &certificate) const;
  // An entry's settings in stored form; null when it has none.
  static CFArrayRef settings(CFDictionaryRef entry);

  // Records the certificate's settings (in stored form) and writes the file.
  OSStatus set(const X509Certificate &certificate, CFArrayRef settings);
  // Removes the certificate's entry (errSecItemNotFound when it has none)
  // and writes the file, or deletes it when no entry is left.
  OSStatus remove(const X509Certificate &certificate);

 private:
  OSStatus save();

  SecTrustSettingsDomain domain_;
  std::string path_;
  Owned<CFMutableDictionaryRef> record_;
};

}  // namespace emu::sec
