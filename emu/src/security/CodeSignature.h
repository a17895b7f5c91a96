#pragma once
// The emulated code signature. As in a Mach-O, it sits at the end of the
// executable, after the bytes it covers (an ELF loader ignores them):
//
//   code | blob | blob length (4 bytes, big-endian) | "EMUCSIG1"
//
// The blob is a binary property list {"CodeDirectory": data, "CMS": data};
// the code directory is itself a binary property list {"Identifier",
// "TeamIdentifier", "Flags", "CodeLength", "CodeHash" (SHA-256 of the code),
// "Entitlements"}. A real identity signs the code directory with a detached
// CMS (PKCS#7) signature that carries the certificate chain; an ad-hoc
// signature has no CMS and no team. The file is read through a descriptor
// only, and every byte of it is treated as hostile.

#include <Security/Security.h>

#include <memory>
#include <string>
#include <vector>

#include "../common/CFSupport.h"
#include "X509Certificate.h"

namespace emu::sec {

class CodeSignature {
 public:
  // Reads and verifies the signature of the file open at fd: the code hash,
  // the CMS signature over the code directory and the chain it carries.
  // errSecCSUnsigned when there is none, errSecCSSignatureFailed when code
  // or signature were modified or do not verify; a signature on success.
  static OSStatus read(int fd, std::unique_ptr<CodeSignature> *signature);
  // The length of the code before any signature (the whole file when it is
  // unsigned); -1 when the file cannot be read.
  static off_t codeLength(int fd);
  // SHA-256 of the first length bytes of the file; empty when they cannot be
  // read.
  static std::vector<unsigned char> codeHash(int fd, off_t length);

  const std::string &identifier() const { return identifier_; }
  const std::string &teamIdentifier() const { return teamIdentifier_; }  // empty when ad hoc
  uint32_t flags() const { return flags_; }
  bool adhoc() const { return (flags_ & kSecCodeSignatureAdhoc) != 0; }
  CFDictionaryRef entitlements() const { return entitlements_.get(); }  // null when none
  // The verified chain, leaf first, root last; empty when ad hoc.
  const std::vector<std::unique_ptr<X509Certificate>> &chain() const { return chain_; }

 private:
  static OSStatus verifyCms(const CodeSignature &signature, CFDataRef directory, CFDataRef cms,
                            std::vector<std::unique_ptr<X509Certificate>> *chain);

  std::string identifier_;
  std::string teamIdentifier_;
  uint32_t flags_ = 0;
  Owned<CFDictionaryRef> entitlements_;
  std::vector<std::unique_ptr<X509Certificate>> chain_;
};

// The trailer's fixed parts.
constexpr char kSignatureMagic[] = "EMUCSIG1";
constexpr size_t kSignatureMagicLength = 8;
constexpr size_t kSignatureTrailerLength = 4 + kSignatureMagicLength;
// No real signature is near this; a larger length is a forgery.
constexpr uint32_t kMaxSignatureLength = 1 << 20;

}  // namespace emu::sec
