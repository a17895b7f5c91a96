#include "CodeSignature.h"

#include <openssl/evp.h>
#include <openssl/pkcs7.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

namespace emu::sec {
namespace {

bool preadFully(int fd, void *buffer, size_t size, off_t offset) {
  size_t got = 0;
  while (got < size) {
    ssize_t n = pread(fd, static_cast<char *>(buffer) + got, size - got, offset + static_cast<off_t>(got));
    if (n <= 0) return false;
    got += static_cast<size_t>(n);
  }
  return true;
}

// Where the blob starts and how long it is; false when the file carries no
// trailer. A trailer whose length does not fit the file is a damaged
// signature: blobLength is then 0.
bool findBlob(int fd, off_t *blobStart, uint32_t *blobLength) {
  struct stat status {};
  if (fstat(fd, &status) != 0 || status.st_size < static_cast<off_t>(kSignatureTrailerLength)) return false;
  unsigned char trailer[kSignatureTrailerLength];
  if (!preadFully(fd, trailer, sizeof trailer, status.st_size - static_cast<off_t>(sizeof trailer))) return false;
  if (std::memcmp(trailer + 4, kSignatureMagic, kSignatureMagicLength) != 0) return false;
  uint32_t length = (uint32_t{trailer[0]} << 24) | (uint32_t{trailer[1]} << 16) | (uint32_t{trailer[2]} << 8) | trailer[3];
  off_t room = status.st_size - static_cast<off_t>(kSignatureTrailerLength);
  *blobLength = length <= kMaxSignatureLength && static_cast<off_t>(length) <= room ? length : 0;
  *blobStart = room - static_cast<off_t>(*blobLength);
  return true;
}

CFDictionaryRef createDictionary(CFDataRef data) {
  if (data == nullptr) return nullptr;
  CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, nullptr, nullptr);
  if (plist != nullptr && !isDictionary(plist)) {
    CFRelease(plist);
    return nullptr;
  }
  return static_cast<CFDictionaryRef>(plist);
}

template <typename T>
T valueOf(CFDictionaryRef dictionary, const char *key, CFTypeID type) {
  Owned<CFStringRef> name(createString(key));
  CFTypeRef value = CFDictionaryGetValue(dictionary, name.get());
  return isA(value, type) ? static_cast<T>(value) : nullptr;
}

bool longValue(CFDictionaryRef dictionary, const char *key, long long *value) {
  auto number = valueOf<CFNumberRef>(dictionary, key, CFNumberGetTypeID());
  return number != nullptr && CFNumberGetValue(number, kCFNumberLongLongType, value);
}

struct Pkcs7Free {
  void operator()(PKCS7 *p7) const { PKCS7_free(p7); }
};
struct BioFree {
  void operator()(BIO *bio) const { BIO_free(bio); }
};
struct StoreFree {
  void operator()(X509_STORE *store) const { X509_STORE_free(store); }
};
struct StoreContextFree {
  void operator()(X509_STORE_CTX *context) const { X509_STORE_CTX_free(context); }
};
struct ChainFree {
  void operator()(STACK_OF(X509) * chain) const { sk_X509_pop_free(chain, X509_free); }
};

}  // namespace

off_t CodeSignature::codeLength(int fd) {
  off_t start = 0;
  uint32_t length = 0;
  if (findBlob(fd, &start, &length)) return start;
  struct stat status {};
  return fstat(fd, &status) == 0 ? status.st_size : -1;
}

std::vector<unsigned char> CodeSignature::codeHash(int fd, off_t length) {
  std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX *)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
  if (!context || EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1) return {};
  std::vector<unsigned char> buffer(1 << 16);
  for (off_t offset = 0; offset < length;) {
    size_t chunk = static_cast<size_t>(std::min<off_t>(length - offset, static_cast<off_t>(buffer.size())));
    if (!preadFully(fd, buffer.data(), chunk, offset)) return {};
    EVP_DigestUpdate(context.get(), buffer.data(), chunk);
    offset += static_cast<off_t>(chunk);
  }
  std::vector<unsigned char> digest(EVP_MAX_MD_SIZE);
  unsigned int size = 0;
  if (EVP_DigestFinal_ex(context.get(), digest.data(), &size) != 1) return {};
  digest.resize(size);
  return digest;
}

