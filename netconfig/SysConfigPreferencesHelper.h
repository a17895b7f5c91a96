#pragma once
#include <string>

#include "SystemConfigPrefsBase.h"

namespace xpc {

// Single values of the system network preferences, addressed by a
// preferences path and a key, without going through a network service.
class SysConfigPreferencesHelper : public SystemConfigPrefsBase {
 public:
  SysConfigPreferencesHelper(Logger* logger, bool readOnly);

  // The dictionary at a path, retained (the caller releases it), or null.
  CFDictionaryRef getPrefsFromPath(std::string path);
  bool getStringFromConfigPath(std::string path, std::string key, std::string& value);
  // `expected`: whether a missing value is an error (level 4) rather than an
  // outcome the caller handles (level 5).
  bool getIntFromConfigPath(std::string path, std::string key, int& value, bool expected);
  // Stores a one-key dictionary under the path, replacing whatever was there.
  bool setIntToConfigPath(std::string path, std::string key, int value);
  // Removes path + "/" + key; neither locks nor commits.
  bool deleteKeyAtConfigPath(std::string path, std::string key);

  std::string convertNetworkAddressToString(int address);
};

}  // namespace xpc
