// Certificates, parsed from DER by OpenSSL. Equal certificates have the same
// DER; one found in a keychain can be deleted from it as a keychain item.

#include <cctype>
#include <functional>
#include <string>

#include "KeychainStore.h"
#include "SecInternal.h"

using emu::Owned;
using emu::sec::X509Certificate;

namespace {

// What SecCertificateCopyCommonName answers for a certificate without a
// common name (errSecInternal, which the public headers do not name).
constexpr OSStatus kNoCommonName = -26276;
// CSSM_CERT_ENCODING_DER.
constexpr int kEncodingDER = 3;

const X509Certificate &x509Of(CFTypeRef cf) { return *static_cast<const __SecCertificate *>(cf)->x509; }

Boolean certificateEqual(CFTypeRef a, CFTypeRef b) { return x509Of(a).der() == x509Of(b).der(); }

CFHashCode certificateHash(CFTypeRef cf) {
  const X509Certificate::Bytes &der = x509Of(cf).der();
  return std::hash<std::string>()(std::string(der.begin(), der.end()));
}

// As the Mac describes a certificate: "<cert(0x...) s: subject i: issuer>".
CFStringRef certificateDescription(CFTypeRef cf) {
  const X509Certificate &x509 = x509Of(cf);
  std::string issuer;
  for (const auto &[oid, value] : x509.issuerComponents()) {
    if (oid == "2.5.4.3") issuer = value;
  }
  return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("<cert(%p) s: %s i: %s>"), cf, x509.inferredLabel().c_str(),
                                  issuer.c_str());
}

const CFRuntimeClass kCertificateClass = {"SecCertificate", emu::cfFinalize<__SecCertificate>,
                                          certificateEqual, certificateHash,
                                          nullptr,          certificateDescription};

CFDataRef createData(const X509Certificate::Bytes &bytes) {
  return CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size()));
}

void setData(CFMutableDictionaryRef record, CFStringRef key, const X509Certificate::Bytes &bytes) {
  Owned<CFDataRef> data(createData(bytes));
  CFDictionarySetValue(record, key, data.get());
}

void setNumber(CFMutableDictionaryRef record, CFStringRef key, long long value) {
  Owned<CFNumberRef> number(CFNumberCreate(nullptr, kCFNumberLongLongType, &value));
  CFDictionarySetValue(record, key, number.get());
}

}  // namespace

namespace emu::sec {

std::unique_ptr<X509Certificate> parseCertificate(CFTypeRef data) {
  if (!isA(data, CFDataGetTypeID())) return nullptr;
  auto bytes = static_cast<CFDataRef>(data);
  return X509Certificate::parse(CFDataGetBytePtr(bytes), static_cast<size_t>(CFDataGetLength(bytes)));
}

const __SecCertificate *certificateOf(CFTypeRef cf) {
  return instance<const __SecCertificate>(cf, SecCertificateGetTypeID());
}

SecCertificateRef certificateCreate(std::unique_ptr<X509Certificate> x509, SecKeychainRef keychain) {
  auto *certificate = emu::cfCreate<__SecCertificate>(SecCertificateGetTypeID());
  certificate->x509 = std::move(x509);
  if (keychain != nullptr) {
    certificate->keychain.reset(static_cast<SecKeychainRef>(const_cast<void *>(CFRetain(keychain))));
  }
  return certificate;
}

CFDictionaryRef createCertificateRecord(const X509Certificate &x509) {
  Owned<CFMutableDictionaryRef> record(createMutableDictionary());
  CFDictionarySetValue(record.get(), kSecClass, kSecClassCertificate);
  std::string label = x509.inferredLabel();
  Owned<CFStringRef> labelString(createString(label));
  CFDictionarySetValue(record.get(), kSecAttrLabel, labelString.get());
  // The alias is the first email address, lower-cased, or else the label.
  std::vector<std::string> addresses = x509.emailAddresses();
  std::string alias = addresses.empty() ? label : addresses.front();
  if (!addresses.empty()) {
    for (char &c : alias) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  Owned<CFStringRef> aliasString(createString(alias));
  CFDictionarySetValue(record.get(), CFSTR("alis"), aliasString.get());
  setNumber(record.get(), kSecAttrCertificateType, x509.version());
  setNumber(record.get(), kSecAttrCertificateEncoding, kEncodingDER);
  setData(record.get(), kSecAttrSubject, x509.subject());
  setData(record.get(), kSecAttrIssuer, x509.issuer());
  setData(record.get(), kSecAttrSerialNumber, x509.serialNumber());
  if (!x509.subjectKeyID().empty()) setData(record.get(), kSecAttrSubjectKeyID, x509.subjectKeyID());
  setData(record.get(), kSecAttrPublicKeyHash, x509.publicKeyHash());
  setData(record.get(), kSecValueData, x509.der());
  return record.release();
}

}  // namespace emu::sec

using namespace emu::sec;

CFTypeID SecCertificateGetTypeID(void) {
  static const CFTypeID typeID = _CFRuntimeRegisterClass(&kCertificateClass);
  return typeID;
}

SecCertificateRef SecCertificateCreateWithData(CFAllocatorRef, CFDataRef data) {
  auto x509 = parseCertificate(data);
  return x509 ? certificateCreate(std::move(x509), nullptr) : nullptr;
}

CFDataRef SecCertificateCopyData(SecCertificateRef certificate) {
  const __SecCertificate *c = certificateOf(certificate);
  return c != nullptr ? createData(c->x509->der()) : nullptr;
}

CFStringRef SecCertificateCopySubjectSummary(SecCertificateRef certificate) {
  const __SecCertificate *c = certificateOf(certificate);
  return c != nullptr ? emu::createString(c->x509->inferredLabel()) : nullptr;
}

OSStatus SecCertificateCopyCommonName(SecCertificateRef certificate, CFStringRef *commonName) {
  const __SecCertificate *c = certificateOf(certificate);
  if (c == nullptr) return errSecParam;
  std::vector<std::string> names = c->x509->commonNames();
  if (names.empty()) return kNoCommonName;
  // The last one, the most specific.
  if (commonName != nullptr) *commonName = emu::createString(names.back());
  return errSecSuccess;
}

OSStatus SecCertificateAddToKeychain(SecCertificateRef certificate, SecKeychainRef keychain) {
  const __SecCertificate *c = certificateOf(certificate);
  if (c == nullptr || (keychain != nullptr && CFGetTypeID(keychain) != SecKeychainGetTypeID())) return errSecParam;
  Owned<SecKeychainRef> target(copyKeychainOrDefault(keychain));
  Owned<CFDictionaryRef> record(createCertificateRecord(*c->x509));
  return KeychainStore(keychainPath(target.get())).add(record.get());
}
