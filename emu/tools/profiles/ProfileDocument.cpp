#include "ProfileDocument.h"

#include <Security/Security.h>
#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/err.h>
#include <openssl/objects.h>

#include <ctime>
#include <vector>

#include "PayloadInstaller.h"
#include "common/Files.h"

using emu::Owned;

namespace {

// The MCProfileErrorDomain and MCPayloadErrorDomain codes the checks report.
constexpr int kMalformedProfile = 1000;
constexpr int kMissingProfileField = 1002;
constexpr int kBadProfileFieldType = 1003;
constexpr int kBadSignature = 1004;
constexpr int kEmptyProfile = 1005;
constexpr int kUnsupportedFieldValue = 1010;
constexpr int kMalformedPayload = 2000;
constexpr int kMissingPayloadField = 2002;
constexpr int kBadPayloadFieldType = 2003;

bool fail(ProfileError &error, int code, const std::string &text) {
  error.code = code;
  error.text = text;
  return false;
}

// A required field: present, of the type, and not an empty string. The
// codes of the profile's own fields are 1000 apart from a payload's.
bool requireField(CFDictionaryRef dictionary, const char *name, CFTypeID type, int missingCode, int badTypeCode,
                  ProfileError &error) {
  Owned<CFStringRef> key(emu::createString(name));
  CFTypeRef value = CFDictionaryGetValue(dictionary, key.get());
  if (value == nullptr) return fail(error, missingCode, std::string("Missing required field: ") + name);
  bool emptyString = emu::isString(value) && CFStringGetLength(static_cast<CFStringRef>(value)) == 0;
  if (!emu::isA(value, type) || emptyString) {
    return fail(error, badTypeCode, std::string("Bad data type in field: ") + name);
  }
  return true;
}

bool requireCommonFields(CFDictionaryRef dictionary, int missingCode, int badTypeCode, ProfileError &error) {
  for (const char *name : {"PayloadIdentifier", "PayloadUUID", "PayloadType"}) {
    if (!requireField(dictionary, name, CFStringGetTypeID(), missingCode, badTypeCode, error)) return false;
  }
  return requireField(dictionary, "PayloadVersion", CFNumberGetTypeID(), missingCode, badTypeCode, error);
}

bool checkPayload(CFTypeRef value, ProfileError &error) {
  if (!emu::isDictionary(value)) return fail(error, kMalformedProfile, "Malformed profile");
  auto payload = static_cast<CFDictionaryRef>(value);
  if (!requireCommonFields(payload, kMissingPayloadField, kBadPayloadFieldType, error)) return false;
  std::string type = emu::utf8(static_cast<CFStringRef>(CFDictionaryGetValue(payload, CFSTR("PayloadType"))));
  if (type == PayloadInstaller::kWifiType) {
    return requireField(payload, "SSID_STR", CFStringGetTypeID(), kMissingPayloadField, kBadPayloadFieldType, error);
  }
  if (PayloadInstaller::isCertificateType(type)) {
    if (!requireField(payload, "PayloadContent", CFDataGetTypeID(), kMissingPayloadField, kBadPayloadFieldType,
                      error)) {
      return false;
    }
    auto der = static_cast<CFDataRef>(CFDictionaryGetValue(payload, CFSTR("PayloadContent")));
    if (!Owned<SecCertificateRef>(SecCertificateCreateWithData(nullptr, der))) {
      return fail(error, kMalformedPayload, "Malformed payload: the certificate cannot be read");
    }
  }
  return true;
}

// What the listing shows of a date: "2024-06-03 07:58:12 +0000".
std::string installDate() {
  time_t now = time(nullptr);
  struct tm utc;
  gmtime_r(&now, &utc);
  char text[32];
  strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S +0000", &utc);
  return text;
}

// Copies the value under `from`, if any, to `to`.
void copyValue(CFDictionaryRef source, const char *from, CFMutableDictionaryRef target, const char *to) {
  Owned<CFStringRef> fromKey(emu::createString(from)), toKey(emu::createString(to));
  if (CFTypeRef value = CFDictionaryGetValue(source, fromKey.get())) CFDictionarySetValue(target, toKey.get(), value);
}

// The keys every payload has; the listing shows them beside the payload's
// content, which is the rest.
const char *const kCommonPayloadKeys[] = {"PayloadDescription", "PayloadDisplayName", "PayloadIdentifier",
                                          "PayloadOrganization", "PayloadType",       "PayloadUUID",
                                          "PayloadVersion"};

Owned<CFDictionaryRef> createItem(CFDictionaryRef payload) {
  Owned<CFMutableDictionaryRef> item(emu::createMutableDictionary());
  Owned<CFMutableDictionaryRef> content(CFDictionaryCreateMutableCopy(nullptr, 0, payload));
  for (const char *name : kCommonPayloadKeys) {
    copyValue(payload, name, item.get(), name);
    Owned<CFStringRef> key(emu::createString(name));
    CFDictionaryRemoveValue(content.get(), key.get());
  }
  CFDictionarySetValue(item.get(), CFSTR("PayloadContent"), content.get());
  return Owned<CFDictionaryRef>(item.release());
}

}  // namespace

