#pragma once
#include <Security/Security.h>

#include <string>

#include "CFTestSupport.h"
#include "Certificate.h"
#include "ChildProcess.h"

namespace sectest {

constexpr char kSystemKeychain[] = "/Library/Keychains/System.keychain";

xpc::CFRef<SecKeychainRef> openKeychain(const std::string& path = kSystemKeychain);

// The items of the keychain file as stored; empty when it does not parse.
std::vector<xpc::CFRef<CFDictionaryRef>> storedItems(const std::string& path = kSystemKeychain);

// The query the helper's whole-keychain searches make, over the System keychain.
xpc::CFRef<CFMutableDictionaryRef> searchAll(CFStringRef itemClass);

// Runs body in a forked process as the console user; its exit status.
int asUser(const std::function<int()>& body);

// Real CA certificates that no one here wrote: Debian's ca-certificates (PEM).
constexpr char kCertificateFolder[] = "/usr/share/ca-certificates/mozilla/";
constexpr char kISRGRootX1[] = "ISRG_Root_X1.crt";
constexpr char kGoDaddyClass2[] = "Go_Daddy_Class_2_CA.crt";  // no common name

xpc::CFRef<SecCertificateRef> certificateFrom(const std::string& der);

// CF data as upper-case hex without separators; "<not data>" for anything else.
std::string hex(CFTypeRef data);

}  // namespace sectest
