#include "TrustSettingsStore.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <vector>

#include "../common/Files.h"

namespace emu::sec {
namespace {

const char kTrustSettingsFolder[] = "/Library/Security/Trust Settings";
const CFStringRef kVersionKey = CFSTR("trustVersion");
const CFStringRef kTrustListKey = CFSTR("trustList");
const CFStringRef kIssuerKey = CFSTR("issuerName");
const CFStringRef kSerialNumberKey = CFSTR("serialNumber");
const CFStringRef kModDateKey = CFSTR("modDate");
const CFStringRef kSettingsKey = CFSTR("trustSettings");
constexpr SInt32 kCurrentVersion = 1;

// A user's settings are named by the UUID of the account; without a
// directory service that is the UUID macOS derives from the uid
// (root's GeneratedUID is FFFFEEEE-DDDD-CCCC-BBBB-AAAA00000000).
std::string userRecordPath() {
  char name[64];
  std::snprintf(name, sizeof(name), "/FFFFEEEE-DDDD-CCCC-BBBB-AAAA%08X.plist", static_cast<unsigned>(geteuid()));
  return kTrustSettingsFolder + std::string(name);
}

std::string recordPath(SecTrustSettingsDomain domain) {
  switch (domain) {
    case kSecTrustSettingsDomainUser:
      return userRecordPath();
    case kSecTrustSettingsDomainAdmin:
      return kTrustSettingsFolder + std::string("/Admin.plist");
    case kSecTrustSettingsDomainSystem:
      return "/System/Library/Keychains/SystemTrustSettings.plist";
  }
  return std::string();
}

bool isNumber32(CFTypeRef value) {
  SInt32 number;
  return isA(value, CFNumberGetTypeID()) &&
         CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt32Type, &number);
}

// The checks macOS makes of a stored record before it uses it.
bool validSettings(CFTypeRef value) {
  if (!isA(value, CFArrayGetTypeID())) return false;
  auto settings = static_cast<CFArrayRef>(value);
  for (CFIndex i = 0; i < CFArrayGetCount(settings); ++i) {
    CFTypeRef setting = CFArrayGetValueAtIndex(settings, i);
    if (!isDictionary(setting)) return false;
    auto get = [&](CFStringRef key) { return CFDictionaryGetValue(static_cast<CFDictionaryRef>(setting), key); };
    CFTypeRef policy = get(kSecTrustSettingsPolicy);
    CFTypeRef application = get(kSecTrustSettingsApplication);
    CFTypeRef policyString = get(kSecTrustSettingsPolicyString);
    if ((policy != nullptr && !isA(policy, CFDataGetTypeID()) && !isString(policy)) ||
        (application != nullptr && !isA(application, CFDataGetTypeID())) ||
        (policyString != nullptr && !isString(policyString))) {
      return false;
    }
    for (CFStringRef key : {kSecTrustSettingsAllowedError, kSecTrustSettingsResult, kSecTrustSettingsKeyUsage}) {
      if (get(key) != nullptr && !isNumber32(get(key))) return false;
    }
  }
  return true;
}

bool validRecord(CFTypeRef value) {
  if (!isDictionary(value)) return false;
  auto record = static_cast<CFDictionaryRef>(value);
  SInt32 version = 0;
  CFTypeRef versionNumber = CFDictionaryGetValue(record, kVersionKey);
  if (!isNumber32(versionNumber)) return false;
  CFNumberGetValue(static_cast<CFNumberRef>(versionNumber), kCFNumberSInt32Type, &version);
  CFTypeRef list = CFDictionaryGetValue(record, kTrustListKey);
  if (version != kCurrentVersion || !isDictionary(list)) return false;
  for (const auto &[hash, entryValue] : entries(static_cast<CFDictionaryRef>(list))) {
    if (!isString(hash) || !isDictionary(entryValue)) return false;
    auto entry = static_cast<CFDictionaryRef>(entryValue);
    CFTypeRef settings = CFDictionaryGetValue(entry, kSettingsKey);
    if (!isA(CFDictionaryGetValue(entry, kIssuerKey), CFDataGetTypeID()) ||
        !isA(CFDictionaryGetValue(entry, kSerialNumberKey), CFDataGetTypeID()) ||
        !isA(CFDictionaryGetValue(entry, kModDateKey), CFDateGetTypeID()) ||
        (settings != nullptr && !validSettings(settings))) {
      return false;
    }
  }
  return true;
}

CFMutableDictionaryRef trustList(CFMutableDictionaryRef record) {
  return static_cast<CFMutableDictionaryRef>(const_cast<void *>(CFDictionaryGetValue(record, kTrustListKey)));
}

CFDataRef createData(const X509Certificate::Bytes &bytes) {
  return CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size()));
}

}  // namespace

TrustSettingsStore::TrustSettingsStore(SecTrustSettingsDomain domain) : domain_(domain), path_(recordPath(domain)) {}