OSStatus CodeSignature::read(int fd, std::unique_ptr<CodeSignature> *signature) {
  off_t start = 0;
  uint32_t length = 0;
  if (!findBlob(fd, &start, &length)) return errSecCSUnsigned;
  std::vector<unsigned char> bytes(length);
  if (length == 0 || !preadFully(fd, bytes.data(), length, start)) return errSecCSSignatureFailed;
  Owned<CFDataRef> blobData(CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(length)));
  Owned<CFDictionaryRef> blob(createDictionary(blobData.get()));
  if (!blob) return errSecCSSignatureFailed;
  auto directoryData = valueOf<CFDataRef>(blob.get(), "CodeDirectory", CFDataGetTypeID());
  Owned<CFDictionaryRef> directory(createDictionary(directoryData));
  if (!directory) return errSecCSSignatureFailed;

  auto result = std::make_unique<CodeSignature>();
  auto identifier = valueOf<CFStringRef>(directory.get(), "Identifier", CFStringGetTypeID());
  auto team = valueOf<CFStringRef>(directory.get(), "TeamIdentifier", CFStringGetTypeID());
  auto hash = valueOf<CFDataRef>(directory.get(), "CodeHash", CFDataGetTypeID());
  auto entitlements = valueOf<CFDictionaryRef>(directory.get(), "Entitlements", CFDictionaryGetTypeID());
  long long flags = 0, covered = 0;
  if (identifier == nullptr || hash == nullptr || !longValue(directory.get(), "Flags", &flags) ||
      !longValue(directory.get(), "CodeLength", &covered) || flags < 0 || flags > UINT32_MAX || covered != start) {
    return errSecCSSignatureFailed;
  }
  result->identifier_ = utf8(identifier);
  result->teamIdentifier_ = team != nullptr ? utf8(team) : std::string();
  result->flags_ = static_cast<uint32_t>(flags);
  if (entitlements != nullptr) result->entitlements_.reset(static_cast<CFDictionaryRef>(CFRetain(entitlements)));

  std::vector<unsigned char> actual = codeHash(fd, start);
  if (actual.empty() || static_cast<CFIndex>(actual.size()) != CFDataGetLength(hash) ||
      std::memcmp(actual.data(), CFDataGetBytePtr(hash), actual.size()) != 0) {
    return errSecCSSignatureFailed;
  }
  auto cms = valueOf<CFDataRef>(blob.get(), "CMS", CFDataGetTypeID());
  if (result->adhoc()) {
    // Ad hoc means no signer at all.
    if (cms != nullptr || team != nullptr) return errSecCSSignatureFailed;
  } else {
    OSStatus status = cms != nullptr ? verifyCms(*result, directoryData, cms, &result->chain_) : errSecCSSignatureFailed;
    if (status != errSecSuccess) return status;
  }
  *signature = std::move(result);
  return errSecSuccess;
}

OSStatus CodeSignature::verifyCms(const CodeSignature &signature, CFDataRef directory, CFDataRef cms,
                                  std::vector<std::unique_ptr<X509Certificate>> *chain) {
  const unsigned char *der = CFDataGetBytePtr(cms);
  std::unique_ptr<PKCS7, Pkcs7Free> p7(d2i_PKCS7(nullptr, &der, CFDataGetLength(cms)));
  if (!p7 || !PKCS7_type_is_signed(p7.get()) || p7->d.sign == nullptr || p7->d.sign->cert == nullptr)
    return errSecCSSignatureFailed;
  std::unique_ptr<BIO, BioFree> content(
      BIO_new_mem_buf(CFDataGetBytePtr(directory), static_cast<int>(CFDataGetLength(directory))));
  // The chain is verified below, against the certificates the CMS carries.
  if (PKCS7_verify(p7.get(), nullptr, nullptr, content.get(), nullptr, PKCS7_NOVERIFY | PKCS7_BINARY) != 1)
    return errSecCSSignatureFailed;
  STACK_OF(X509) *signers = PKCS7_get0_signers(p7.get(), nullptr, 0);
  if (signers == nullptr || sk_X509_num(signers) != 1) {
    sk_X509_free(signers);
    return errSecCSSignatureFailed;
  }
  X509 *leaf = sk_X509_value(signers, 0);
  sk_X509_free(signers);

  // The chain must lead from the signer to a self-signed root in the CMS.
  STACK_OF(X509) *carried = p7->d.sign->cert;
  std::unique_ptr<X509_STORE, StoreFree> store(X509_STORE_new());
  for (int i = 0; i < sk_X509_num(carried); ++i) {
    X509 *certificate = sk_X509_value(carried, i);
    if (X509_check_issued(certificate, certificate) == X509_V_OK) X509_STORE_add_cert(store.get(), certificate);
  }
  // Code signatures outlive their certificates, as on the Mac by default.
  // Apple marks its developer certificates with critical extensions of its
  // own, which the code-signing verifier knows and OpenSSL does not.
  X509_STORE_set_flags(store.get(), X509_V_FLAG_NO_CHECK_TIME | X509_V_FLAG_IGNORE_CRITICAL);
  std::unique_ptr<X509_STORE_CTX, StoreContextFree> context(X509_STORE_CTX_new());
  if (!context || X509_STORE_CTX_init(context.get(), store.get(), leaf, carried) != 1 ||
      X509_verify_cert(context.get()) != 1) {
    return errSecCSSignatureFailed;
  }
  std::unique_ptr<STACK_OF(X509), ChainFree> verified(X509_STORE_CTX_get1_chain(context.get()));
  for (int i = 0; verified && i < sk_X509_num(verified.get()); ++i) {
    unsigned char *bytes = nullptr;
    int size = i2d_X509(sk_X509_value(verified.get(), i), &bytes);
    if (size <= 0) return errSecCSSignatureFailed;
    auto certificate = X509Certificate::parse(bytes, static_cast<size_t>(size));
    OPENSSL_free(bytes);
    if (!certificate) return errSecCSSignatureFailed;
    chain->push_back(std::move(certificate));
  }
  // The team the code directory names is the signer's.
  if (chain->empty()) return errSecCSSignatureFailed;
  std::string team;
  for (const auto &component : chain->front()->subjectComponents())
    if (component.first == "2.5.4.11") team = component.second;
  return team.empty() || team != signature.teamIdentifier() ? errSecCSSignatureFailed : errSecSuccess;
}

}  // namespace emu::sec
