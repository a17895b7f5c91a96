#pragma once
#include <initializer_list>
#include <string>

#include "SystemConfigPrefsBase.h"

namespace xpc {

// The HTTP proxy settings of one network service. Every setter re-reads the
// proxies dictionary, removes and adds keys in a copy and writes the copy
// back (lock, set, commit, apply, unlock). Keys of other proxy kinds (HTTPS,
// FTP, SOCKS, exceptions) are never touched.
class ProxySettingHelper : public SystemConfigPrefsBase {
 public:
  ProxySettingHelper(Logger* logger, bool readOnly);

  std::string getProtocolConstant();
  bool getProxySettings(std::string serviceUuid, CFDictionaryRef* out);

  // Removes every key this helper writes, and "HTTPUser".
  bool clearAllProxySettings(CFMutableDictionaryRef dictionary);

  // Manual mode always clears the other modes first.
  bool setManualProxyServer(std::string serviceUuid, std::string server, int port);
  // `resetOthers` only chooses whether the other keys are cleared first.
  bool setAutoDetectedProxyEnabled(std::string serviceUuid, bool resetOthers);
  bool setAutomaticProxyUrl(std::string serviceUuid, std::string url, bool resetOthers);
  // Disabling is removal: no key is set to 0.
  bool disableProxies(std::string serviceUuid);

  bool isProxyProtocolEnabled(std::string serviceUuid, bool& enabled);
  bool setProxyProtocolEnabled(std::string serviceUuid, bool enable);

  bool getManualProxyServer(std::string serviceUuid, std::string& server, int& port, int& enabled);
  bool getAutoDetectedProxy(std::string serviceUuid, int& enabled);
  bool getAutomaticProxyUrl(std::string serviceUuid, int& enabled, std::string& url);

 private:
  // A mutable copy of the service's proxies dictionary (null after logging
  // `readFailure` or `copyFailure`), cleared when `clear` is set.
  CFRef<CFMutableDictionaryRef> editableSettings(const std::string& serviceUuid,
                                                 const char* readFailure, const char* copyFailure,
                                                 bool clear, const char* clearFailure);
  // The proxies dictionary for a reader; logs the shared failure text.
  CFDictionaryRef settingsForReading(const std::string& serviceUuid);
  // The value under `key` when it is a number, read as an int.
  bool readInt(CFDictionaryRef settings, CFStringRef key, int& value);
  // Sets each key to the number 1; false after logging `failure`.
  bool setOnes(CFMutableDictionaryRef settings, std::initializer_list<CFStringRef> keys,
               const char* failure);
};

}  // namespace xpc
