#include "X509Certificate.h"

#include <openssl/asn1.h>
#include <openssl/err.h>
#include <openssl/objects.h>
#include <openssl/sha.h>
#include <openssl/x509v3.h>

#include <ctime>

namespace emu::sec {
namespace {

// Seconds from the Unix epoch to the CF epoch (2001-01-01 00:00:00 UTC).
constexpr double kSecondsFrom1970To2001 = 978307200.0;

template <typename T, typename Encoder>
X509Certificate::Bytes encode(const T *value, Encoder encoder) {
  unsigned char *out = nullptr;
  int length = encoder(value, &out);
  X509Certificate::Bytes bytes;
  if (length > 0) bytes.assign(out, out + length);
  OPENSSL_free(out);
  return bytes;
}

bool isPrintable(const ASN1_STRING *value) {
  switch (ASN1_STRING_type(value)) {
    case V_ASN1_PRINTABLESTRING:
    case V_ASN1_IA5STRING:
    case V_ASN1_UTF8STRING:
    case V_ASN1_GENERALSTRING:
    case V_ASN1_UNIVERSALSTRING:
    case V_ASN1_T61STRING:
    case V_ASN1_VIDEOTEXSTRING:
    case V_ASN1_VISIBLESTRING:
    case V_ASN1_BMPSTRING:
      return true;
    default:
      return false;
  }
}

// A string value as UTF-8; false for values that are not text.
bool text(const ASN1_STRING *value, std::string *out) {
  unsigned char *utf8 = nullptr;
  int length = ASN1_STRING_to_UTF8(&utf8, value);
  if (length < 0) {
    ERR_clear_error();
    return false;
  }
  out->assign(reinterpret_cast<const char *>(utf8), static_cast<size_t>(length));
  OPENSSL_free(utf8);
  return true;
}

struct Component {
  int nid;
  std::string oid;
  std::string value;
  bool printable;
};

std::vector<Component> components(const X509_NAME *name) {
  std::vector<Component> result;
  for (int i = 0; i < X509_NAME_entry_count(name); ++i) {
    const X509_NAME_ENTRY *entry = X509_NAME_get_entry(name, i);
    const ASN1_OBJECT *object = X509_NAME_ENTRY_get_object(entry);
    const ASN1_STRING *data = X509_NAME_ENTRY_get_data(entry);
    char oid[128];
    OBJ_obj2txt(oid, sizeof(oid), object, 1);
    Component component{OBJ_obj2nid(object), oid, std::string(), isPrintable(data)};
    if (!text(data, &component.value)) component.printable = false;
    result.push_back(std::move(component));
  }
  return result;
}

std::vector<std::pair<std::string, std::string>> pairs(const X509_NAME *name) {
  std::vector<std::pair<std::string, std::string>> result;
  for (const Component &component : components(name)) result.emplace_back(component.oid, component.value);
  return result;
}

// The first (or last) printable component of a type; nid 0 matches any.
const Component *find(const std::vector<Component> &name, int nid, bool last) {
  const Component *found = nullptr;
  for (const Component &component : name) {
    if ((nid == 0 || component.nid == nid) && component.printable) {
      found = &component;
      if (!last) break;
    }
  }
  return found;
}

double cfTime(const ASN1_TIME *time) {
  struct tm parts = {};
  if (ASN1_TIME_to_tm(time, &parts) != 1) return 0;
  return static_cast<double>(timegm(&parts)) - kSecondsFrom1970To2001;
}

}  // namespace

std::unique_ptr<X509Certificate> X509Certificate::parse(const unsigned char *bytes, size_t length) {
  if (bytes == nullptr || length == 0) return nullptr;
  const unsigned char *next = bytes;
  X509 *x509 = d2i_X509(nullptr, &next, static_cast<long>(length));
  if (x509 == nullptr) {
    // The framework keeps its parser's complaints to itself: none is left
    // queued on the caller's thread.
    ERR_clear_error();
    return nullptr;
  }
  if (next != bytes + length) {
    X509_free(x509);
    return nullptr;
  }
  return std::unique_ptr<X509Certificate>(new X509Certificate(Bytes(bytes, bytes + length), x509));
}

X509Certificate::Bytes X509Certificate::subject() const {
  return encode(X509_get_subject_name(x509_.get()), i2d_X509_NAME);
}

X509Certificate::Bytes X509Certificate::issuer() const {
  return encode(X509_get_issuer_name(x509_.get()), i2d_X509_NAME);
}

X509Certificate::Bytes X509Certificate::serialNumber() const {
  Bytes der = encode(X509_get0_serialNumber(x509_.get()), i2d_ASN1_INTEGER);
  if (der.size() < 2) return Bytes();
  size_t header = 2 + ((der[1] & 0x80) != 0 ? (der[1] & 0x7f) : 0);
  return header <= der.size() ? Bytes(der.begin() + static_cast<long>(header), der.end()) : Bytes();
}

X509Certificate::Bytes X509Certificate::subjectKeyID() const {
  // Reading it decodes every extension once; a malformed one is no error
  // of the caller's.
  const ASN1_OCTET_STRING *id = X509_get0_subject_key_id(x509_.get());
  ERR_clear_error();
  if (id == nullptr) return Bytes();
  const unsigned char *data = ASN1_STRING_get0_data(id);
  return Bytes(data, data + ASN1_STRING_length(id));
}

X509Certificate::Bytes X509Certificate::publicKeyHash() const {
  const ASN1_BIT_STRING *key = X509_get0_pubkey_bitstr(x509_.get());
  Bytes digest(SHA_DIGEST_LENGTH);
  if (key == nullptr) return Bytes();
  SHA1(ASN1_STRING_get0_data(key), static_cast<size_t>(ASN1_STRING_length(key)), digest.data());
  return digest;
}

bool X509Certificate::selfSigned() const {
  X509 *x509 = x509_.get();
  if (X509_NAME_cmp(X509_get_subject_name(x509), X509_get_issuer_name(x509)) != 0) return false;
  EVP_PKEY *key = X509_get0_pubkey(x509);
  bool verified = key != nullptr && X509_verify(x509, key) == 1;
  ERR_clear_error();
  return verified;
}

std::string X509Certificate::sha1Hex() const {
  unsigned char digest[SHA_DIGEST_LENGTH];
  SHA1(der_.data(), der_.size(), digest);
  static const char kDigits[] = "0123456789ABCDEF";
  std::string hex;
  for (unsigned char byte : digest) {
    hex += kDigits[byte >> 4];
    hex += kDigits[byte & 0xf];
  }
  return hex;
}

long X509Certificate::version() const { return X509_get_version(x509_.get()) + 1; }

double X509Certificate::notBefore() const { return cfTime(X509_get0_notBefore(x509_.get())); }

double X509Certificate::notAfter() const { return cfTime(X509_get0_notAfter(x509_.get())); }

std::vector<std::string> X509Certificate::commonNames() const {
  std::vector<std::string> names;
  for (const Component &component : components(X509_get_subject_name(x509_.get()))) {
    if (component.nid == NID_commonName && component.printable) names.push_back(component.value);
  }
  return names;
}

std::vector<std::pair<std::string, std::string>> X509Certificate::subjectComponents() const {
  return pairs(X509_get_subject_name(x509_.get()));
}

std::vector<std::pair<std::string, std::string>> X509Certificate::issuerComponents() const {
  return pairs(X509_get_issuer_name(x509_.get()));
}

std::vector<std::string> X509Certificate::emailAddresses() const {
  std::vector<std::string> addresses;
  auto *names = static_cast<GENERAL_NAMES *>(X509_get_ext_d2i(x509_.get(), NID_subject_alt_name, nullptr, nullptr));
  ERR_clear_error();
  for (int i = 0; names != nullptr && i < sk_GENERAL_NAME_num(names); ++i) {
    const GENERAL_NAME *name = sk_GENERAL_NAME_value(names, i);
    std::string address;
    if (name->type == GEN_EMAIL && text(name->d.rfc822Name, &address)) addresses.push_back(address);
  }
  GENERAL_NAMES_free(names);
  for (const Component &component : components(X509_get_subject_name(x509_.get()))) {
    if (component.nid == NID_pkcs9_emailAddress && component.printable) addresses.push_back(component.value);
  }
  return addresses;
}

std::string X509Certificate::inferredLabel() const {
  std::vector<Component> name = components(X509_get_subject_name(x509_.get()));
  const Component *label = find(name, NID_commonName, true);
  if (label == nullptr) label = find(name, NID_organizationalUnitName, false);
  if (label == nullptr) label = find(name, NID_organizationName, false);
  if (label == nullptr) label = find(name, NID_pkcs9_emailAddress, false);
  // A description is added only to a name of those kinds.
  const Component *description = label != nullptr ? find(name, NID_description, false) : nullptr;
  if (label == nullptr) label = find(name, 0, false);
  if (label != nullptr && label->value == "Thawte Freemail Member") label = nullptr;
  if (label != nullptr) {
    std::string text = label->value;
    if (!text.empty() && text.back() == '\0') text.pop_back();
    if (description != nullptr && !description->value.empty()) text += " (" + description->value + ")";
    return text;
  }
  std::vector<std::string> addresses = emailAddresses();
  return addresses.empty() ? "X509 Certificate" : addresses.front();
}

bool X509Certificate::hasExtension(const std::string &oid) const {
  ASN1_OBJECT *object = OBJ_txt2obj(oid.c_str(), 1);
  if (object == nullptr) {
    ERR_clear_error();
    return false;
  }
  bool found = X509_get_ext_by_OBJ(x509_.get(), object, -1) >= 0;
  ASN1_OBJECT_free(object);
  return found;
}

}  // namespace emu::sec
