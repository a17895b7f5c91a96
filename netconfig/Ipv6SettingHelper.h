#pragma once
#include <string>

#include "SystemConfigPrefsBase.h"

namespace xpc {

// The IPv6 settings of one network service. Only the switch to automatic
// configuration is a change; it never touches whether IPv6 is enabled.
class Ipv6SettingHelper : public SystemConfigPrefsBase {
 public:
  Ipv6SettingHelper(Logger* logger, bool readOnly);

  std::string getProtocolConstant();

  bool getIsEnabled(std::string serviceUuid, bool& enabled);
  // A service with IPv6 disabled is reported as not automatic.
  bool getIsAutomatic(std::string serviceUuid, bool& isAutomatic);
  bool getIsLinkLocal(std::string serviceUuid, bool& isLinkLocal);
  bool getIsManual(std::string serviceUuid, bool& isManual);

  // Drops the manual addresses, prefix lengths and router on the way.
  bool setAutomatic(std::string serviceUuid);
  // Not supported: each logs and fails.
  bool setLinkLocal(std::string serviceUuid);
  bool setManual(std::string serviceUuid);

  void clearOtherSettings(CFMutableDictionaryRef dictionary);

 private:
  // The bound service's IPv6 settings, or null after logging.
  CFDictionaryRef currentSettings(const std::string& serviceUuid);
  // Whether "ConfigMethod" is `method`; a missing method counts as no.
  bool configMethodIs(const std::string& serviceUuid, CFStringRef method, const char* yesText,
                      const char* noText, bool& matches);
};

}  // namespace xpc
