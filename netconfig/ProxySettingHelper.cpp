#include "ProxySettingHelper.h"

#include "CFCast.h"
#include "MacStringUtils.h"

namespace xpc {

namespace {

CFStringRef const kHttpProxy = CFSTR("HTTPProxy");
CFStringRef const kHttpPort = CFSTR("HTTPPort");
CFStringRef const kHttpEnable = CFSTR("HTTPEnable");
CFStringRef const kHttpEnabled = CFSTR("HTTPEnabled");
CFStringRef const kAutoDiscoveryEnable = CFSTR("ProxyAutoDiscoveryEnable");
CFStringRef const kAutoConfigEnable = CFSTR("ProxyAutoConfigEnable");
CFStringRef const kAutoConfigUrl = CFSTR("ProxyAutoConfigURLString");
CFStringRef const kHttpUser = CFSTR("HTTPUser");

CFNumberRef createInt(int value) {
  return CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &value);
}

}  // namespace

ProxySettingHelper::ProxySettingHelper(Logger* logger, bool readOnly)
    : SystemConfigPrefsBase(logger, readOnly) {}

std::string ProxySettingHelper::getProtocolConstant() {
  return MacStringUtils::cfStringRefToStdString(kSCNetworkProtocolTypeProxies);
}

bool ProxySettingHelper::getProxySettings(std::string serviceUuid, CFDictionaryRef* out) {
  if (serviceUuid.empty()) {
    log(LogLevel::Error, "The interface UUID was empty while trying to get a handle to the proxy settings!");
    return false;
  }
  if (out == nullptr) {
    log(LogLevel::Error, "The resulting dictionary pointer was NULL while trying to get a handle to the proxy "
                         "settings!");
    return false;
  }
  return acquireProtocolHandle(serviceUuid, getProtocolConstant()) && getProtocolSettings(out);
}

bool ProxySettingHelper::clearAllProxySettings(CFMutableDictionaryRef dictionary) {
  if (dictionary == nullptr) {
    log(LogLevel::Error, "The dictionary data provided was NULL while trying to clear all proxy settings!");
    return false;
  }
  for (CFStringRef key : {kHttpEnabled, kHttpPort, kHttpProxy, kHttpEnable, kAutoConfigEnable,
                          kAutoConfigUrl, kAutoDiscoveryEnable, kHttpUser}) {
    CFDictionaryRemoveValue(dictionary, key);
  }
  return true;
}

CFRef<CFMutableDictionaryRef> ProxySettingHelper::editableSettings(const std::string& serviceUuid,
                                                                   const char* readFailure,
                                                                   const char* copyFailure,
                                                                   bool clear,
                                                                   const char* clearFailure) {
  CFDictionaryRef current = nullptr;
  if (!getProxySettings(serviceUuid, &current)) {
    log(LogLevel::Error, readFailure);
    return {};
  }
  CFRef<CFMutableDictionaryRef> copy(
      CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, current), RefPolicy::Adopt);
  if (!copy) {
    log(LogLevel::Error, copyFailure);
    return {};
  }
  if (clear && !clearAllProxySettings(copy.get())) {
    log(LogLevel::Error, clearFailure);
    return {};
  }
  return copy;
}

bool ProxySettingHelper::setOnes(CFMutableDictionaryRef settings,
                                 std::initializer_list<CFStringRef> keys, const char* failure) {
  const int one = 1;
  CFRef<CFNumberRef> number(createInt(one), RefPolicy::Adopt);
  if (!number) {
    log(LogLevel::Error, failure);
    return false;
  }
  for (CFStringRef key : keys) CFDictionarySetValue(settings, key, number.get());
  return true;
}

