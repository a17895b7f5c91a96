#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <string>
#include <vector>

#include "ConfigurationProfileData.h"

class Logger;

namespace xpc {

// A configuration profile document (a .mobileconfig, "the secondary
// configuration file" in its log lines) worked on as text: the file is read
// whole, the XML property list is cut out of whatever surrounds it (a signed
// profile wraps it in a binary envelope), checked, edited in place (network
// name, EAP credentials), and its Wi-Fi payloads are read into records.
class MobileConfigHelper {
 public:
  explicit MobileConfigHelper(Logger* logger);

  // Reads the file's bytes, replacing those read before.
  bool loadMobileConfig(std::string path);
  // Makes the document text the bytes from "<?xml version" to the end of the
  // first "</plist>" after it.
  bool stripMobileconfigData();
  // The position of "<?xml version" in the bytes, or StringTools::npos.
  std::size_t findStartingOffset();
  // The position just past the first "</plist>" at or after `start`, or
  // StringTools::npos.
  std::size_t findEndingOffset(std::size_t start);

  // Whether the text has an XML header, a plist opening tag, a PayloadContent
  // key and a closing plist tag, in that order.
  bool validateMobileconfig(std::string text);
  // Takes the text as the document, checks it, parses it and extracts its
  // Wi-Fi payloads.
  bool loadMobileConfigFromString(std::string text);

  // Text-level edits of the document.
  bool applyNetworkName(std::string name);
  bool applyUsernameAndPassword(std::string username, std::string password);

  // The records of the payloads that carry an EAP client configuration.
  bool extractInterestingData(CFTypeRef document);
  bool extractBaseLevelInformation(CFDictionaryRef payload, ConfigurationProfileData& record);
  bool extractEapTypes(CFDictionaryRef eapConfiguration, ConfigurationProfileData& record);

  std::string getMobileconfigText() const { return mobileconfig; }
  const std::vector<ConfigurationProfileData>& getProfiles() const { return profiles; }

 private:
  Logger* logger;
  // The file's bytes, as read.
  std::string data;
  std::string mobileconfig;
  std::vector<ConfigurationProfileData> profiles;
};

}  // namespace xpc
