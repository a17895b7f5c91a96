#pragma once
// Shared by the Security sources: the layouts of the framework's CF types
// and what the sources need from each other.

#include <Security/Security.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "../common/CFSupport.h"
#include "../corefoundation/CFRuntimeInternal.h"
#include "X509Certificate.h"

struct __SecKeychain {
  CFRuntimeBase base;
  std::string path;
};

// A password item as it was stored when it was added or found.
struct __SecKeychainItem {
  CFRuntimeBase base;
  emu::Owned<SecKeychainRef> keychain;
  emu::Owned<CFDictionaryRef> record;
};

// A certificate; one found in a keychain remembers the keychain, so that it
// can be deleted from it.
struct __SecCertificate {
  CFRuntimeBase base;
  std::unique_ptr<emu::sec::X509Certificate> x509;
  emu::Owned<SecKeychainRef> keychain;
};

namespace emu::sec {

constexpr char kSystemKeychainPath[] = "/Library/Keychains/System.keychain";
// Statuses of failed system calls: the errno above this base.
constexpr OSStatus kErrnoBase = 100000;

// Ends the process for a call the emulation does not cover, so that it is
// noticed rather than answered with something made up.
[[noreturn]] void unimplemented(const char *function, const char *what);

// Keychains (SecKeychain.cpp).
SecKeychainRef keychainCreate(const std::string &path);
const std::string &keychainPath(SecKeychainRef keychain);
// The keychain itself, or the default keychain when it is NULL (Create rule).
SecKeychainRef copyKeychainOrDefault(SecKeychainRef keychain);
// Hands visit the stored items of the keychains a search covers, keychain by
// keychain, until it answers false. keychainOrArray is one keychain, an array
// of them, or NULL for the default search list, whose missing keychains are
// passed over. errSecParam for anything else; the status of a keychain that
// cannot be read.
OSStatus visitItems(CFTypeRef keychainOrArray,
                    const std::function<bool(SecKeychainRef keychain, CFDictionaryRef item)> &visit);

// Items (SecKeychainItem.cpp). The reference a search returns for a stored
// record (Create rule).
CFTypeRef copyItemReference(SecKeychainRef keychain, CFDictionaryRef record);

// Certificates (SecCertificate.cpp).
// Null unless data is a CFData holding one DER certificate.
std::unique_ptr<X509Certificate> parseCertificate(CFTypeRef data);
const __SecCertificate *certificateOf(CFTypeRef cf);
// keychain may be NULL.
SecCertificateRef certificateCreate(std::unique_ptr<X509Certificate> x509, SecKeychainRef keychain);
// What a keychain stores for a certificate (Create rule).
CFDictionaryRef createCertificateRecord(const X509Certificate &x509);

// Policies (SecPolicy.cpp). The name trust settings record for a policy.
CFStringRef policyName(SecPolicyRef policy);
// A policy's identifier as trust settings store it: the content octets of
// its DER object identifier (Create rule).
CFDataRef copyPolicyOIDData(SecPolicyRef policy);
// The policy such stored octets identify; null if none is emulated.
SecPolicyRef policyCreateWithOIDData(CFDataRef data);

// Applications and accesses (SecTrustedApplication.cpp, SecAccess.cpp).
// The path of a trusted application; null for anything else.
const std::string *trustedApplicationPath(CFTypeRef application);
std::string callingProgram();
// Where an item record keeps its access: the descriptor and the paths of the
// trusted applications, not an attribute of the item.
inline CFStringRef accessKey() { return CFSTR("Access"); }
// The access an item records; access NULL stands for the default, the
// calling program under the item's label (Create rule).
CFDictionaryRef createAccessRecord(SecAccessRef access, CFStringRef label);

// Code requirements (SecRequirement.cpp): the parsed requirement behind a
// reference, or null when it is not one.
class CodeRequirement;
const CodeRequirement *requirementOf(SecRequirementRef requirement);

}  // namespace emu::sec
