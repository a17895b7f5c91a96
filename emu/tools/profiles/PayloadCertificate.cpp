#include "PayloadCertificate.h"

#include <Security/Security.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>

#include <algorithm>
#include <cstring>

#include "FieldChecker.h"

using emu::Owned;
using namespace profilecode;

namespace {

constexpr char kPemType[] = "com.apple.security.pem";

Owned<CFDataRef> fail(ProfileError &error, int code, const std::string &text) {
  error.code = code;
  error.text = text;
  return nullptr;
}

bool isPemText(CFDataRef data) {
  const char marker[] = "-----BEGIN ";
  const UInt8 *bytes = CFDataGetBytePtr(data);
  CFIndex length = CFDataGetLength(data);
  return std::search(bytes, bytes + length, marker, marker + strlen(marker)) != bytes + length;
}

// The DER of a certificate OpenSSL read, once the Security framework takes it.
Owned<CFDataRef> createDer(X509 *certificate, ProfileError &error) {
  unsigned char *der = nullptr;
  int length = certificate != nullptr ? i2d_X509(certificate, &der) : -1;
  Owned<CFDataRef> data(length > 0 ? CFDataCreate(nullptr, der, length) : nullptr);
  OPENSSL_free(der);
  if (!data || !Owned<SecCertificateRef>(SecCertificateCreateWithData(nullptr, data.get()))) {
    return fail(error, kMalformedPayload, "Malformed payload: the certificate cannot be read");
  }
  return data;
}

Owned<CFDataRef> readDer(const std::string &type, CFDataRef data, ProfileError &error) {
  if (isPemText(data)) {
    return fail(error, kMalformedPayload,
                "Malformed payload: " + type + " takes a DER certificate and this one is PEM text (PEM goes in " +
                    kPemType + ")");
  }
  if (!Owned<SecCertificateRef>(SecCertificateCreateWithData(nullptr, data))) {
    return fail(error, kMalformedPayload, "Malformed payload: the certificate cannot be read");
  }
  return Owned<CFDataRef>(static_cast<CFDataRef>(CFRetain(data)));
}

// The first certificate of the PEM text.
Owned<CFDataRef> readPem(CFDataRef data, ProfileError &error) {
  if (!isPemText(data)) {
    return fail(error, kMalformedPayload,
                std::string("Malformed payload: ") + kPemType +
                    " takes PEM text and this certificate is not (DER goes in com.apple.security.pkcs1)");
  }
  BIO *in = BIO_new_mem_buf(CFDataGetBytePtr(data), static_cast<int>(CFDataGetLength(data)));
  X509 *certificate = PEM_read_bio_X509(in, nullptr, nullptr, nullptr);
  BIO_free(in);
  Owned<CFDataRef> der = createDer(certificate, error);
  X509_free(certificate);
  ERR_clear_error();
  return der;
}

// The certificate of the identity the password opens.
Owned<CFDataRef> readIdentity(CFDataRef data, CFDictionaryRef content, ProfileError &error) {
  FieldChecker fields(content, kMissingPayloadField, kBadPayloadFieldType);
  if (!fields.allow("Password", CFStringGetTypeID(), error)) return nullptr;
  CFTypeRef password = CFDictionaryGetValue(content, CFSTR("Password"));
  if (password == nullptr) {
    return fail(error, kMissingPayloadField,
                "Missing required field: Password (only an installation by hand can ask for the identity's "
                "password)");
  }
  std::string secret = emu::utf8(static_cast<CFStringRef>(password));
  const unsigned char *bytes = CFDataGetBytePtr(data);
  PKCS12 *bundle = d2i_PKCS12(nullptr, &bytes, CFDataGetLength(data));
  EVP_PKEY *key = nullptr;
  X509 *certificate = nullptr;
  Owned<CFDataRef> der;
  if (bundle == nullptr) {
    fail(error, kMalformedPayload, "Malformed payload: the identity cannot be read");
  } else if (PKCS12_verify_mac(bundle, secret.c_str(), static_cast<int>(secret.size())) != 1) {
    fail(error, kMalformedPayload, "Malformed payload: the identity's password is not the one in the profile");
  } else if (PKCS12_parse(bundle, secret.c_str(), &key, &certificate, nullptr) != 1 || key == nullptr ||
             certificate == nullptr) {
    fail(error, kMalformedPayload, "Malformed payload: the identity holds no certificate with its private key");
  } else {
    der = createDer(certificate, error);
  }
  EVP_PKEY_free(key);
  X509_free(certificate);
  PKCS12_free(bundle);
  ERR_clear_error();
  return der;
}

}  // namespace

bool PayloadCertificate::isCertificateType(const std::string &type) {
  return type == "com.apple.security.root" || type == "com.apple.security.pkcs1" || type == kPemType ||
         isIdentityType(type);
}

Owned<CFDataRef> PayloadCertificate::createDer(const std::string &type, CFDictionaryRef content,
                                               ProfileError &error) {
  FieldChecker fields(content, kMissingPayloadField, kBadPayloadFieldType);
  if (!fields.require("PayloadContent", CFDataGetTypeID(), error)) return nullptr;
  auto data = static_cast<CFDataRef>(CFDictionaryGetValue(content, CFSTR("PayloadContent")));
  if (type == kPemType) return readPem(data, error);
  if (isIdentityType(type)) return readIdentity(data, content, error);
  return readDer(type, data, error);
}