OSStatus TrustSettingsStore::load() {
  record_.reset();
  if (path_.empty()) return errSecParam;
  struct stat status;
  std::vector<UInt8> bytes;
  if (!readFile(path_, bytes, status)) return errSecNoTrustSettings;
  Owned<CFDataRef> data(CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size())));
  Owned<CFPropertyListRef> record(
      CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListMutableContainers, nullptr, nullptr));
  if (!validRecord(record.get())) return errSecInvalidTrustSettings;
  record_.reset(static_cast<CFMutableDictionaryRef>(const_cast<void *>(record.release())));
  return errSecSuccess;
}

CFDictionaryRef TrustSettingsStore::entry(const X509Certificate &certificate) const {
  Owned<CFStringRef> hash(createString(certificate.sha1Hex()));
  return static_cast<CFDictionaryRef>(CFDictionaryGetValue(trustList(record_.get()), hash.get()));
}

CFArrayRef TrustSettingsStore::settings(CFDictionaryRef entry) {
  return static_cast<CFArrayRef>(CFDictionaryGetValue(entry, kSettingsKey));
}

OSStatus TrustSettingsStore::set(const X509Certificate &certificate, CFArrayRef settings) {
  OSStatus status = load();
  if (status == errSecNoTrustSettings) {
    record_.reset(createMutableDictionary());
    Owned<CFMutableDictionaryRef> list(createMutableDictionary());
    CFDictionarySetValue(record_.get(), kTrustListKey, list.get());
    Owned<CFNumberRef> version(CFNumberCreate(nullptr, kCFNumberSInt32Type, &kCurrentVersion));
    CFDictionarySetValue(record_.get(), kVersionKey, version.get());
  } else if (status != errSecSuccess) {
    return status;
  }
  Owned<CFStringRef> hash(createString(certificate.sha1Hex()));
  Owned<CFMutableDictionaryRef> entry;
  if (CFDictionaryRef existing = this->entry(certificate)) {
    entry.reset(CFDictionaryCreateMutableCopy(nullptr, 0, existing));
  } else {
    entry.reset(createMutableDictionary());
    Owned<CFDataRef> issuer(createData(certificate.issuer()));
    Owned<CFDataRef> serial(createData(certificate.serialNumber()));
    CFDictionarySetValue(entry.get(), kIssuerKey, issuer.get());
    CFDictionarySetValue(entry.get(), kSerialNumberKey, serial.get());
  }
  Owned<CFDateRef> now(CFDateCreate(nullptr, CFAbsoluteTimeGetCurrent()));
  CFDictionarySetValue(entry.get(), kModDateKey, now.get());
  // No settings at all means "trusted for everything" and is stored as none.
  if (CFArrayGetCount(settings) > 0) {
    CFDictionarySetValue(entry.get(), kSettingsKey, settings);
  } else {
    CFDictionaryRemoveValue(entry.get(), kSettingsKey);
  }
  CFDictionarySetValue(trustList(record_.get()), hash.get(), entry.get());
  return save();
}

OSStatus TrustSettingsStore::remove(const X509Certificate &certificate) {
  if (OSStatus status = load()) return status;
  if (entry(certificate) == nullptr) return errSecItemNotFound;
  Owned<CFStringRef> hash(createString(certificate.sha1Hex()));
  CFDictionaryRemoveValue(trustList(record_.get()), hash.get());
  return save();
}

OSStatus TrustSettingsStore::save() {
  // The right to change a domain's settings: root alone holds the admin one,
  // and a user's needs the user to authenticate, which nobody can here.
  AuthorizationItem right = {
      domain_ == kSecTrustSettingsDomainAdmin ? "com.apple.trust-settings.admin" : "com.apple.trust-settings.user", 0,
      nullptr, 0};
  AuthorizationRights rights = {1, &right};
  if (OSStatus status = AuthorizationCreate(
          &rights, nullptr, kAuthorizationFlagExtendRights | kAuthorizationFlagInteractionAllowed, nullptr)) {
    return status;
  }
  // As on the Mac, a domain without certificates has no file.
  if (CFDictionaryGetCount(trustList(record_.get())) == 0) {
    return unlink(path_.c_str()) == 0 || errno == ENOENT ? errSecSuccess : errSecInternalComponent;
  }
  if (mkdir(kTrustSettingsFolder, 0755) != 0 && errno != EEXIST) return errSecInternalComponent;
  Owned<CFDataRef> data(CFPropertyListCreateData(nullptr, record_.get(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  // Admin settings are readable by all: here each process reads them itself,
  // where on the Mac a root daemon reads them for it.
  mode_t mode = domain_ == kSecTrustSettingsDomainAdmin ? 0644 : 0600;
  return data && replaceFile(path_, data.get(), mode) == 0 ? errSecSuccess : errSecInternalComponent;
}

}  // namespace emu::sec
