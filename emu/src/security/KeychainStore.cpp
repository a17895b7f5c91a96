#include "KeychainStore.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>
#include <vector>

#include "../common/Files.h"
#include "SecInternal.h"

namespace emu::sec {
namespace {

const CFStringRef kItemsKey = CFSTR("Items");

bool equalValues(CFDictionaryRef a, CFDictionaryRef b, CFStringRef key) {
  CFTypeRef first = CFDictionaryGetValue(a, key);
  CFTypeRef second = CFDictionaryGetValue(b, key);
  return first == second || (first != nullptr && second != nullptr && CFEqual(first, second));
}

// An item has a class; a certificate has itself as data, and it parses.
bool isItem(CFTypeRef value) {
  if (!isDictionary(value)) return false;
  auto item = static_cast<CFDictionaryRef>(value);
  CFTypeRef itemClass = CFDictionaryGetValue(item, kSecClass);
  if (!isString(itemClass)) return false;
  if (!CFEqual(itemClass, kSecClassCertificate)) return true;
  return parseCertificate(CFDictionaryGetValue(item, kSecValueData)) != nullptr;
}

OSStatus statusForWriteError(int error) {
  return error == EACCES || error == EPERM || error == EROFS ? errSecWrPerm : errSecIO;
}

}  // namespace

KeychainStore::KeychainStore(std::string path) : path_(std::move(path)) {}

OSStatus KeychainStore::load() {
  items_.reset();
  struct stat status;
  std::vector<UInt8> bytes;
  if (!readFile(path_, bytes, status)) return errno == ENOENT ? errSecNoSuchKeychain : errSecIO;
  mode_ = status.st_mode & 07777;
  Owned<CFDataRef> data(CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size())));
  Owned<CFPropertyListRef> root(
      CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListMutableContainers, nullptr, nullptr));
  if (!isDictionary(root.get())) return errSecInvalidKeychain;
  CFTypeRef items = CFDictionaryGetValue(static_cast<CFDictionaryRef>(root.get()), kItemsKey);
  if (!isA(items, CFArrayGetTypeID())) return errSecInvalidKeychain;
  auto array = static_cast<CFMutableArrayRef>(const_cast<void *>(items));
  for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
    if (!isItem(CFArrayGetValueAtIndex(array, i))) return errSecInvalidKeychain;
  }
  items_.reset(static_cast<CFMutableArrayRef>(const_cast<void *>(CFRetain(array))));
  return errSecSuccess;
}

bool KeychainStore::writable() const {
  if (path_ == kSystemKeychainPath) return geteuid() == 0;
  return access(path_.c_str(), W_OK) == 0;
}

OSStatus KeychainStore::add(CFDictionaryRef item) {
  if (OSStatus status = load()) return status;
  if (!writable()) return errSecWrPerm;
  for (CFIndex i = 0; i < CFArrayGetCount(items_.get()); ++i) {
    if (sameItem(static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(items_.get(), i)), item)) {
      return errSecDuplicateItem;
    }
  }
  CFArrayAppendValue(items_.get(), item);
  return save();
}

OSStatus KeychainStore::remove(CFDictionaryRef item) {
  if (OSStatus status = load()) return status;
  if (!writable()) return errSecWrPerm;
  for (CFIndex i = 0; i < CFArrayGetCount(items_.get()); ++i) {
    if (sameItem(static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(items_.get(), i)), item)) {
      CFArrayRemoveValueAtIndex(items_.get(), i);
      return save();
    }
  }
  return errSecInvalidItemRef;
}

bool KeychainStore::sameItem(CFDictionaryRef a, CFDictionaryRef b) {
  if (!equalValues(a, b, kSecClass)) return false;
  if (CFEqual(CFDictionaryGetValue(a, kSecClass), kSecClassCertificate)) {
    return equalValues(a, b, kSecAttrCertificateType) && equalValues(a, b, kSecAttrIssuer) &&
           equalValues(a, b, kSecAttrSerialNumber);
  }
  return equalValues(a, b, kSecAttrAccount) && equalValues(a, b, kSecAttrService);
}

OSStatus KeychainStore::save() {
  Owned<CFMutableDictionaryRef> root(createMutableDictionary());
  CFDictionarySetValue(root.get(), kItemsKey, items_.get());
  Owned<CFDataRef> data(CFPropertyListCreateData(nullptr, root.get(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  if (!data) return errSecIO;
  int error = replaceFile(path_, data.get(), mode_);
  return error == 0 ? errSecSuccess : statusForWriteError(error);
}

}  // namespace emu::sec
