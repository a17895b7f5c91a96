#include "Ipv6SettingHelper.h"

#include "CFCast.h"
#include "MacStringUtils.h"

namespace xpc {

namespace {

CFStringRef const kConfigMethod = CFSTR("ConfigMethod");

}  // namespace

Ipv6SettingHelper::Ipv6SettingHelper(Logger* logger, bool readOnly)
    : SystemConfigPrefsBase(logger, readOnly) {}

std::string Ipv6SettingHelper::getProtocolConstant() {
  return MacStringUtils::cfStringRefToStdString(kSCNetworkProtocolTypeIPv6);
}

bool Ipv6SettingHelper::getIsEnabled(std::string serviceUuid, bool& enabled) {
  return acquireProtocolHandle(serviceUuid, getProtocolConstant()) && isProtocolEnabled(enabled);
}

CFDictionaryRef Ipv6SettingHelper::currentSettings(const std::string& serviceUuid) {
  CFDictionaryRef settings = nullptr;
  if (!acquireProtocolHandle(serviceUuid, getProtocolConstant())) return nullptr;
  if (!getProtocolSettings(&settings)) {
    log(LogLevel::Error, "Unable to get IPv6 settings for interface with a UUID of '" + serviceUuid + "'.");
    return nullptr;
  }
  return settings;
}

bool Ipv6SettingHelper::configMethodIs(const std::string& serviceUuid, CFStringRef method,
                                       const char* yesText, const char* noText, bool& matches) {
  CFDictionaryRef settings = currentSettings(serviceUuid);
  if (settings == nullptr) return false;
  CFTypeRef current = CFDictionaryGetValue(settings, kConfigMethod);
  if (current == nullptr) {
    log(LogLevel::Progress, "The IPv6 configuration information couldn't be found.  Returning that it is "
                            "disabled.");
    matches = false;
    return true;
  }
  if (cfCast<CFStringRef>(current) == nullptr) {
    log(LogLevel::Error, "No value returned for the current state of IPv6!");
    return false;
  }
  matches = CFStringCompare(static_cast<CFStringRef>(current), method, 0) == kCFCompareEqualTo;
  log(LogLevel::Progress, matches ? yesText : noText);
  return true;
}

bool Ipv6SettingHelper::getIsAutomatic(std::string serviceUuid, bool& isAutomatic) {
  bool enabled = false;
  if (!getIsEnabled(serviceUuid, enabled)) {
    log(LogLevel::Error, "Unable to determine the current global enabled/disabled state for IPv6!");
    return false;
  }
  if (!enabled) {
    log(LogLevel::Progress, "IPv6 is disabled on this interface.");
    isAutomatic = false;
    return true;
  }
  return configMethodIs(serviceUuid, CFSTR("Automatic"), "IPv6 is set to 'automatic'.",
                        "IPv6 is *NOT* set to 'automatic'.", isAutomatic);
}

bool Ipv6SettingHelper::getIsLinkLocal(std::string serviceUuid, bool& isLinkLocal) {
  return configMethodIs(serviceUuid, CFSTR("LinkLocal"), "IPv6 is set to 'link local'.",
                        "IPv6 is *NOT* set to 'link local'.", isLinkLocal);
}

bool Ipv6SettingHelper::getIsManual(std::string serviceUuid, bool& isManual) {
  return configMethodIs(serviceUuid, CFSTR("Manual"), "IPv6 is set to 'manual'.",
                        "IPv6 is *NOT* set to 'manual'.", isManual);
}

void Ipv6SettingHelper::clearOtherSettings(CFMutableDictionaryRef dictionary) {
  for (CFStringRef key : {CFSTR("Router"), CFSTR("PrefixLength"), CFSTR("Addresses")}) {
    CFDictionaryRemoveValue(dictionary, key);
  }
}

bool Ipv6SettingHelper::setAutomatic(std::string serviceUuid) {
  CFDictionaryRef current = currentSettings(serviceUuid);
  if (current == nullptr) return false;
  CFRef<CFMutableDictionaryRef> settings(
      CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, current), RefPolicy::Adopt);
  if (!settings) {
    // The proxy wording is shared with the proxy helper on purpose.
    log(LogLevel::Error, "Unable to create a mutable dictionary while changing proxy settings!");
    return false;
  }
  debugLogDictionary("Dictionary before scrubbing while setting to 'automatic' : ", settings.get());
  clearOtherSettings(settings.get());
  debugLogDictionary("Dictionary before adding 'automatic' : ", settings.get());
  CFDictionarySetValue(settings.get(), kConfigMethod, CFSTR("Automatic"));
  return writeNewConfiguration(settings.get());
}

bool Ipv6SettingHelper::setLinkLocal(std::string /*serviceUuid*/) {
  log(LogLevel::Error, "Attempted to set the IPv6 setting to 'link local', but this isn't currently supported!");
  return false;
}

bool Ipv6SettingHelper::setManual(std::string /*serviceUuid*/) {
  log(LogLevel::Error, "Attempted to set the IPv6 settings to 'manual', but this is not currently implemented!");
  return false;
}

}  // namespace xpc
