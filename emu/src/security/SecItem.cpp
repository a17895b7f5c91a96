// SecItemCopyMatching over the file-based keychains: class, attribute
// equality, keychain list, limit and the kinds of result the Mac gives.

#include <algorithm>
#include <vector>

#include "SecInternal.h"

using emu::Owned;

namespace {

struct Query {
  CFStringRef itemClass = nullptr;
  CFTypeRef keychains = nullptr;  // NULL: the default search list
  CFIndex limit = 1;              // kCFNotFound: all
  bool returnData = false;
  bool returnAttributes = false;
  bool returnRef = false;
  std::vector<std::pair<CFStringRef, CFTypeRef>> attributes;
};

// Attributes an item of the class can be searched by.
bool isAttributeOf(CFStringRef itemClass, CFStringRef key) {
  const std::vector<CFStringRef> password = {kSecAttrAccount,     kSecAttrService,      kSecAttrLabel,
                                             kSecAttrDescription, kSecAttrCreationDate, kSecAttrModificationDate};
  const std::vector<CFStringRef> certificate = {
      kSecAttrLabel,        kSecAttrSubject,       kSecAttrIssuer,          kSecAttrSerialNumber,
      kSecAttrSubjectKeyID, kSecAttrPublicKeyHash, kSecAttrCertificateType, kSecAttrCertificateEncoding};
  const auto &known = CFEqual(itemClass, kSecClassGenericPassword) ? password : certificate;
  return std::any_of(known.begin(), known.end(), [&](CFStringRef attribute) { return CFEqual(key, attribute); });
}

bool readFlag(CFTypeRef value, bool *flag) {
  if (!emu::isA(value, CFBooleanGetTypeID())) return false;
  *flag = CFBooleanGetValue(static_cast<CFBooleanRef>(value));
  return true;
}

// kSecMatchLimitOne, kSecMatchLimitAll or a positive number.
bool readLimit(CFTypeRef value, CFIndex *limit) {
  if (emu::isString(value) && (CFEqual(value, kSecMatchLimitOne) || CFEqual(value, kSecMatchLimitAll))) {
    *limit = CFEqual(value, kSecMatchLimitOne) ? 1 : kCFNotFound;
    return true;
  }
  return emu::isA(value, CFNumberGetTypeID()) &&
         CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberCFIndexType, limit) && *limit > 0;
}

OSStatus readQuery(CFDictionaryRef dictionary, Query *query) {
  CFTypeRef itemClass = CFDictionaryGetValue(dictionary, kSecClass);
  if (!emu::isString(itemClass)) return errSecParam;
  if (!CFEqual(itemClass, kSecClassGenericPassword) && !CFEqual(itemClass, kSecClassCertificate)) {
    emu::sec::unimplemented("SecItemCopyMatching", "this item class");
  }
  query->itemClass = static_cast<CFStringRef>(itemClass);
  for (const auto &[keyObject, value] : emu::entries(dictionary)) {
    if (!emu::isString(keyObject)) return errSecParam;
    auto key = static_cast<CFStringRef>(keyObject);
    bool good = true;
    if (CFEqual(key, kSecClass)) continue;
    if (CFEqual(key, kSecUseKeychain)) {
      query->keychains = value;
    } else if (CFEqual(key, kSecMatchLimit)) {
      good = readLimit(value, &query->limit);
    } else if (CFEqual(key, kSecReturnData)) {
      good = readFlag(value, &query->returnData);
    } else if (CFEqual(key, kSecReturnAttributes)) {
      good = readFlag(value, &query->returnAttributes);
    } else if (CFEqual(key, kSecReturnRef)) {
      good = readFlag(value, &query->returnRef);
    } else if (isAttributeOf(query->itemClass, key)) {
      query->attributes.emplace_back(key, value);
    } else {
      return errSecUnimplemented;
    }
    if (!good) return errSecParam;
  }
  return errSecSuccess;
}

bool matches(const Query &query, CFDictionaryRef record) {
  if (!CFEqual(CFDictionaryGetValue(record, kSecClass), query.itemClass)) return false;
  for (const auto &[key, value] : query.attributes) {
    CFTypeRef stored = CFDictionaryGetValue(record, key);
    if (stored == nullptr || !CFEqual(stored, value)) return false;
  }
  return true;
}

// One item as the query asks for it: its reference, its data, or a
// dictionary of what was asked for when that is more than one thing.
CFTypeRef createResult(const Query &query, SecKeychainRef keychain, CFDictionaryRef record) {
  CFTypeRef data = CFDictionaryGetValue(record, kSecValueData);
  int kinds = query.returnData + query.returnAttributes + query.returnRef;
  if (kinds == 1 && query.returnRef) return emu::sec::copyItemReference(keychain, record);
  if (kinds == 1 && query.returnData) return CFRetain(data);
  Owned<CFMutableDictionaryRef> result(emu::createMutableDictionary());
  if (query.returnAttributes) {
    for (const auto &[key, value] : emu::entries(record)) {
      if (!CFEqual(key, kSecValueData) && !CFEqual(key, emu::sec::accessKey())) {
        CFDictionarySetValue(result.get(), key, value);
      }
    }
  }
  if (query.returnData) CFDictionarySetValue(result.get(), kSecValueData, data);
  if (query.returnRef) {
    Owned<CFTypeRef> reference(emu::sec::copyItemReference(keychain, record));
    CFDictionarySetValue(result.get(), kSecValueRef, reference.get());
  }
  return result.release();
}

}  // namespace

OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef *result) {
  if (result != nullptr) *result = nullptr;
  if (!emu::isDictionary(query)) return errSecParam;
  Query parsed;
  if (OSStatus status = readQuery(query, &parsed)) return status;
  Owned<CFMutableArrayRef> found(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  bool wantsResult = result != nullptr && (parsed.returnData || parsed.returnAttributes || parsed.returnRef);
  OSStatus status = emu::sec::visitItems(parsed.keychains, [&](SecKeychainRef keychain, CFDictionaryRef record) {
    if (!matches(parsed, record)) return true;
    if (wantsResult) {
      Owned<CFTypeRef> item(createResult(parsed, keychain, record));
      CFArrayAppendValue(found.get(), item.get());
    } else {
      CFArrayAppendValue(found.get(), record);
    }
    return parsed.limit == kCFNotFound || CFArrayGetCount(found.get()) < parsed.limit;
  });
  if (status != errSecSuccess) return status;
  if (CFArrayGetCount(found.get()) == 0) return errSecItemNotFound;
  if (wantsResult) {
    *result = parsed.limit == 1 ? CFRetain(CFArrayGetValueAtIndex(found.get(), 0)) : found.release();
  }
  return errSecSuccess;
}
