#pragma once
// An X.509 certificate as OpenSSL reads it, with the values the framework
// derives from it: names, the identity a keychain keys it by, digests and
// the label macOS infers for it.

#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

namespace emu::sec {

class X509Certificate {
 public:
  using Bytes = std::vector<unsigned char>;

  // Null unless the bytes are exactly one DER-encoded certificate.
  static std::unique_ptr<X509Certificate> parse(const unsigned char *bytes, size_t length);

  const Bytes &der() const { return der_; }
  Bytes subject() const;        // the DER of the subject name
  Bytes issuer() const;         // the DER of the issuer name
  Bytes serialNumber() const;   // the content octets of the serial number
  Bytes subjectKeyID() const;   // empty when the extension is absent
  Bytes publicKeyHash() const;  // SHA-1 of the subject public key bits
  // Whether the certificate names itself as issuer and its own key verifies
  // its signature: a root.
  bool selfSigned() const;
  // SHA-1 of the DER in upper-case hex, as trust settings key certificates.
  std::string sha1Hex() const;
  // 1 to 3 for X.509 v1 to v3.
  long version() const;
  double notBefore() const;  // seconds since 2001, the CF epoch
  double notAfter() const;

  // The common names of the subject, in the order they appear.
  std::vector<std::string> commonNames() const;
  // (attribute OID, value) pairs of a name, in order, values as UTF-8.
  std::vector<std::pair<std::string, std::string>> subjectComponents() const;
  std::vector<std::pair<std::string, std::string>> issuerComponents() const;
  // Email addresses from the subject alternative names and the subject.
  std::vector<std::string> emailAddresses() const;
  // The label macOS gives the certificate: the last common name, else the
  // first organizational unit, organization or email address, else any
  // printable component; with a description component in parentheses;
  // else an email address; else "X509 Certificate".
  std::string inferredLabel() const;
  // Whether an extension with this dotted OID is present, critical or not.
  bool hasExtension(const std::string &oid) const;
  X509 *x509() const { return x509_.get(); }

 private:
  struct Free {
    void operator()(X509 *x509) const { X509_free(x509); }
  };
  X509Certificate(Bytes der, X509 *x509) : der_(std::move(der)), x509_(x509) {}

  Bytes der_;
  std::unique_ptr<X509, Free> x509_;
};

}  // namespace emu::sec
