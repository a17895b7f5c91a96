// Keychain items: generic passwords as the file-based keychain interface
// creates, finds and deletes them. An item reference remembers its keychain
// and the record it was made from; deleting it removes the stored item with
// the same primary key.

#include <cstdlib>
#include <cstring>

#include "KeychainStore.h"
#include "SecInternal.h"

using emu::Owned;
using emu::sec::KeychainStore;

namespace {

Boolean itemEqual(CFTypeRef a, CFTypeRef b) {
  auto first = static_cast<const __SecKeychainItem *>(a);
  auto second = static_cast<const __SecKeychainItem *>(b);
  return CFEqual(first->keychain.get(), second->keychain.get()) &&
         KeychainStore::sameItem(first->record.get(), second->record.get());
}

// Equal items are in the same keychain.
CFHashCode itemHash(CFTypeRef cf) { return CFHash(static_cast<const __SecKeychainItem *>(cf)->keychain.get()); }

const CFRuntimeClass kItemClass = {
    "SecKeychainItem", emu::cfFinalize<__SecKeychainItem>, itemEqual, itemHash, nullptr, nullptr};

// The attribute key of a tag: its four characters ('acct' is "acct").
CFStringRef createKey(SecKeychainAttrType tag) {
  const char text[] = {static_cast<char>(tag >> 24), static_cast<char>(tag >> 16), static_cast<char>(tag >> 8),
                       static_cast<char>(tag), '\0'};
  return CFStringCreateWithCString(nullptr, text, kCFStringEncodingASCII);
}

// Text attributes are blobs to the keychain; they read back as strings when
// they are UTF-8.
CFTypeRef createBlobValue(const void *bytes, UInt32 length) {
  auto data = static_cast<const UInt8 *>(bytes);
  CFStringRef text = CFStringCreateWithBytes(nullptr, data, length, kCFStringEncodingUTF8, false);
  return text != nullptr ? static_cast<CFTypeRef>(text) : CFDataCreate(nullptr, data, length);
}

// The value a generic-password attribute is stored as; errSecNoSuchAttr for
// a tag the class does not have.
OSStatus createAttributeValue(const SecKeychainAttribute &attribute, CFTypeRef *value) {
  if (attribute.data == nullptr && attribute.length > 0) return errSecParam;
  switch (attribute.tag) {
    case kSecAccountItemAttr:
    case kSecServiceItemAttr:
    case kSecLabelItemAttr:
    case kSecDescriptionItemAttr:
    case kSecCommentItemAttr:
    case kSecGenericItemAttr:
      *value = createBlobValue(attribute.data, attribute.length);
      return errSecSuccess;
    case kSecCreatorItemAttr:
    case kSecTypeItemAttr:
    case kSecInvisibleItemAttr:
    case kSecNegativeItemAttr: {
      if (attribute.length != sizeof(UInt32)) return errSecParam;
      UInt32 number;
      std::memcpy(&number, attribute.data, sizeof(number));
      if (attribute.tag == kSecInvisibleItemAttr || attribute.tag == kSecNegativeItemAttr) {
        *value = CFRetain(number != 0 ? kCFBooleanTrue : kCFBooleanFalse);
      } else {
        SInt64 code = number;
        *value = CFNumberCreate(nullptr, kCFNumberSInt64Type, &code);
      }
      return errSecSuccess;
    }
    default:
      return errSecNoSuchAttr;
  }
}

// The record of a new generic password: its attributes, the dates, the
// service as label when none is given, and the password.
OSStatus createPasswordRecord(const SecKeychainAttributeList *attrList, UInt32 length, const void *data,
                              CFMutableDictionaryRef *result) {
  if ((attrList != nullptr && attrList->count > 0 && attrList->attr == nullptr) || (data == nullptr && length > 0)) {
    return errSecParam;
  }
  Owned<CFMutableDictionaryRef> record(emu::createMutableDictionary());
  CFDictionarySetValue(record.get(), kSecClass, kSecClassGenericPassword);
  for (UInt32 i = 0; attrList != nullptr && i < attrList->count; ++i) {
    CFTypeRef value = nullptr;
    if (OSStatus status = createAttributeValue(attrList->attr[i], &value)) return status;
    Owned<CFTypeRef> held(value);
    Owned<CFStringRef> key(createKey(attrList->attr[i].tag));
    CFDictionarySetValue(record.get(), key.get(), value);
  }
  CFTypeRef service = CFDictionaryGetValue(record.get(), kSecAttrService);
  if (service != nullptr && !CFDictionaryContainsKey(record.get(), kSecAttrLabel)) {
    CFDictionarySetValue(record.get(), kSecAttrLabel, service);
  }
  Owned<CFDateRef> now(CFDateCreate(nullptr, CFAbsoluteTimeGetCurrent()));
  CFDictionarySetValue(record.get(), kSecAttrCreationDate, now.get());
  CFDictionarySetValue(record.get(), kSecAttrModificationDate, now.get());
  Owned<CFDataRef> secret(CFDataCreate(nullptr, static_cast<const UInt8 *>(data), length));
  CFDictionarySetValue(record.get(), kSecValueData, secret.get());
  *result = record.release();
  return errSecSuccess;
}

SecKeychainItemRef itemCreate(SecKeychainRef keychain, CFDictionaryRef record) {
  auto *item = emu::cfCreate<__SecKeychainItem>(SecKeychainItemGetTypeID());
  item->keychain.reset(static_cast<SecKeychainRef>(const_cast<void *>(CFRetain(keychain))));
  item->record.reset(static_cast<CFDictionaryRef>(CFRetain(record)));
  return item;
}

// Whether a stored value equals the one given as a name and its length; a
// NULL or empty name matches anything.
bool matches(CFDictionaryRef record, CFStringRef key, const char *name, UInt32 length) {
  if (name == nullptr || length == 0) return true;
  CFTypeRef stored = CFDictionaryGetValue(record, key);
  Owned<CFTypeRef> wanted(createBlobValue(name, length));
  return stored != nullptr && CFEqual(stored, wanted.get());
}

}  // namespace

