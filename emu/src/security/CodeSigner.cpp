#include "CodeSigner.h"

#include <Security/Security.h>
#include <openssl/pem.h>
#include <openssl/pkcs7.h>
#include <openssl/sha.h>
#include <unistd.h>

#include <cstdio>

#include "../common/CFSupport.h"
#include "CodeSignature.h"
#include "X509Certificate.h"

namespace emu::sec {
namespace {

std::string nameEntry(X509 *certificate, int nid) {
  char text[256] = "";
  X509_NAME_get_text_by_NID(X509_get_subject_name(certificate), nid, text, sizeof text);
  return text;
}

std::string sha1Hex(X509 *certificate) {
  unsigned char digest[SHA_DIGEST_LENGTH];
  unsigned int length = 0;
  X509_digest(certificate, EVP_sha1(), digest, &length);
  std::string hex;
  char pair[3];
  for (unsigned int i = 0; i < length; ++i) {
    std::snprintf(pair, sizeof pair, "%02X", digest[i]);
    hex += pair;
  }
  return hex;
}

bool writeAll(int fd, const void *bytes, size_t size, off_t offset) {
  size_t done = 0;
  while (done < size) {
    ssize_t n = pwrite(fd, static_cast<const char *>(bytes) + done, size - done, offset + static_cast<off_t>(done));
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

void setValue(CFMutableDictionaryRef dictionary, const char *key, CFTypeRef value) {
  Owned<CFStringRef> name(createString(key));
  CFDictionarySetValue(dictionary, name.get(), value);
  CFRelease(value);
}

CFDataRef binaryPlist(CFDictionaryRef dictionary) {
  return CFPropertyListCreateData(nullptr, dictionary, kCFPropertyListBinaryFormat_v1_0, 0, nullptr);
}

}  // namespace

CodeSigner::~CodeSigner() {
  EVP_PKEY_free(key_);
  X509_free(certificate_);
  sk_X509_pop_free(chain_, X509_free);
}

std::unique_ptr<CodeSigner> CodeSigner::adhoc() { return std::unique_ptr<CodeSigner>(new CodeSigner); }

std::unique_ptr<CodeSigner> CodeSigner::fromIdentityFile(const std::string &path, const std::string &name,
                                                         std::string *error) {
  FILE *file = std::fopen(path.c_str(), "r");
  if (file == nullptr) {
    *error = "The specified keychain could not be found.";
    return nullptr;
  }
  std::unique_ptr<CodeSigner> signer(new CodeSigner);
  signer->chain_ = sk_X509_new_null();
  std::vector<X509 *> certificates;
  // Each reader passes over the blocks of other kinds.
  while (X509 *certificate = PEM_read_X509(file, nullptr, nullptr, nullptr)) certificates.push_back(certificate);
  std::rewind(file);
  signer->key_ = PEM_read_PrivateKey(file, nullptr, nullptr, nullptr);
  std::fclose(file);
  for (X509 *certificate : certificates) {
    bool matches = nameEntry(certificate, NID_commonName).find(name) != std::string::npos || sha1Hex(certificate) == name;
    if (signer->certificate_ == nullptr && matches && signer->key_ != nullptr &&
        X509_check_private_key(certificate, signer->key_) == 1) {
      signer->certificate_ = certificate;
    } else {
      sk_X509_push(signer->chain_, certificate);
    }
  }
  if (signer->certificate_ == nullptr) {
    *error = name + ": no identity found";
    return nullptr;
  }
  return signer;
}

std::string CodeSigner::teamIdentifier() const {
  return certificate_ != nullptr ? nameEntry(certificate_, NID_organizationalUnitName) : std::string();
}

std::vector<std::string> CodeSigner::authorities() const {
  std::vector<std::string> names;
  if (certificate_ == nullptr) return names;
  names.push_back(nameEntry(certificate_, NID_commonName));
  for (int i = 0; i < sk_X509_num(chain_); ++i) names.push_back(nameEntry(sk_X509_value(chain_, i), NID_commonName));
  return names;
}

bool CodeSigner::removeSignature(int fd) {
  off_t length = CodeSignature::codeLength(fd);
  return length >= 0 && ftruncate(fd, length) == 0;
}

bool CodeSigner::sign(int fd, const std::string &identifier, uint32_t flags, CFDictionaryRef entitlements,
                      std::string *error) const {
  off_t length = CodeSignature::codeLength(fd);
  std::vector<unsigned char> hash = length >= 0 ? CodeSignature::codeHash(fd, length) : std::vector<unsigned char>();
  if (hash.empty()) {
    *error = "unable to read the code";
    return false;
  }
  if (certificate_ == nullptr) flags |= kSecCodeSignatureAdhoc;
  Owned<CFMutableDictionaryRef> directory(createMutableDictionary());
  setValue(directory.get(), "Identifier", createString(identifier));
  if (certificate_ != nullptr) setValue(directory.get(), "TeamIdentifier", createString(teamIdentifier()));
  long long flagsValue = flags, lengthValue = length;
  setValue(directory.get(), "Flags", CFNumberCreate(nullptr, kCFNumberLongLongType, &flagsValue));
  setValue(directory.get(), "CodeLength", CFNumberCreate(nullptr, kCFNumberLongLongType, &lengthValue));
  setValue(directory.get(), "CodeHash", CFDataCreate(nullptr, hash.data(), static_cast<CFIndex>(hash.size())));
  if (entitlements != nullptr) setValue(directory.get(), "Entitlements", CFRetain(entitlements));
  Owned<CFDataRef> directoryData(binaryPlist(directory.get()));

  Owned<CFMutableDictionaryRef> blob(createMutableDictionary());
  CFDictionarySetValue(blob.get(), CFSTR("CodeDirectory"), directoryData.get());
  if (certificate_ != nullptr) {
    BIO *content = BIO_new_mem_buf(CFDataGetBytePtr(directoryData.get()), static_cast<int>(CFDataGetLength(directoryData.get())));
    PKCS7 *p7 = PKCS7_sign(certificate_, key_, chain_, content, PKCS7_DETACHED | PKCS7_BINARY | PKCS7_NOSMIMECAP);
    BIO_free(content);
    unsigned char *der = nullptr;
    int size = p7 != nullptr ? i2d_PKCS7(p7, &der) : -1;
    PKCS7_free(p7);
    if (size <= 0) {
      *error = "unable to build the CMS signature";
      return false;
    }
    setValue(blob.get(), "CMS", CFDataCreate(nullptr, der, size));
    OPENSSL_free(der);
  }
  Owned<CFDataRef> blobData(binaryPlist(blob.get()));
  auto blobLength = static_cast<uint32_t>(CFDataGetLength(blobData.get()));
  unsigned char trailer[kSignatureTrailerLength] = {static_cast<unsigned char>(blobLength >> 24),
                                                    static_cast<unsigned char>(blobLength >> 16),
                                                    static_cast<unsigned char>(blobLength >> 8),
                                                    static_cast<unsigned char>(blobLength)};
  std::copy(kSignatureMagic, kSignatureMagic + kSignatureMagicLength, trailer + 4);
  if (ftruncate(fd, length) != 0 || !writeAll(fd, CFDataGetBytePtr(blobData.get()), blobLength, length) ||
      !writeAll(fd, trailer, sizeof trailer, length + static_cast<off_t>(blobLength))) {
    *error = "unable to write the signature";
    return false;
  }
  return true;
}

}  // namespace emu::sec