bool ProxySettingHelper::setManualProxyServer(std::string serviceUuid, std::string server,
                                              int port) {
  if (serviceUuid.empty()) {
    log(LogLevel::Error, "The UUID is empty while trying to set the manual proxy server data!");
    return false;
  }
  if (server.empty()) {
    log(LogLevel::Error, "The new address of the manual proxy server is empty!");
    return false;
  }
  CFRef<CFMutableDictionaryRef> settings = editableSettings(
      serviceUuid, "Unable to get current proxy settings while trying to set the proxy settings to manual!",
      "Unable to create a mutable dictionary while changing to a manual proxy server!", true,
      "Unable to clean out old proxy settings while trying to set a manual proxy server!");
  if (!settings) return false;

  CFRef<CFStringRef> address(MacStringUtils::stdStringToCfStringRef(server), RefPolicy::Adopt);
  if (!address) {
    log(LogLevel::Error, "Unable to convert a standard string to a CFStringRef!");
    return false;
  }
  CFRef<CFNumberRef> portNumber(createInt(port), RefPolicy::Adopt);
  if (!portNumber) {
    log(LogLevel::Error, "Unable to convert the proxy port number to the format required by the OS!");
    return false;
  }
  CFDictionarySetValue(settings.get(), kHttpProxy, address.get());
  CFDictionarySetValue(settings.get(), kHttpPort, portNumber.get());
  if (!setOnes(settings.get(), {kHttpEnable},
               "Unable to convert the integer 1 to the proper format required by the OS!")) {
    return false;
  }
  return writeNewConfiguration(settings.get());
}

bool ProxySettingHelper::setAutoDetectedProxyEnabled(std::string serviceUuid, bool resetOthers) {
  if (serviceUuid.empty()) {
    log(LogLevel::Error, "The UUID of the interface to use was empty while attempting to set the auto-detected "
                         "proxy settings!");
    return false;
  }
  CFRef<CFMutableDictionaryRef> settings = editableSettings(
      serviceUuid, "Failed to set the proxy to auto detected!",
      "Unable to create a mutable dictionary while changing proxy settings!", resetOthers,
      "Unable to clean out old proxy settings while trying to change proxy server settings!");
  if (!settings) return false;
  if (!setOnes(settings.get(), {kAutoDiscoveryEnable, kHttpEnabled},
               "Unable to convert a 1 to the proper format for the OS while changing proxy "
               "settings.")) {
    return false;
  }
  return writeNewConfiguration(settings.get());
}

bool ProxySettingHelper::setAutomaticProxyUrl(std::string serviceUuid, std::string url,
                                              bool resetOthers) {
  if (serviceUuid.empty()) {
    log(LogLevel::Error, "The interface UUID was empty while trying to set the automatic proxy URL!");
    return false;
  }
  if (url.empty()) {
    log(LogLevel::Error, "The URL was empty while trying to set the automatic proxy URL!");
    return false;
  }
  CFRef<CFMutableDictionaryRef> settings = editableSettings(
      serviceUuid, "Failed to change proxy settings!",
      "Unable to create a mutable dictionary while changing proxy server settings!", resetOthers,
      "Unable to clean out old proxy settings while trying to change proxy server settings!");
  if (!settings) return false;
  if (!setOnes(settings.get(), {kAutoConfigEnable, kHttpEnabled},
               "Unable to convert a 1 to the proper format for the OS while changing proxy server "
               "settings.")) {
    return false;
  }
  CFRef<CFStringRef> urlText(MacStringUtils::stdStringToCfStringRef(url), RefPolicy::Adopt);
  if (!urlText) {
    log(LogLevel::Error, "Unable to convert the URL to the proper format for the OS while setting the proxy to "
                         "automatic URL.");
    return false;
  }
  CFDictionarySetValue(settings.get(), kAutoConfigUrl, urlText.get());
  return writeNewConfiguration(settings.get());
}

bool ProxySettingHelper::disableProxies(std::string serviceUuid) {
  if (serviceUuid.empty()) {
    log(LogLevel::Error, "The interface UUID is empty while trying to disable proxy settings!");
    return false;
  }
  CFRef<CFMutableDictionaryRef> settings = editableSettings(
      serviceUuid, "Failed to disable proxies!",
      "Unable to create a mutable dictionary while removing proxy server settings!", true,
      "Unable to clean out old proxy settings while trying to remove proxy server settings!");
  return settings && writeNewConfiguration(settings.get());
}

bool ProxySettingHelper::isProxyProtocolEnabled(std::string serviceUuid, bool& enabled) {
  if (serviceUuid.empty()) {
    log(LogLevel::Error, "The interface UUID was empty while trying to determine if a proxy protocol was "
                         "enabled!");
    return false;
  }
  return acquireProtocolHandle(serviceUuid, getProtocolConstant()) && isProtocolEnabled(enabled);
}

