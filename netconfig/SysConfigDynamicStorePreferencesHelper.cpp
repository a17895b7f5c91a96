#include "SysConfigDynamicStorePreferencesHelper.h"

#include <memory>
#include <new>

#include "CFCast.h"
#include "Logger.h"
#include "MacStringUtils.h"
#include "SysConfigPreferencesHelper.h"
#include "SystemConfigPrefsBase.h"

namespace xpc {

namespace {

// A service id is a UUID's text at the end of its store key.
constexpr size_t kUuidLength = 36;

}  // namespace

SysConfigDynamicStorePreferencesHelper::SysConfigDynamicStorePreferencesHelper(Logger* logger)
    : logger(logger), errorUtils(logger) {
  store.reset(SCDynamicStoreCreate(kCFAllocatorDefault, CFSTR("XPC"), nullptr, nullptr),
              RefPolicy::Adopt);
  if (!store) {
    log(LogLevel::Error, "Unable to open the dynamic system configuration provider!");
    log(LogLevel::Error, "   Mac Error String : " + errorUtils.getLastCFError());
  }
}

void SysConfigDynamicStorePreferencesHelper::log(LogLevel level, const std::string& text) {
  logLine(logger, level, text);
}

CFDictionaryRef SysConfigDynamicStorePreferencesHelper::getDictionaryFromDynamicStoreByPath(
    std::string key) {
  if (key.empty()) {
    log(LogLevel::Error, "The request passed to get information from the dynamic system configuration store "
                         "was invalid!");
    return nullptr;
  }
  if (!store) {
    log(LogLevel::Error, "Unable to request data from the dynamic configuration provider!  The handle is NULL!");
    return nullptr;
  }
  CFRef<CFStringRef> cfKey(MacStringUtils::stdStringToCfStringRef(key), RefPolicy::Adopt);
  CFRef<CFPropertyListRef> value(cfKey ? SCDynamicStoreCopyValue(store.get(), cfKey.get()) : nullptr,
                                 RefPolicy::Adopt);
  if (!value) {
    log(LogLevel::Error, "Unable to get the requested path from the dynamic system configuration provider!");
    log(LogLevel::Error, "   Mac Error String : " + errorUtils.getLastCFError());
    return nullptr;
  }
  if (cfCast<CFDictionaryRef>(value.get()) == nullptr) {
    // This wording serves every type.
    log(LogLevel::Error, "Value requested from the dynamic system configuration provider was not what was "
                         "expected while trying to get a boolean value!");
    return nullptr;
  }
  return static_cast<CFDictionaryRef>(value.release());
}

CFRef<CFDictionaryRef> SysConfigDynamicStorePreferencesHelper::lookUp(const std::string& key,
                                                                      const std::string& field,
                                                                      CFTypeRef& value) {
  value = nullptr;
  CFRef<CFDictionaryRef> dictionary(getDictionaryFromDynamicStoreByPath(key), RefPolicy::Adopt);
  CFRef<CFStringRef> cfField(MacStringUtils::stdStringToCfStringRef(field), RefPolicy::Adopt);
  if (dictionary && cfField) value = CFDictionaryGetValue(dictionary.get(), cfField.get());
  return dictionary;
}

std::string SysConfigDynamicStorePreferencesHelper::getStringFromDynamicStore(std::string key,
                                                                              std::string field) {
  if (key.empty() || field.empty()) {
    log(LogLevel::Error, "One of the values passed to get a string from the dynamic system configuration store "
                         "was empty!");
    return "";
  }
  CFTypeRef value = nullptr;
  CFRef<CFDictionaryRef> dictionary = lookUp(key, field, value);
  if (!dictionary) return "";
  if (value == nullptr) {
    log(LogLevel::Error, "The desired string was not returned from the dynamic system configuration provider!");
    return "";
  }
  if (cfCast<CFStringRef>(value) == nullptr) {
    log(LogLevel::Error, "Value requested from the dynamic system configuration provider was not a string!");
    return "";
  }
  return MacStringUtils::cfStringRefToStdString(static_cast<CFStringRef>(value));
}

bool SysConfigDynamicStorePreferencesHelper::getBoolFromDynamicStore(std::string key,
                                                                     std::string field,
                                                                     bool& result) {
  if (key.empty() || field.empty()) {
    log(LogLevel::Error, "One of the values passed to get a bool from the dynamic system configuration store "
                         "was empty!");
    return false;
  }
  CFTypeRef value = nullptr;
  CFRef<CFDictionaryRef> dictionary = lookUp(key, field, value);
  if (!dictionary) return false;
  if (cfCast<CFBooleanRef>(value) == nullptr) {
    log(LogLevel::Error, "Value requested from the dynamic system configuration provider was not a boolean!");
    return false;
  }
  result = CFBooleanGetValue(static_cast<CFBooleanRef>(value));
  return true;
}

std::string SysConfigDynamicStorePreferencesHelper::getIpAddressFromDynamicStore(
    std::string key, std::string field) {
  if (key.empty() || field.empty()) {
    log(LogLevel::Error, "One of the values passed to get an IP address from the dynamic system configuration "
                         "store was empty!");
    return "";
  }
  CFTypeRef value = nullptr;
  CFRef<CFDictionaryRef> dictionary = lookUp(key, field, value);
  if (!dictionary) return "";
  if (value == nullptr) {
    log(LogLevel::Error, "The key used to request an IP address resulted in a NULL value.");
    return "";
  }
  if (cfCast<CFArrayRef>(value) == nullptr) {
    log(LogLevel::Error, "Value requested from the dynamic system configuration provider was not an array!");
    return "";
  }
  auto addresses = static_cast<CFArrayRef>(value);
  if (CFArrayGetCount(addresses) == 0) {
    log(LogLevel::Error, "No IP address was found for the interface.");
    return "";
  }
  CFTypeRef first = CFArrayGetValueAtIndex(addresses, 0);
  if (cfCast<CFStringRef>(first) == nullptr) {
    log(LogLevel::Error, "No IP address was found for the interface.");
    return "";
  }
  return MacStringUtils::cfStringRefToStdString(static_cast<CFStringRef>(first));
}

bool SysConfigDynamicStorePreferencesHelper::requestDhcpRenew(std::string interfaceName) {
  SystemConfigPrefsBase preferences(logger, true);
  CFRef<SCNetworkInterfaceRef> interface(preferences.getNetworkInterfaceRef(interfaceName),
                                         RefPolicy::Adopt);
  if (!interface) {
    log(LogLevel::Error, "Unable to get an interface reference while attempting to release/renew a DHCP "
                         "address!");
    return false;
  }
  if (!SCNetworkInterfaceForceConfigurationRefresh(interface.get())) {
    log(LogLevel::Error, "Unable to request a DHCP release/renew on interface '" + interfaceName + "'!");
    log(LogLevel::Error, "    Error : " + errorUtils.getLastCFError());
    return false;
  }
  log(LogLevel::Progress, "The interface '" + interfaceName + "' was issued a DHCP release/renew request!");
  return true;
}

std::string SysConfigDynamicStorePreferencesHelper::getNetworkServiceId(
    std::string userDefinedName) {
  if (userDefinedName.empty()) {
    log(LogLevel::Error, "No user defined name provided while trying to contact the system configuration "
                         "provider!");
    return "";
  }
  CFRef<CFArrayRef> keys(
      store ? SCDynamicStoreCopyKeyList(store.get(), CFSTR("Setup:/Network/Service/[^/]+"))
            : nullptr,
      RefPolicy::Adopt);
  if (!keys) {
    log(LogLevel::Error, "Unable to get UUID information from the dynamic system configuration provider!");
    return "";
  }
  // A failed allocation is a refusal, not the end of the daemon.
  CFIndex count = CFArrayGetCount(keys.get());
  std::unique_ptr<std::string[]> ids(new (std::nothrow) std::string[static_cast<size_t>(count)]);
  if (!ids) {
    log(LogLevel::Error, "Unable to to allocate memory for the UUID list!");
    return "";
  }
  for (CFIndex i = 0; i < count; ++i) {
    auto key = static_cast<CFStringRef>(CFArrayGetValueAtIndex(keys.get(), i));
    std::string text = MacStringUtils::cfStringRefToStdString(key);
    ids[i] = text.size() > kUuidLength ? text.substr(text.size() - kUuidLength) : text;
  }

  SysConfigPreferencesHelper preferences(logger, true);
  for (CFIndex i = 0; i < count; ++i) {
    const std::string& id = ids[i];
    std::string name;
    if (!preferences.getStringFromConfigPath("/NetworkServices/" + id + "/Interface",
                                             "UserDefinedName", name)) {
      log(LogLevel::Error, "Failed to get interface data for interface with a UUID of '" + id +
                           "'.  An interface may be missing from our list.");
      continue;
    }
    log(LogLevel::Progress, "temp = " + name);
    log(LogLevel::Progress, "User defined name = " + userDefinedName);
    if (name == userDefinedName) {
      log(LogLevel::Progress, "Found interface '" + userDefinedName + "' at service ID '" + id + "'.");
      return id;
    }
  }
  return "";
}

}  // namespace xpc
