#include "SysConfigPreferencesHelper.h"

#include <arpa/inet.h>

#include "CFCast.h"
#include "Logger.h"
#include "MacStringUtils.h"
#include "PlistManipulator.h"

namespace xpc {

SysConfigPreferencesHelper::SysConfigPreferencesHelper(Logger* logger, bool readOnly)
    : SystemConfigPrefsBase(logger, readOnly) {}

CFDictionaryRef SysConfigPreferencesHelper::getPrefsFromPath(std::string path) {
  if (path.empty()) {
    log(LogLevel::Error, "The value passed to get information from the configuration provider was empty!");
    return nullptr;
  }
  log(LogLevel::Progress, "Getting dictionary at path : " + path);
  CFRef<SCPreferencesRef> reader(SCPreferencesCreate(kCFAllocatorDefault, CFSTR("XPC"), nullptr),
                                 RefPolicy::Adopt);
  if (!reader) {
    log(LogLevel::Error, "Unable to open the configuration information provider!");
    log(LogLevel::Error, "   Mac Error String : " + errorUtils.getLastCFError());
    return nullptr;
  }
  CFRef<CFStringRef> cfPath(MacStringUtils::stdStringToCfStringRef(path), RefPolicy::Adopt);
  CFDictionaryRef value =
      cfPath ? SCPreferencesPathGetValue(reader.get(), cfPath.get()) : nullptr;
  if (cfCast<CFDictionaryRef>(value) == nullptr) {
    log(LogLevel::Error, "Didn't get the type of information back that we expected from the configuration "
                         "information provider!");
    return nullptr;
  }
  // Outlives the session it came from.
  return static_cast<CFDictionaryRef>(CFRetain(value));
}

bool SysConfigPreferencesHelper::getStringFromConfigPath(std::string path, std::string key,
                                                         std::string& value) {
  if (path.empty() || key.empty()) {
    log(LogLevel::Error, "One of the values passed to get a string from the system configuration store was "
                         "empty!");
    return false;
  }
  syncPreferences();
  CFRef<CFDictionaryRef> dictionary(getPrefsFromPath(path), RefPolicy::Adopt);
  if (!dictionary) {
    log(LogLevel::Error, "Unable to get the requested value from the configuration provider!");
    return false;
  }
  CFRef<CFStringRef> cfKey(MacStringUtils::stdStringToCfStringRef(key), RefPolicy::Adopt);
  CFTypeRef found = cfKey ? CFDictionaryGetValue(dictionary.get(), cfKey.get()) : nullptr;
  if (found == nullptr) {
    log(LogLevel::Error, "The requested object was not found!");
    return false;
  }
  if (cfCast<CFStringRef>(found) == nullptr) {
    log(LogLevel::Error, "Configuration query returned a value that was not a string!");
    return false;
  }
  value = MacStringUtils::cfStringRefToStdString(static_cast<CFStringRef>(found));
  return true;
}

bool SysConfigPreferencesHelper::getIntFromConfigPath(std::string path, std::string key,
                                                      int& value, bool expected) {
  if (path.empty() || key.empty()) {
    // The string wording serves the integer reader too.
    log(LogLevel::Error, "One of the values passed to get a string from the system configuration store was "
                         "empty!");
    return false;
  }
  const LogLevel missingLevel = expected ? LogLevel::Error : LogLevel::Progress;
  syncPreferences();
  CFRef<CFDictionaryRef> dictionary(getPrefsFromPath(path), RefPolicy::Adopt);
  if (!dictionary) {
    log(missingLevel, "Unable to get the requested value from the configuration provider!");
    return false;
  }
  if (CFDictionaryGetCount(dictionary.get()) == 0) {
    log(missingLevel, "Unable to get the requested value from the configuration provider.");
    return false;
  }
  CFRef<CFStringRef> cfKey(MacStringUtils::stdStringToCfStringRef(key), RefPolicy::Adopt);
  CFTypeRef found = cfKey ? CFDictionaryGetValue(dictionary.get(), cfKey.get()) : nullptr;
  if (found == nullptr) {
    log(missingLevel, "Desired value was not found!");
    return false;
  }
  if (cfCast<CFNumberRef>(found) == nullptr ||
      !CFNumberGetValue(static_cast<CFNumberRef>(found), kCFNumberIntType, &value)) {
    log(LogLevel::Error, "Value returned from configuration query was not an integer value!");
    return false;
  }
  return true;
}

bool SysConfigPreferencesHelper::setIntToConfigPath(std::string path, std::string key, int value) {
  if (path.empty() || key.empty()) {
    log(LogLevel::Error, "The values passed to get information from the configuration provider was empty!");
    return false;
  }
  log(LogLevel::Progress, "Path : " + path);
  log(LogLevel::Progress, "Key : " + key);

  int current = 0;
  bool exists = getIntFromConfigPath(path, key, current, false);
  if (exists) {
    log(LogLevel::Progress, "Current value is : " + std::to_string(current));
  } else {
    log(LogLevel::Progress, "Setting doesn't currently exist.  Will use the 'add' call instead of the 'set' call.");
  }

  PlistManipulator replacement(logger);
  if (!replacement.createNewPlist() || !replacement.setValue(key, value)) return false;
  CFRef<CFStringRef> cfPath(MacStringUtils::stdStringToCfStringRef(path), RefPolicy::Adopt);
  if (!cfPath) {
    log(LogLevel::Error, "Unable to convert the path to a CFStringRef while updating an int!");
    return false;
  }

  if (!SCPreferencesLock(preferences.get(), true)) {
    log(LogLevel::Error, "Failed to lock the settings data while updating an int!");
    return false;
  }
  // The path is the preferences key of these calls, so the one-key
  // dictionary replaces whatever was stored under it.
  bool written = false;
  if (!exists) {
    log(LogLevel::Progress, "Adding new value...");
    written = SCPreferencesAddValue(preferences.get(), cfPath.get(), replacement.getDictionary());
    if (!written && SCError() == kSCStatusKeyExists) {
      log(LogLevel::Progress, "Error indicated the setting already exists.  Trying the 'set' call instead.");
      written = SCPreferencesSetValue(preferences.get(), cfPath.get(), replacement.getDictionary());
    } else if (!written) {
      log(LogLevel::Error, "Unable to add a new configuration setting to our configuration!");
    }
  } else {
    log(LogLevel::Progress, "Setting new value...");
    written = SCPreferencesSetValue(preferences.get(), cfPath.get(), replacement.getDictionary());
    if (!written) log(LogLevel::Error, "Unable to set the integer value for our configuration setting!");
  }
  // The write's own error, before unlocking replaces it.
  CFRef<CFErrorRef> writeError(written ? nullptr : SCCopyLastError(), RefPolicy::Adopt);
  if (!SCPreferencesUnlock(preferences.get())) log(LogLevel::Error, "Failed to unlock the settings database!");

  if (!written) {
    log(LogLevel::Error, "Unable to write int value to our configuration!  Error : " +
               errorUtils.getCFErrorString(writeError.get()));
    return false;
  }
  log(LogLevel::Progress, "Wrote the value..  Committing it.");
  return commitChanges();
}

bool SysConfigPreferencesHelper::deleteKeyAtConfigPath(std::string path, std::string key) {
  if (path.empty() || key.empty()) {
    log(LogLevel::Error, "The values passed to get information from the configuration provider was empty while "
                         "trying to delete a setting!");
    return false;
  }
  std::string fullKey = path + "/" + key;
  log(LogLevel::Progress, "Full path to key to be deleted : " + fullKey);
  CFRef<CFStringRef> cfKey(MacStringUtils::stdStringToCfStringRef(fullKey), RefPolicy::Adopt);
  if (!cfKey || !SCPreferencesRemoveValue(preferences.get(), cfKey.get())) {
    log(LogLevel::Error, "Unable to remove a configuration setting!  Error : " + errorUtils.getLastCFError());
    return false;
  }
  return true;
}

std::string SysConfigPreferencesHelper::convertNetworkAddressToString(int address) {
  in_addr inAddress{};
  inAddress.s_addr = static_cast<in_addr_t>(address);
  return inet_ntoa(inAddress);
}

}  // namespace xpc

