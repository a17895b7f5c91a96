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

}  // namespace sectest
