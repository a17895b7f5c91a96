// SecCertificateCopyValues: the certificate's main fields as property
// dictionaries keyed by OID, in the shape the Mac gives them (type, label,
// localized label, value).

#include <cstdio>
#include <string>

#include "SecInternal.h"

using emu::Owned;
using emu::sec::X509Certificate;

namespace {

CFDictionaryRef createProperty(CFStringRef type, const std::string &label, CFTypeRef value) {
  Owned<CFStringRef> labelString(emu::createString(label));
  CFMutableDictionaryRef property = emu::createMutableDictionary();
  CFDictionarySetValue(property, kSecPropertyKeyType, type);
  CFDictionarySetValue(property, kSecPropertyKeyLabel, labelString.get());
  CFDictionarySetValue(property, kSecPropertyKeyLocalizedLabel, labelString.get());
  CFDictionarySetValue(property, kSecPropertyKeyValue, value);
  return property;
}

CFDictionaryRef createStringProperty(const std::string &label, const std::string &text) {
  Owned<CFStringRef> value(emu::createString(text));
  return createProperty(kSecPropertyTypeString, label, value.get());
}

CFDictionaryRef createNumberProperty(const std::string &label, double seconds) {
  Owned<CFNumberRef> value(CFNumberCreate(nullptr, kCFNumberDoubleType, &seconds));
  return createProperty(kSecPropertyTypeNumber, label, value.get());
}

// A name as a section of (attribute OID, value) string properties.
CFDictionaryRef createNameProperty(const std::string &label,
                                   const std::vector<std::pair<std::string, std::string>> &components) {
  Owned<CFMutableArrayRef> entries(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  for (const auto &[oid, text] : components) {
    Owned<CFDictionaryRef> entry(createStringProperty(oid, text));
    CFArrayAppendValue(entries.get(), entry.get());
  }
  return createProperty(kSecPropertyTypeSection, label, entries.get());
}

// "00 AE C5 56", as the Mac shows serial numbers.
std::string hexPairs(const X509Certificate::Bytes &bytes) {
  std::string text;
  for (unsigned char byte : bytes) {
    char pair[4];
    std::snprintf(pair, sizeof(pair), text.empty() ? "%02X" : " %02X", byte);
    text += pair;
  }
  return text;
}

bool wanted(CFArrayRef keys, CFStringRef oid) {
  return keys == nullptr || CFArrayContainsValue(keys, CFRangeMake(0, CFArrayGetCount(keys)), oid);
}

}  // namespace

CFDictionaryRef SecCertificateCopyValues(SecCertificateRef certificate, CFArrayRef keys, CFErrorRef *error) {
  const __SecCertificate *c = emu::sec::certificateOf(certificate);
  if (c == nullptr || (keys != nullptr && !emu::isA(keys, CFArrayGetTypeID()))) {
    if (error != nullptr) *error = CFErrorCreate(nullptr, kCFErrorDomainOSStatus, errSecParam, nullptr);
    return nullptr;
  }
  const X509Certificate &x509 = *c->x509;
  const std::pair<CFStringRef, std::function<CFDictionaryRef()>> fields[] = {
      {kSecOIDX509V1Version, [&] { return createStringProperty("Version", std::to_string(x509.version())); }},
      {kSecOIDX509V1SerialNumber, [&] { return createStringProperty("Serial Number", hexPairs(x509.serialNumber())); }},
      {kSecOIDX509V1SubjectName, [&] { return createNameProperty("Subject Name", x509.subjectComponents()); }},
      {kSecOIDX509V1IssuerName, [&] { return createNameProperty("Issuer Name", x509.issuerComponents()); }},
      {kSecOIDX509V1ValidityNotBefore, [&] { return createNumberProperty("Not Valid Before", x509.notBefore()); }},
      {kSecOIDX509V1ValidityNotAfter, [&] { return createNumberProperty("Not Valid After", x509.notAfter()); }},
  };
  CFMutableDictionaryRef values = emu::createMutableDictionary();
  for (const auto &[oid, create] : fields) {
    if (!wanted(keys, oid)) continue;
    Owned<CFDictionaryRef> property(create());
    CFDictionarySetValue(values, oid, property.get());
  }
  return values;
}
