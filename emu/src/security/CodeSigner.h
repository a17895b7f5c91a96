#pragma once
// Signs an executable in place with the emulated signature (see
// CodeSignature.h): ad hoc, or with an identity read from a PEM file that
// holds its private key, its certificate and the chain up to the root.

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

#include <CoreFoundation/CoreFoundation.h>

namespace emu::sec {

class CodeSigner {
 public:
  // Null (with the reason in error) unless the file holds a key and a
  // certificate whose common name contains name or whose SHA-1 is name.
  static std::unique_ptr<CodeSigner> fromIdentityFile(const std::string &path, const std::string &name,
                                                      std::string *error);
  // An ad-hoc signer: no identity, no team.
  static std::unique_ptr<CodeSigner> adhoc();
  ~CodeSigner();

  // The signer's team (its certificate's organizational unit); empty for ad hoc.
  std::string teamIdentifier() const;
  // Common names from the signer up to the root.
  std::vector<std::string> authorities() const;

  // Replaces any signature of the file open (read-write) at fd. entitlements
  // may be null.
  bool sign(int fd, const std::string &identifier, uint32_t flags, CFDictionaryRef entitlements,
            std::string *error) const;
  // Strips the signature, if any.
  static bool removeSignature(int fd);

 private:
  CodeSigner() = default;

  EVP_PKEY *key_ = nullptr;
  X509 *certificate_ = nullptr;
  STACK_OF(X509) *chain_ = nullptr;  // the issuers, up to the root
};

}  // namespace emu::sec
