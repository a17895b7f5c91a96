#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <SystemConfiguration/SystemConfiguration.h>

#include <string>

#include "LogSink.h"
#include "CFRef.h"
#include "ErrorUtils.h"

class Logger;

namespace xpc {

// A session on the dynamic store (the live network state): typed reads, the
// service id of a service's user-visible name, and DHCP release/renew.
class SysConfigDynamicStorePreferencesHelper {
 public:
  explicit SysConfigDynamicStorePreferencesHelper(Logger* logger);
  SysConfigDynamicStorePreferencesHelper(const SysConfigDynamicStorePreferencesHelper&) = delete;
  SysConfigDynamicStorePreferencesHelper& operator=(const SysConfigDynamicStorePreferencesHelper&) =
      delete;

  // The dictionary under a store key, copied (the caller releases it), or null.
  CFDictionaryRef getDictionaryFromDynamicStoreByPath(std::string key);
  std::string getStringFromDynamicStore(std::string key, std::string field);
  bool getBoolFromDynamicStore(std::string key, std::string field, bool& value);
  // The first address of the array under `field`, or "".
  std::string getIpAddressFromDynamicStore(std::string key, std::string field);

  // For an interface of the current set's services only.
  bool requestDhcpRenew(std::string interfaceName);
  // The id of the first service (in store key order) with that name, or "".
  std::string getNetworkServiceId(std::string userDefinedName);

 private:
  // The dictionary under `key` (or null after logging), and in `value` its
  // entry under `field` (null when absent).
  CFRef<CFDictionaryRef> lookUp(const std::string& key, const std::string& field,
                                CFTypeRef& value);
  void log(LogLevel level, const std::string& text);

  Logger* logger;
  ErrorUtils errorUtils;
  CFRef<SCDynamicStoreRef> store;
};

}  // namespace xpc