bool ProxySettingHelper::setProxyProtocolEnabled(std::string serviceUuid, bool enable) {
  if (serviceUuid.empty()) {
    log(LogLevel::Error, "The interface UUID is empty while trying to enable a proxy protocol!");
    return false;
  }
  return acquireProtocolHandle(serviceUuid, getProtocolConstant()) && setProtocolEnabled(enable);
}

CFDictionaryRef ProxySettingHelper::settingsForReading(const std::string& serviceUuid) {
  CFDictionaryRef settings = nullptr;
  if (!getProxySettings(serviceUuid, &settings)) {
    log(LogLevel::Error, "Unable to get proxy settings for interface with a UUID of '" + serviceUuid + "'.");
    return nullptr;
  }
  return settings;
}

bool ProxySettingHelper::readInt(CFDictionaryRef settings, CFStringRef key, int& value) {
  CFTypeRef number = CFDictionaryGetValue(settings, key);
  return cfCast<CFNumberRef>(number) != nullptr &&
         CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberIntType, &value);
}

bool ProxySettingHelper::getManualProxyServer(std::string serviceUuid, std::string& server,
                                              int& port, int& enabled) {
  CFDictionaryRef settings = settingsForReading(serviceUuid);
  if (settings == nullptr) return false;
  if (!CFDictionaryContainsKey(settings, kHttpEnable)) {
    enabled = 0;
    log(LogLevel::Progress, "The HTTPEnable setting wasn't found in our proxy configuration settings!  Returning "
                            "that manual settings are disabled!");
    return true;
  }
  if (!readInt(settings, kHttpEnable, enabled)) {
    log(LogLevel::Error, "Unable to convert a CFNumberRef to an int while getting manual proxy settings! (1)");
    return false;
  }
  CFTypeRef address = CFDictionaryGetValue(settings, kHttpProxy);
  if (cfCast<CFStringRef>(address) == nullptr) {
    log(LogLevel::Error, "The HTTPProxy value wasn't found in our proxy configuration settings!");
    return false;
  }
  server = MacStringUtils::cfStringRefToStdString(static_cast<CFStringRef>(address));
  if (!CFDictionaryContainsKey(settings, kHttpPort)) {
    log(LogLevel::Error, "The HTTPPort wasn't found in our proxy configuration settings!");
    return false;
  }
  if (!readInt(settings, kHttpPort, port)) {
    log(LogLevel::Error, "Unable to convert a CFNumberRef to an int while getting manual proxy settings! (2)");
    return false;
  }
  return true;
}

bool ProxySettingHelper::getAutoDetectedProxy(std::string serviceUuid, int& enabled) {
  CFDictionaryRef settings = settingsForReading(serviceUuid);
  if (settings == nullptr) return false;
  enabled = 0;
  if (!CFDictionaryContainsKey(settings, kHttpEnabled)) {
    log(LogLevel::Progress, "The HTTPEnabled setting wasn't found in our proxy configuration settings!  Returning "
                            "that 'auto detected' proxy is disabled!");
  } else if (!readInt(settings, kAutoDiscoveryEnable, enabled)) {
    log(LogLevel::Progress, "The auto-detected proxy setting wasn't found in the configuration.  Returning that it "
                            "is disabled.");
  }
  return true;
}

bool ProxySettingHelper::getAutomaticProxyUrl(std::string serviceUuid, int& enabled,
                                              std::string& url) {
  CFDictionaryRef settings = settingsForReading(serviceUuid);
  if (settings == nullptr) return false;
  enabled = 0;
  if (!CFDictionaryContainsKey(settings, kHttpEnabled)) {
    log(LogLevel::Progress, "The HTTPEnabled setting wasn't found in our proxy configuration settings!  Returning "
                            "that 'auto config by URL' proxy is disabled!");
    return true;
  }
  if (!readInt(settings, kAutoConfigEnable, enabled)) {
    log(LogLevel::Progress, "The auto-config by URL proxy setting wasn't found in the configuration.  Returning "
                            "that it is disabled.");
    return true;
  }
  CFTypeRef text = CFDictionaryGetValue(settings, kAutoConfigUrl);
  if (cfCast<CFStringRef>(text) == nullptr) {
    log(LogLevel::Error, "The ProxyAutoConfigURLString value wasn't found in our proxy configuration settings!");
    return false;
  }
  url = MacStringUtils::cfStringRefToStdString(static_cast<CFStringRef>(text));
  return true;
}

}  // namespace xpc