namespace emu::sec {

CFTypeRef copyItemReference(SecKeychainRef keychain, CFDictionaryRef record) {
  if (!CFEqual(CFDictionaryGetValue(record, kSecClass), kSecClassCertificate)) return itemCreate(keychain, record);
  // The store keeps only certificates that parse.
  return certificateCreate(parseCertificate(CFDictionaryGetValue(record, kSecValueData)), keychain);
}

}  // namespace emu::sec

CFTypeID SecKeychainItemGetTypeID(void) {
  static const CFTypeID typeID = _CFRuntimeRegisterClass(&kItemClass);
  return typeID;
}

OSStatus SecKeychainItemCreateFromContent(SecItemClass itemClass, SecKeychainAttributeList *attrList, UInt32 length,
                                          const void *data, SecKeychainRef keychainRef, SecAccessRef initialAccess,
                                          SecKeychainItemRef *itemRef) {
  if (itemClass != kSecGenericPasswordItemClass) {
    emu::sec::unimplemented("SecKeychainItemCreateFromContent", "an item class other than generic password");
  }
  if ((keychainRef != nullptr && CFGetTypeID(keychainRef) != SecKeychainGetTypeID()) ||
      (initialAccess != nullptr && CFGetTypeID(initialAccess) != SecAccessGetTypeID())) {
    return errSecParam;
  }
  CFMutableDictionaryRef created = nullptr;
  if (OSStatus status = createPasswordRecord(attrList, length, data, &created)) return status;
  Owned<CFMutableDictionaryRef> record(created);
  Owned<CFDictionaryRef> access(emu::sec::createAccessRecord(
      initialAccess, static_cast<CFStringRef>(CFDictionaryGetValue(record.get(), kSecAttrLabel))));
  CFDictionarySetValue(record.get(), emu::sec::accessKey(), access.get());
  Owned<SecKeychainRef> keychain(emu::sec::copyKeychainOrDefault(keychainRef));
  KeychainStore store(emu::sec::keychainPath(keychain.get()));
  if (OSStatus status = store.add(record.get())) return status;
  if (itemRef != nullptr) *itemRef = itemCreate(keychain.get(), record.get());
  return errSecSuccess;
}

