// 802.1X password entries (generic passwords in the system keychain, where
// the system's 802.1X client looks for them) and the access list that names
// who may read them.
#include <cstdio>

#include "KeychainHelper.h"
#include "Logger.h"
#include "MacStringUtils.h"

namespace xpc {

namespace {

// Besides this helper, the programs that read 802.1X credentials: the
// system's 802.1X client, the management client and the menu bar.
const char* const kTrustedApps[] = {
    "/System/Library/SystemConfiguration/EAPOLController.bundle/Contents/Resources/eapolclient",
    "/usr/libexec/mdmclient",
    "/System/Library/CoreServices/SystemUIServer.app",
};

std::string pointerText(const void* pointer) {
  char text[32];
  std::snprintf(text, sizeof(text), "%p", pointer);
  return text;
}

SecKeychainAttribute attribute(SecKeychainAttrType tag, std::string& value) {
  return {tag, static_cast<UInt32>(value.size()), value.data()};
}

}  // namespace

bool KeychainHelper::create8021XPasswordEntry(std::string account, std::string service,
                                              std::string label, std::string description,
                                              std::string password) {
  if (account.empty() || service.empty() || label.empty() || description.empty() ||
      password.empty()) {
    log(LogLevel::Error, "Unable to create a new entry in the keychain!  One of the parameters was an empty string!");
    return false;
  }
  if (activeKeychain == nullptr) {
    log(LogLevel::Error, "No keychain has been opened!  Cannot create a new 802.1X credential!");
    return false;
  }
  SecKeychainAttribute attributes[] = {
      attribute(kSecAccountItemAttr, account),
      attribute(kSecServiceItemAttr, service),
      attribute(kSecLabelItemAttr, label),
      attribute(kSecDescriptionItemAttr, description),
  };
  SecKeychainAttributeList list = {4, attributes};
  // No initial access: the keychain's default, which trusts only the creating
  // process (this helper).
  CFRef<SecKeychainItemRef> item;
  OSStatus status = SecKeychainItemCreateFromContent(
      kSecGenericPasswordItemClass, &list, static_cast<UInt32>(password.size()), password.data(),
      activeKeychain, nullptr, item.initializeInto());
  if (status != errSecSuccess) {
    log(LogLevel::Error, "Unable to create a new entry in the keychain!  Error was : " +
               errorUtils.getErrorStringFromOsStatus(status));
    return false;
  }
  log(LogLevel::Progress, "New password entry was created!");
  return true;
}

OSStatus KeychainHelper::find8021XRelatedPasswordKeychainItem(std::string service,
                                                              std::string account) {
  if (service.empty()) {
    log(LogLevel::Error, "Unable to attempt to find a keychain item without a valid service name!");
    return errSecParam;
  }
  if (account.empty()) {
    log(LogLevel::Error, "Unable to attempt to find a keychain item without a valid account name!");
    return errSecParam;
  }
  if (activeKeychain == nullptr) {
    log(LogLevel::Error, "No keychain was specified to search!");
    return errSecNoSuchKeychain;
  }
  log(LogLevel::Progress, "Keychain item before search is " + pointerText(activeItem.get()) + ".");
  CFRef<SecKeychainItemRef> found;
  OSStatus status = SecKeychainFindGenericPassword(
      activeKeychain, static_cast<UInt32>(service.size()), service.c_str(),
      static_cast<UInt32>(account.size()), account.c_str(), nullptr, nullptr, found.initializeInto());
  // A failed search leaves the active item as it was.
  if (status == errSecSuccess) activeItem = found;
  log(LogLevel::Progress, "Keychain item after search is " + pointerText(activeItem.get()) + ".");
  if (status != errSecSuccess) {
    log(LogLevel::Error, "Unable to locate the requested keychain item!");
    return status;
  }
  log(LogLevel::Progress, "Found the requested keychain password entry!");
  return errSecSuccess;
}

bool KeychainHelper::getAccessRefFor8021X(std::string descriptor, SecAccessRef* out) {
  if (descriptor.empty()) {
    log(LogLevel::Error, "No keychain descriptor was provided while trying to create our access reference!");
    return false;
  }
  CFRef<CFArrayRef> trustedApps;
  if (!getTrustedAppsList(trustedApps.initializeInto())) {
    log(LogLevel::Error, "Unable to generate a list of the trusted apps for our access reference!");
    return false;
  }
  CFRef<CFStringRef> name(MacStringUtils::stdStringToCfStringRef(descriptor), RefPolicy::Adopt);
  CFRef<SecAccessRef> access;
  OSStatus status = SecAccessCreate(name.get(), trustedApps.get(), access.initializeInto());
  if (status != errSecSuccess) {
    log(LogLevel::Error, "Unable to create an access reference for a keychain item!  Error was : " +
               errorUtils.getErrorStringFromOsStatus(status));
    return false;
  }
  if (!access) {
    log(LogLevel::Error, "The return value was NULL while attempting to create our access reference!");
    return false;
  }
  log(LogLevel::Progress, "The access reference was created for our keychain entry.");
  if (out != nullptr) *out = access.release();
  return true;
}

bool KeychainHelper::getTrustedAppsList(CFArrayRef* out) {
  if (out == nullptr) {
    log(LogLevel::Error, "NULL was passed to getTrustedAppsList()!");
    return false;
  }
  CFRef<CFMutableArrayRef> apps(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks),
                                RefPolicy::Adopt);
  if (!apps) {
    log(LogLevel::Error, "Unable to allocate memory for an array in getTrustedAppsList()!");
    return false;
  }
  if (!addSingleTrustedAppToArray(nullptr, apps.get())) {
    log(LogLevel::Error, "Failed to add our own app to the list of allowed applications!");
    return false;
  }
  for (const char* path : kTrustedApps) {
    log(LogLevel::Progress, std::string("Adding the app '") + path + "' to the allowed list...");
    if (!addSingleTrustedAppToArray(path, apps.get())) {
      log(LogLevel::Error, std::string("Failed to add the app '") + path +
                 "' to the list of apps allowed to access our new keychain entry!");
      return false;
    }
    log(LogLevel::Progress, "... entry was added.");
  }
  *out = apps.release();
  return true;
}

bool KeychainHelper::addSingleTrustedAppToArray(const char* path, CFMutableArrayRef array) {
  if (array == nullptr) {
    log(LogLevel::Error, "An invalid CFArrayRef was passed to addSingleTrustedAppToArray()!");
    return false;
  }
  CFRef<SecTrustedApplicationRef> app;
#pragma clang diagnostic push
  // Deprecated with access lists of the file-based keychain, which is where
  // the system keeps 802.1X credentials.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
  OSStatus status = SecTrustedApplicationCreateFromPath(path, app.initializeInto());
#pragma clang diagnostic pop
  if (status != errSecSuccess) {
    log(LogLevel::Error, std::string("Unable to create a trusted application reference for the application at '") +
               (path != nullptr ? path : "(this program)") +
               "'!  Error was : " + errorUtils.getErrorStringFromOsStatus(status));
    return false;
  }
  CFArrayAppendValue(array, app.get());
  return true;
}

}  // namespace xpc