bool ProfileDocument::load(const std::string &path, ProfileError &error) {
  std::vector<UInt8> contents;
  struct stat status;
  if (!emu::readFile(path, contents, status) || S_ISDIR(status.st_mode)) {
    return fail(error, kMalformedProfile, "The file cannot be read");
  }
  std::string bytes(contents.begin(), contents.end());
  if (!unwrap(bytes, error)) return false;
  Owned<CFDataRef> data(
      CFDataCreate(nullptr, reinterpret_cast<const UInt8 *>(bytes.data()), static_cast<CFIndex>(bytes.size())));
  Owned<CFPropertyListRef> plist(
      CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
  if (!emu::isDictionary(plist.get())) return fail(error, kMalformedProfile, "Malformed profile");
  profile_.reset(static_cast<CFDictionaryRef>(plist.release()));
  return check(error);
}

bool ProfileDocument::unwrap(std::string &bytes, ProfileError &error) {
  BIO *in = BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size()));
  CMS_ContentInfo *envelope = d2i_CMS_bio(in, nullptr);
  BIO_free(in);
  if (envelope == nullptr) {
    // Not DER: a bare property list, or nothing the parser will take.
    ERR_clear_error();
    return true;
  }
  BIO *out = BIO_new(BIO_s_mem());
  // The signature must match the content; whether its signer is trusted is
  // the listing's verification state, not a reason to refuse.
  bool verified = OBJ_obj2nid(CMS_get0_type(envelope)) == NID_pkcs7_signed &&
                  CMS_verify(envelope, nullptr, nullptr, nullptr, out, CMS_NO_SIGNER_CERT_VERIFY | CMS_BINARY) == 1;
  if (verified) {
    char *content = nullptr;
    long length = BIO_get_mem_data(out, &content);
    bytes.assign(content, static_cast<size_t>(length));
  }
  BIO_free(out);
  CMS_ContentInfo_free(envelope);
  ERR_clear_error();
  signed_ = true;
  return verified || fail(error, kBadSignature, "Bad signature");
}

bool ProfileDocument::check(ProfileError &error) const {
  CFDictionaryRef profile = profile_.get();
  if (!requireCommonFields(profile, kMissingProfileField, kBadProfileFieldType, error)) return false;
  if (!CFEqual(CFDictionaryGetValue(profile, CFSTR("PayloadType")), CFSTR("Configuration"))) {
    return fail(error, kUnsupportedFieldValue, "Unsupported field value: PayloadType");
  }
  if (!requireField(profile, "PayloadContent", CFArrayGetTypeID(), kMissingProfileField, kBadProfileFieldType,
                    error)) {
    return false;
  }
  auto payloads = static_cast<CFArrayRef>(CFDictionaryGetValue(profile, CFSTR("PayloadContent")));
  if (CFArrayGetCount(payloads) == 0) return fail(error, kEmptyProfile, "Empty profile");
  for (CFIndex i = 0; i < CFArrayGetCount(payloads); ++i) {
    if (!checkPayload(CFArrayGetValueAtIndex(payloads, i), error)) return false;
  }
  return true;
}

Owned<CFDictionaryRef> ProfileDocument::createInstalledProfile() const {
  CFDictionaryRef profile = profile_.get();
  Owned<CFMutableDictionaryRef> installed(emu::createMutableDictionary());
  copyValue(profile, "PayloadDescription", installed.get(), "ProfileDescription");
  copyValue(profile, "PayloadDisplayName", installed.get(), "ProfileDisplayName");
  copyValue(profile, "PayloadIdentifier", installed.get(), "ProfileIdentifier");
  Owned<CFStringRef> date(emu::createString(installDate()));
  CFDictionarySetValue(installed.get(), CFSTR("ProfileInstallDate"), date.get());
  Owned<CFMutableArrayRef> items(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  auto payloads = static_cast<CFArrayRef>(CFDictionaryGetValue(profile, CFSTR("PayloadContent")));
  for (CFIndex i = 0; i < CFArrayGetCount(payloads); ++i) {
    Owned<CFDictionaryRef> item =
        createItem(static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(payloads, i)));
    CFArrayAppendValue(items.get(), item.get());
  }
  CFDictionarySetValue(installed.get(), CFSTR("ProfileItems"), items.get());
  copyValue(profile, "PayloadOrganization", installed.get(), "ProfileOrganization");
  copyValue(profile, "PayloadType", installed.get(), "ProfileType");
  copyValue(profile, "PayloadUUID", installed.get(), "ProfileUUID");
  // A signer no one here vouches for leaves a signed profile unverified.
  CFDictionarySetValue(installed.get(), CFSTR("ProfileVerificationState"),
                       signed_ ? CFSTR("unverified") : CFSTR("unsigned"));
  return Owned<CFDictionaryRef>(installed.release());
}
