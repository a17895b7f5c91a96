#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <vector>

#include "ConfigurationProfileData.h"

class Logger;

// The configuration profiles installed on the machine, as the system's
// profiles tool dumps them (owners, "_computerlevel" for the machine, to
// arrays of profiles), and the removal of those that configure a network for
// an owner. Only profiles that name an SSID are kept.
class ConfigurationProfileManager {
 public:
  explicit ConfigurationProfileManager(Logger* logger);

  // Reads the dump at `path`; one unreadable profile fails the whole load.
  bool loadProfiles(std::string path);
  bool processSingleProfile(std::string username, CFDictionaryRef profile);
  // The SSID of the first payload that names one; true with an empty SSID
  // when none does.
  bool findSsidInProfileItems(CFArrayRef items, std::string& ssid);
  // Removes every loaded profile of exactly this owner and SSID with the
  // profiles tool; true also when none matched.
  bool deleteProfilesForSsidAndUsername(std::string ssid, std::string username);

  // The profiles loaded, in dump order.
  const std::vector<ConfigurationProfileData>& getProfiles() const { return profiles; }

 private:
  std::vector<ConfigurationProfileData> profiles;
  Logger* logger;
};
