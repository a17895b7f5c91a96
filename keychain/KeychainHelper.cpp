// Keychain access: the cached keychain handles, the active item, the two
// whole-keychain searches and deletion.
#include "CFCast.h"
#include "KeychainHelper.h"

#include "DictionaryHelper.h"
#include "Logger.h"
#include "OsFileSystemUtils.h"

namespace xpc {

namespace {

const char kSystemKeychainFile[] = "/Library/Keychains/System.keychain";
// Appended to the home directory, which ends in a slash.
const char kLoginKeychainFile[] = "Library/Keychains/login.keychain";

}  // namespace

// The two searches differ only in the class they ask for and their wording.
struct KeychainHelper::ItemSearch {
  CFStringRef itemClass;
  const char* nullOutText;
  const char* noKeychainText;
  const char* keychainKeyText;
  const char* classKeyText;
  const char* queryFailedText;
};

KeychainHelper::KeychainHelper(Logger* logger)
    : logger(logger),
      errorUtils(logger),
      activeKeychain(nullptr),
      systemKeychainOpened(false) {}

KeychainHelper::~KeychainHelper() {
  log(LogLevel::Progress, "Freeing keychain objects in dtor.");
  freeKeychainItem();
  freeKeychain();
}

void KeychainHelper::log(LogLevel level, const std::string& text) {
  logLine(logger, level, text);
}

OSStatus KeychainHelper::setUserInteractionAllowed(bool allowed) {
  // Deprecated with the rest of the file-based keychain interface, which is
  // the one that works on a keychain named by its file.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
  return SecKeychainSetUserInteractionAllowed(allowed);
#pragma clang diagnostic pop
}

bool KeychainHelper::openKeychain(bool userKeychain) {
  if (userKeychain) {
    log(LogLevel::Progress, "Attempting to open the user keychain...");
    if (this->userKeychain) {
      log(LogLevel::Progress, "Using already opened/cached user keychain object.");
      activeKeychain = this->userKeychain.get();
      return true;
    }
    log(LogLevel::Progress, "No user keychain object cached.  Will open the keychain.");
    if (!innerOpenKeychain(OsFileSystemUtils(logger).getHomeDirectory() + kLoginKeychainFile)) {
      return false;
    }
    log(LogLevel::Progress, "Caching the user keychain handle.");
    this->userKeychain.reset(activeKeychain, RefPolicy::Adopt);
    return true;
  }

  log(LogLevel::Progress, "Attempting to open the system keychain...");
  if (systemKeychain) {
    if (!systemKeychainOpened) log(LogLevel::Warning, "We appear to have a keychain handle, but we don't think we do!?");
    log(LogLevel::Progress, "Using already opened/cached system keychain object.");
    activeKeychain = systemKeychain.get();
    return true;
  }
  log(LogLevel::Progress, "No system keychain object cached.  Will open the keychain.");
  if (!innerOpenKeychain(kSystemKeychainFile)) return false;
  systemKeychainOpened = true;
  log(LogLevel::Progress, "Caching the system keychain handle.");
  systemKeychain.reset(activeKeychain, RefPolicy::Adopt);
  return true;
}

// On success `activeKeychain` holds a new reference, which the caller caches.
bool KeychainHelper::innerOpenKeychain(std::string path) {
  if (path.empty()) {
    log(LogLevel::Error, "Unable to open a keychain!  The path to the keychain is empty!");
    return false;
  }
  log(LogLevel::Progress, "Opening the keychain at : " + path);
  SecKeychainRef opened = nullptr;
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"  // see setUserInteractionAllowed
  OSStatus status = SecKeychainOpen(path.c_str(), &opened);
#pragma clang diagnostic pop
  if (status != errSecSuccess) {
    if (opened != nullptr) CFRelease(opened);
    log(LogLevel::Error, "Unable to open the keychain at '" + path +
                         "'.  Error was : " + errorUtils.getErrorStringFromOsStatus(status));
    activeKeychain = nullptr;
    return false;
  }
  if (opened == nullptr) {
    log(LogLevel::Warning, "The keychain claimed to be opened, but the keychain handle appears to be NULL!?");
    return false;
  }
  activeKeychain = opened;
  // The helper runs as root with no one to answer a dialog on the console.
  status = setUserInteractionAllowed(false);
  if (status != errSecSuccess) {
    log(LogLevel::Warning, "Unable to disable the user interaction setting on the keychain!  We may see more prompts "
                           "than expected.  Error was : " +
               errorUtils.getErrorStringFromOsStatus(status));
  }
  return true;
}

void KeychainHelper::freeKeychain() {
  for (CFRef<SecKeychainRef>* handle : {&userKeychain, &systemKeychain}) {
    if (!*handle) continue;
    OSStatus status = setUserInteractionAllowed(true);
    if (status != errSecSuccess) {
      log(LogLevel::Warning, "Unable to reenable the user interaction on the keychain!  Future keychain access may "
                             "fail.   Error was : " +
                 errorUtils.getErrorStringFromOsStatus(status));
    }
    handle->reset();
    log(LogLevel::Progress, "The keychain reference was released.  The keychain should be closed.");
  }
  activeKeychain = nullptr;
}

void KeychainHelper::freeKeychainItem() {
  if (!activeItem) return;
  log(LogLevel::Progress, "Releasing active keychain item.");
  activeItem.reset();
}

bool KeychainHelper::findCertificateItems(CFArrayRef* out) {
  static const ItemSearch kCertificates = {
      kSecClassCertificate,
      "Cannot pass a NULL value to findCertificateItems()!",
      "No keychain has been opened!  Unable to search for certificates!",
      "Unable to specify the keychain to search for our certificate!",
      "Unable to request all certificates from the keychain!",
      "Unable to query the keychain for our certificate data!  Error was : ",
  };
  return findItems(kCertificates, out);
}

bool KeychainHelper::find8021XRelatedPasswordItems(CFArrayRef* out) {
  static const ItemSearch kPasswords = {
      kSecClassGenericPassword,
      "Cannot pass a NULL value to find8021XRelatedPasswordItems()!",
      "No keychain has been opened! Nothing to search!",
      "Unable to specify the keychain to search for our 802.1X entries!",
      "Unable to request all 'generic passwords' from the keychain!",
      "Unable to query the keychain for our password data!  Error was : ",
  };
  return findItems(kPasswords, out);
}

bool KeychainHelper::findItems(const ItemSearch& search, CFArrayRef* out) {
  if (out == nullptr) {
    log(LogLevel::Error, search.nullOutText);
    return false;
  }
  if (activeKeychain == nullptr) {
    log(LogLevel::Error, search.noKeychainText);
    return false;
  }
  CFTypeRef keychains[] = {activeKeychain};
  CFRef<CFArrayRef> searchList(CFArrayCreate(kCFAllocatorDefault, keychains, 1, &kCFTypeArrayCallBacks),
                               RefPolicy::Adopt);
  DictionaryHelper query(logger);
  if (!query.createNewDictionary()) {
    log(LogLevel::Error, "Unable to create the dictionary to use to search the keychain!");
    return false;
  }
  const struct {
    CFStringRef key;
    CFTypeRef value;
    const char* failureText;
  } entries[] = {
      {kSecUseKeychain, searchList.get(), search.keychainKeyText},
      {kSecReturnAttributes, kCFBooleanTrue, "Unable to request all attributes from the keychain!"},
      {kSecReturnRef, kCFBooleanTrue, "Unable to request keychain references from the keychain!"},
      {kSecMatchLimit, kSecMatchLimitAll, "Unable to request all results from the keychain!"},
      {kSecClass, search.itemClass, search.classKeyText},
  };
  for (const auto& entry : entries) {
    if (!query.setValue(entry.key, entry.value)) {
      log(LogLevel::Error, entry.failureText);
      return false;
    }
  }

  CFRef<CFTypeRef> result;
  OSStatus status = SecItemCopyMatching(query.getDictionary(), result.initializeInto());
  if (status != errSecSuccess) {
    log(LogLevel::Error, search.queryFailedText + errorUtils.getErrorStringFromOsStatus(status));
    return false;
  }
  if (cfCast<CFArrayRef>(result.get()) == nullptr) {
    log(LogLevel::Error, "Expected an array result, but got something else!");
    return false;
  }
  *out = static_cast<CFArrayRef>(result.release());
  return true;
}

bool KeychainHelper::findFirstCertificate(CFArrayRef items,
                                          const std::function<bool(DictionaryHelper&)>& matches) {
  DictionaryHelper entry(logger);
  for (CFIndex i = 0; i < CFArrayGetCount(items); ++i) {
    CFTypeRef value = CFArrayGetValueAtIndex(items, i);
    if (cfCast<CFDictionaryRef>(value) == nullptr) {
      log(LogLevel::Error, "A value in our keychain results was not a dictionary!  It has been ignored.");
      continue;
    }
    if (entry.haveActiveDictionary()) entry.clearActiveDictionary();
    if (!entry.setActiveDictionary(static_cast<CFDictionaryRef>(value))) {
      log(LogLevel::Error, "Unable to send our active dictionary to our helper class!");
      continue;
    }
    if (!matches(entry)) continue;
    SecKeychainItemRef item = nullptr;
    if (entry.getValue("v_Ref", &item) != 0) {
      log(LogLevel::Error, "Found a match, but couldn't get the keychain reference data!  Will attempt to continue "
                           "anyway.");
      continue;
    }
    activeItem.reset(item, RefPolicy::Retain);
    return true;
  }
  return false;
}

bool KeychainHelper::deleteKeychainItem(SecKeychainItemRef item) {
  if (item == nullptr) {
    log(LogLevel::Error, "The keychain item to delete was NULL!");
    return false;
  }
  OSStatus status = SecKeychainItemDelete(item);
  if (status == errSecSuccess) {
    log(LogLevel::Progress, "The requested keychain item was deleted.");
    return true;
  }
  log(LogLevel::Error, "Unable to delete the requested keychain item!  Error was : " +
             errorUtils.getErrorStringFromOsStatus(status));
  SecKeychainStatus keychainStatus = 0;
  status = SecKeychainGetStatus(activeKeychain, &keychainStatus);
  if (status == errSecSuccess) {
    log(LogLevel::Error, "Current keychain status : " + std::to_string(keychainStatus));
  } else {
    log(LogLevel::Error, "Unable to determine the current keychain status.   Error was : " +
               errorUtils.getErrorStringFromOsStatus(status));
  }
  return false;
}

bool KeychainHelper::deleteActiveKeychainItem() {
  if (!activeItem) {
    log(LogLevel::Error, "Unable to delete the active keychain item!  The active keychain item is NULL!");
    return false;
  }
  if (!deleteKeychainItem(activeItem.get())) return false;
  log(LogLevel::Progress, "Active keychain item was deleted.  Freeing the reference.");
  freeKeychainItem();
  return true;
}

bool KeychainHelper::deleteItemByDictionary(CFDictionaryRef attributes, bool forgetActiveItem) {
  if (attributes == nullptr) {
    log(LogLevel::Error, "Cannot delete the requested keychain item!  The dictionary is NULL!");
    return false;
  }
  CFTypeRef item = CFDictionaryGetValue(attributes, kSecValueRef);
  if (item == nullptr || (cfCast<SecKeychainItemRef>(item) == nullptr &&
                          cfCast<SecCertificateRef>(item) == nullptr)) {
    log(LogLevel::Error, "Unable to locate the keychain item we wanted to delete!");
    return false;
  }
  bool deleted = deleteKeychainItem(static_cast<SecKeychainItemRef>(const_cast<void*>(item)));
  if (deleted && forgetActiveItem) freeKeychainItem();
  return deleted;
}

SecCertificateRef KeychainHelper::getActiveCertificate() {
  if (!activeItem) {
    log(LogLevel::Error, "There is no active item in the KeychainHelper object!");
    return nullptr;
  }
  if (cfCast<SecCertificateRef>(activeItem.get()) == nullptr) {
    log(LogLevel::Error, "The current active item in the KeychainHelper object isn't a certificate!");
    return nullptr;
  }
  return reinterpret_cast<SecCertificateRef>(activeItem.get());
}

}  // namespace xpc
