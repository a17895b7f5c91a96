#pragma once
// What the keychain commands change, read the way the system reads it: the
// System keychain through the Security framework, the admin trust settings
// from their file.
#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>

#include <string>
#include <vector>

#include "CFRef.h"
#include "Certificate.h"

constexpr char kSystemKeychain[] = "/Library/Keychains/System.keychain";
constexpr char kAdminTrust[] = "/Library/Security/Trust Settings/Admin.plist";

// The attribute dictionaries of the System keychain's items of one class.
std::vector<xpc::CFRef<CFDictionaryRef>> keychainItems(CFStringRef itemClass);
// Gives the System keychain's certificates a new label, as a person could in
// Keychain Access.
void relabelCertificates(const std::string& label);
// How many certificates in the System keychain have these DER bytes.
int copiesInKeychain(const std::string& der);
// The password stored for a service and account, or "" when there is none.
std::string storedPassword(const std::string& service, const std::string& account);

// One entry of a certificate's admin trust settings as the file holds it.
struct TrustEntry {
  std::string policyName;
  long long result;  // -1 when absent
  bool operator==(const TrustEntry& other) const {
    return policyName == other.policyName && result == other.result;
  }
};
void PrintTo(const TrustEntry& entry, std::ostream* out);
// The certificate's entries in the admin trust settings file, in order.
std::vector<TrustEntry> adminTrust(const Certificate& certificate);
// Rewrites the certificate's entries in the file with `edit`, as another tool would.
void editAdminTrust(const Certificate& certificate, void (*edit)(CFMutableArrayRef settings));