OSStatus SecKeychainFindGenericPassword(CFTypeRef keychainOrArray, UInt32 serviceNameLength, const char *serviceName,
                                        UInt32 accountNameLength, const char *accountName, UInt32 *passwordLength,
                                        void **passwordData, SecKeychainItemRef *itemRef) {
  if (passwordData != nullptr && passwordLength == nullptr) return errSecParam;
  Owned<SecKeychainRef> foundIn;
  Owned<CFDictionaryRef> found;
  OSStatus status = emu::sec::visitItems(keychainOrArray, [&](SecKeychainRef keychain, CFDictionaryRef record) {
    if (!CFEqual(CFDictionaryGetValue(record, kSecClass), kSecClassGenericPassword) ||
        !matches(record, kSecAttrService, serviceName, serviceNameLength) ||
        !matches(record, kSecAttrAccount, accountName, accountNameLength)) {
      return true;
    }
    foundIn.reset(static_cast<SecKeychainRef>(const_cast<void *>(CFRetain(keychain))));
    found.reset(static_cast<CFDictionaryRef>(CFRetain(record)));
    return false;
  });
  if (status != errSecSuccess) return status;
  if (!found) return errSecItemNotFound;
  if (passwordData != nullptr) {
    auto secret = static_cast<CFDataRef>(CFDictionaryGetValue(found.get(), kSecValueData));
    auto length = static_cast<UInt32>(emu::isA(secret, CFDataGetTypeID()) ? CFDataGetLength(secret) : 0);
    void *copy = std::malloc(length > 0 ? length : 1);
    if (length > 0) std::memcpy(copy, CFDataGetBytePtr(secret), length);
    *passwordData = copy;
    *passwordLength = length;
  }
  if (itemRef != nullptr) *itemRef = itemCreate(foundIn.get(), found.get());
  return errSecSuccess;
}

OSStatus SecKeychainItemFreeContent(SecKeychainAttributeList *attrList, void *data) {
  // Attribute lists come only from SecKeychainItemCopyContent, which is not emulated.
  if (attrList != nullptr) emu::sec::unimplemented("SecKeychainItemFreeContent", "an attribute list");
  std::free(data);
  return errSecSuccess;
}

OSStatus SecKeychainItemCopyKeychain(SecKeychainItemRef itemRef, SecKeychainRef *keychainRef) {
  if (keychainRef == nullptr) return errSecParam;
  SecKeychainRef keychain = nullptr;
  if (auto *item = emu::instance<__SecKeychainItem>(itemRef, SecKeychainItemGetTypeID())) {
    keychain = item->keychain.get();
  } else if (const __SecCertificate *certificate = emu::sec::certificateOf(itemRef)) {
    keychain = certificate->keychain.get();
  }
  if (keychain == nullptr) return errSecInvalidItemRef;
  *keychainRef = static_cast<SecKeychainRef>(const_cast<void *>(CFRetain(keychain)));
  return errSecSuccess;
}

OSStatus SecKeychainItemDelete(SecKeychainItemRef itemRef) {
  if (auto *item = emu::instance<__SecKeychainItem>(itemRef, SecKeychainItemGetTypeID())) {
    return KeychainStore(emu::sec::keychainPath(item->keychain.get())).remove(item->record.get());
  }
  // A certificate is an item only when it came from a keychain.
  const __SecCertificate *certificate = emu::sec::certificateOf(itemRef);
  if (certificate == nullptr || !certificate->keychain) return errSecInvalidItemRef;
  Owned<CFDictionaryRef> record(emu::sec::createCertificateRecord(*certificate->x509));
  return KeychainStore(emu::sec::keychainPath(certificate->keychain.get())).remove(record.get());
}
