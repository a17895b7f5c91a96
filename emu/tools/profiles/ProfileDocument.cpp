#include "ProfileDocument.h"

#include <Security/Security.h>
#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/err.h>
#include <openssl/objects.h>

#include <ctime>
#include <vector>

#include "FieldChecker.h"
#include "PayloadCertificate.h"
#include "PayloadInstaller.h"
#include "common/Files.h"

using emu::Owned;

namespace {

using namespace profilecode;

constexpr char kProxyType[] = "com.apple.proxy.http.global";

bool fail(ProfileError &error, int code, const std::string &text) {
  error.code = code;
  error.text = text;
  return false;
}

bool requireCommonFields(const FieldChecker &fields, ProfileError &error) {
  for (const char *name : {"PayloadIdentifier", "PayloadUUID", "PayloadType"}) {
    if (!fields.require(name, CFStringGetTypeID(), error)) return false;
  }
  // A number written as <real> is as much a CFNumber as one written as <integer>.
  return fields.require("PayloadVersion", CFNumberGetTypeID(), error);
}

// The fields the installation reads from a Wi-Fi payload.
bool checkWifi(const FieldChecker &fields, ProfileError &error) {
  if (!fields.require("SSID_STR", CFStringGetTypeID(), error)) return false;
  for (const char *flag : {"AutoJoin", "HIDDEN_NETWORK", "IsHotspot"}) {
    if (!fields.allow(flag, CFBooleanGetTypeID(), error)) return false;
  }
  return fields.allow("EncryptionType", CFStringGetTypeID(), error) &&
         fields.allow("EAPClientConfiguration", CFDictionaryGetTypeID(), error);
}

// A manual proxy needs its server and port.
bool checkProxy(CFDictionaryRef payload, const FieldChecker &fields, ProfileError &error) {
  if (!fields.allow("ProxyType", CFStringGetTypeID(), error)) return false;
  CFTypeRef type = CFDictionaryGetValue(payload, CFSTR("ProxyType"));
  if (type != nullptr && CFEqual(type, CFSTR("Auto"))) return fields.allow("ProxyPACURL", CFStringGetTypeID(), error);
  if (type != nullptr && !CFEqual(type, CFSTR("Manual"))) {
    return fail(error, kUnsupportedPayloadValue, "Unsupported field value: ProxyType (Manual or Auto)");
  }
  return fields.require("ProxyServer", CFStringGetTypeID(), error) &&
         fields.require("ProxyServerPort", CFNumberGetTypeID(), error);
}

bool checkPayload(CFTypeRef value, ProfileError &error) {
  if (!emu::isDictionary(value)) return fail(error, kMalformedProfile, "Malformed profile");
  auto payload = static_cast<CFDictionaryRef>(value);
  FieldChecker fields(payload, kMissingPayloadField, kBadPayloadFieldType);
  if (!requireCommonFields(fields, error)) return false;
  std::string type = emu::utf8(static_cast<CFStringRef>(CFDictionaryGetValue(payload, CFSTR("PayloadType"))));
  if (type == PayloadInstaller::kWifiType) return checkWifi(fields, error);
  if (type == kProxyType) return checkProxy(payload, fields, error);
  if (PayloadCertificate::isCertificateType(type)) return PayloadCertificate::createDer(type, payload, error) != nullptr;
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
  FieldChecker fields(profile, kMissingProfileField, kBadProfileFieldType);
  if (!requireCommonFields(fields, error)) return false;
  if (!CFEqual(CFDictionaryGetValue(profile, CFSTR("PayloadType")), CFSTR("Configuration"))) {
    return fail(error, kUnsupportedFieldValue, "Unsupported field value: PayloadType");
  }
  // Encrypted content opens only with the private key of the device it was
  // encrypted for, which this Mac is not.
  if (CFDictionaryContainsKey(profile, CFSTR("EncryptedPayloadContent"))) {
    return fail(error, kCannotDecrypt,
                "The profile is encrypted for another device and cannot be decrypted on this Mac");
  }
  if (!fields.require("PayloadContent", CFArrayGetTypeID(), error)) return false;
  auto payloads = static_cast<CFArrayRef>(CFDictionaryGetValue(profile, CFSTR("PayloadContent")));
  if (CFArrayGetCount(payloads) == 0) return fail(error, kEmptyProfile, "Empty profile");
  for (CFIndex i = 0; i < CFArrayGetCount(payloads); ++i) {
    if (!checkPayload(CFArrayGetValueAtIndex(payloads, i), error)) return false;
  }
  return true;
}

bool ProfileDocument::allowedFor(bool machineLevel, ProfileError &error) const {
  if (machineLevel) return true;
  auto payloads = static_cast<CFArrayRef>(CFDictionaryGetValue(profile_.get(), CFSTR("PayloadContent")));
  for (CFIndex i = 0; i < CFArrayGetCount(payloads); ++i) {
    auto payload = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(payloads, i));
    if (emu::utf8(static_cast<CFStringRef>(CFDictionaryGetValue(payload, CFSTR("PayloadType")))) == kProxyType) {
      return fail(error, kUnsupportedPayloadValue,
                  std::string("Unsupported payload for a user: ") + kProxyType + " is installed for the machine only");
    }
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
