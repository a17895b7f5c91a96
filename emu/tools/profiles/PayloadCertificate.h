#pragma once
// The certificate a certificate payload brings, in the encoding its type
// takes: com.apple.security.root and .pkcs1 carry DER, .pem carries PEM text,
// .pkcs12 a password-protected identity (one certificate and its key).

#include <CoreFoundation/CoreFoundation.h>

#include <string>

#include "ProfileError.h"
#include "common/CFSupport.h"

class PayloadCertificate {
 public:
  static bool isCertificateType(const std::string &type);
  static bool isIdentityType(const std::string &type) { return type == "com.apple.security.pkcs12"; }

  // The certificate's DER, read from a payload (or an installed item's
  // content) of the type; null, with `error` set, when it cannot be read.
  static emu::Owned<CFDataRef> createDer(const std::string &type, CFDictionaryRef content, ProfileError &error);
};
