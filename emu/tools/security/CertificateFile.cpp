#include <openssl/bio.h>
#include <openssl/pem.h>

#include <cstdarg>
#include <cstdio>
#include <vector>

#include "SecurityTool.h"
#include "common/Files.h"

using emu::Owned;

void secError(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  fprintf(stderr, "security: ");
  vfprintf(stderr, format, arguments);
  fprintf(stderr, "\n");
  va_end(arguments);
}

namespace {

std::string text(OSStatus status) {
  Owned<CFStringRef> message(SecCopyErrorMessageString(status, nullptr));
  return message ? emu::utf8(message.get()) : std::to_string(status);
}

}  // namespace

void secPerror(const char *what, OSStatus status) { secError("%s: %s", what, text(status).c_str()); }

void cssmPerror(const char *what, OSStatus status) { fprintf(stderr, "%s: %s\n", what, text(status).c_str()); }

Owned<SecCertificateRef> readCertFile(const std::string &path) {
  std::vector<UInt8> contents;
  struct stat status;
  if (!emu::readFile(path, contents, status)) {
    printf("***Error reading file %s\n", path.c_str());
    fprintf(stderr, "Error reading file %s\n", path.c_str());
    return nullptr;
  }
  std::string bytes(contents.begin(), contents.end());
  std::string der = bytes;
  if (bytes.find("-----BEGIN") != std::string::npos) {
    BIO *bio = BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size()));
    char *name = nullptr, *header = nullptr;
    unsigned char *data = nullptr;
    long length = 0;
    bool decoded = PEM_read_bio(bio, &name, &header, &data, &length) == 1;
    if (decoded) der.assign(reinterpret_cast<const char *>(data), static_cast<size_t>(length));
    OPENSSL_free(name);
    OPENSSL_free(header);
    OPENSSL_free(data);
    BIO_free(bio);
    if (!decoded) {
      fprintf(stderr, "Error decoding cert file %s\n", path.c_str());
      fprintf(stderr, "Error reading file %s\n", path.c_str());
      return nullptr;
    }
  }
  Owned<CFDataRef> data(
      CFDataCreate(nullptr, reinterpret_cast<const UInt8 *>(der.data()), static_cast<CFIndex>(der.size())));
  Owned<SecCertificateRef> certificate(SecCertificateCreateWithData(nullptr, data.get()));
  if (!certificate) {
    cssmPerror("SecCertificateCreateFromData", errSecUnknownFormat);
    fprintf(stderr, "Error reading file %s\n", path.c_str());
  }
  return certificate;
}

Owned<CFArrayRef> openKeychains(int argc, char *const *argv) {
  if (argc == 0) return nullptr;
  Owned<CFMutableArrayRef> keychains(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  for (int i = 0; i < argc; ++i) {
    SecKeychainRef keychain = nullptr;
    if (SecKeychainOpen(argv[i], &keychain) == errSecSuccess) {
      CFArrayAppendValue(keychains.get(), keychain);
      CFRelease(keychain);
    }
  }
  return Owned<CFArrayRef>(keychains.release());
}
