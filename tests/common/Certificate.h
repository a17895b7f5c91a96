#pragma once
#include <string>

// A CA certificate of Debian's ca-certificates package, described by openssl
// rather than by anything of ours.
struct Certificate {
  // A file name under /usr/share/ca-certificates/mozilla.
  explicit Certificate(const std::string& name);
  std::string pem;
  std::string der;
  // SHA-1 of the DER bytes as openssl prints it, with blanks for colons.
  std::string thumbprint;
  // The same without blanks: the certificate's key in the trust settings.
  std::string trustKey() const;
};
