#pragma once
#include <Security/Security.h>

#include <string>

#include "CFTestSupport.h"
#include "ChildProcess.h"

namespace sectest {

constexpr char kSystemKeychain[] = "/Library/Keychains/System.keychain";

xpc::CFRef<SecKeychainRef> openKeychain(const std::string& path = kSystemKeychain);

// A generic password with the four attributes an 802.1X entry has.
OSStatus addPassword(SecKeychainRef keychain, const std::string& account, const std::string& service,
                     const std::string& label, const std::string& description, const std::string& password);

// SecCopyErrorMessageString's text, or "" when it has none.
std::string message(OSStatus status);

// The items of the keychain file as stored; empty when it does not parse.
std::vector<xpc::CFRef<CFDictionaryRef>> storedItems(const std::string& path = kSystemKeychain);

// Runs body in a forked process as the console user; its exit status.
int asUser(const std::function<int()>& body);

// Real CA certificates that no one here wrote: Debian's ca-certificates (PEM).
constexpr char kCertificateFolder[] = "/usr/share/ca-certificates/mozilla/";
constexpr char kISRGRootX1[] = "ISRG_Root_X1.crt";
constexpr char kGoDaddyClass2[] = "Go_Daddy_Class_2_CA.crt";  // no common name
std::vector<std::string> caCertificateFiles();

// The bytes of the first PEM block of a file.
std::string derFromPem(const std::string& pem);

// What openssl says of a certificate file: its DER, SHA-1 fingerprint in
// upper-case hex without separators, and its subject's components.
struct OpensslView {
  std::string der;
  std::string sha1;
  std::vector<std::pair<std::string, std::string>> subject;  // (openssl's long name, value)
  std::string last(const std::string& component) const;      // "" when absent
};
OpensslView openssl(const std::string& file);

xpc::CFRef<SecCertificateRef> certificateFrom(const std::string& der);
// CC_SHA1 of the certificate's data, upper-case hex without separators.
std::string sha1Hex(SecCertificateRef certificate);

}  // namespace sectest
