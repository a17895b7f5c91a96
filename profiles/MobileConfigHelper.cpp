#include "MobileConfigHelper.h"

#include <cstdio>
#include <cstring>

#include "CFCast.h"
#include "DictionaryHelper.h"
#include "Logger.h"
#include "PlistManipulator.h"
#include "StringTools.h"
#include "XmlUtils.h"

namespace xpc {

namespace {

constexpr std::size_t npos = StringTools::npos;
const char kXmlHeader[] = "<?xml version";  // 13 bytes
const char kPlistEnd[] = "</plist>";        // 8 bytes
const std::size_t kXmlHeaderLength = sizeof(kXmlHeader) - 1;
const std::size_t kPlistEndLength = sizeof(kPlistEnd) - 1;

std::size_t find(const std::string& text, const char* what, std::size_t start) {
  return StringTools::findNextStringMatch(text, what, start, false);
}

}  // namespace

MobileConfigHelper::MobileConfigHelper(Logger* logger) : logger(logger) {}

bool MobileConfigHelper::loadMobileConfig(std::string path) {
  logLine(logger, LogLevel::Progress, "Loading secondary configuration file from : " + path);
  data.clear();
  FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    logLine(logger, LogLevel::Error, "Unable to open the secondary configuration file!");
    return false;
  }
  char chunk[4096];
  for (std::size_t read; (read = std::fread(chunk, 1, sizeof chunk, file)) > 0;) data.append(chunk, read);
  std::fclose(file);
  logLine(logger, LogLevel::Progress, "Done reading the secondary config file.");
  if (data.empty()) {
    logLine(logger, LogLevel::Error, "There was no secondary configuration data found in the secondary configuration file!");
    return false;
  }
  return true;
}

std::size_t MobileConfigHelper::findStartingOffset() {
  // Positions up to size - 14 only: a header in the last 13 bytes is not looked for.
  if (data.size() <= kXmlHeaderLength) return npos;
  for (std::size_t i = 0; i + kXmlHeaderLength + 1 <= data.size(); ++i) {
    if (std::memcmp(data.data() + i, kXmlHeader, kXmlHeaderLength) == 0) return i;
  }
  return npos;
}

std::size_t MobileConfigHelper::findEndingOffset(std::size_t start) {
  // Positions up to size - 9 only, as for the start.
  if (data.size() <= kPlistEndLength || start >= data.size() - kPlistEndLength) return npos;
  for (std::size_t i = start; i + kPlistEndLength + 1 <= data.size(); ++i) {
    if (std::memcmp(data.data() + i, kPlistEnd, kPlistEndLength) == 0) return i + kPlistEndLength;
  }
  return npos;
}

bool MobileConfigHelper::stripMobileconfigData() {
  if (data.empty()) {
    logLine(logger, LogLevel::Error, "No secondary configuration data was provided to strip of binary data!");
    return false;
  }
  std::size_t start = findStartingOffset();
  if (start == npos) {
    logLine(logger, LogLevel::Error, "Unable to locate the starting of our secondary configuration data!");
    return false;
  }
  std::size_t end = findEndingOffset(start);
  if (end == npos) {
    logLine(logger, LogLevel::Error, "Unable to locate the ending of our secondary configuration data!");
    return false;
  }
  if (end <= start) {
    logLine(logger, LogLevel::Error, "The starting and ending positions for our secondary configuration data are invalid!");
    return false;
  }
  mobileconfig.assign(data.data() + start, end - start);
  return true;
}

bool MobileConfigHelper::validateMobileconfig(std::string text) {
  // Each search starts where the one before it matched.
  const std::pair<const char*, const char*> steps[] = {
      {kXmlHeader, "Mobileconfig data doesn't appear to be valid!  It doesn't start with an XML header!"},
      {"<plist version", "Missing plist opening tag in mobileconfig file!"},
      {"<key>PayloadContent</key>", "Missing payload content key!"},
      {kPlistEnd, "Missing closing plist tag!"},
  };
  std::size_t position = 0;
  for (const auto& [what, missing] : steps) {
    position = find(text, what, position);
    if (position == npos) {
      logLine(logger, LogLevel::Error, missing);
      logLine(logger, LogLevel::Progress, "Mobileconfig data : " + text);
      return false;
    }
  }
  logLine(logger, LogLevel::Progress, "Mobileconfig data looks valid.");
  return true;
}

bool MobileConfigHelper::loadMobileConfigFromString(std::string text) {
  if (text.empty()) {
    logLine(logger, LogLevel::Error, "The string passed in to MobileConfigHelper was empty!");
    return false;
  }
  mobileconfig = text;
  if (!validateMobileconfig(text)) return false;
  PlistManipulator document(logger);
  if (!document.loadPlistFromString(text)) {
    logLine(logger, LogLevel::Error, "Unable to parse the secondary configuration data in to a plist!");
    return false;
  }
  if (!extractInterestingData(document.getPropertyList())) {
    logLine(logger, LogLevel::Error, "Unable to locate the configuration data from our secondary configuration file!");
    return false;
  }
  return true;
}

bool MobileConfigHelper::applyNetworkName(std::string name) {
  if (name.empty()) {
    logLine(logger, LogLevel::Error, "No network name was provided to applyNetworkName()!");
    return false;
  }
  std::size_t key = find(mobileconfig, "<key>PayloadDisplayName</key>", 0);
  if (key == npos) {
    logLine(logger, LogLevel::Error,
            "There didn't appear to be a user defined name configuration setting in the configuration data!");
    return false;
  }
  std::size_t open = find(mobileconfig, "<string>", key);
  if (open == npos) {
    logLine(logger, LogLevel::Error,
            "Unable to locate the opening dictionary tag for the user defined name in the configuration data!");
    return false;
  }
  std::size_t close = find(mobileconfig, "</string>", open);
  if (close == npos) {
    logLine(logger, LogLevel::Error,
            "Unable to locate the closing dictionary tag for the user defined name in the configuration data!");
    return false;
  }
  std::size_t value = open + std::strlen("<string>");
  mobileconfig.replace(value, close - value, XmlUtils::toXmlSafe(name));
  return true;
}

bool MobileConfigHelper::applyUsernameAndPassword(std::string username, std::string password) {
  if (find(mobileconfig, "OneTimeUserPassword", 0) != npos) {
    logLine(logger, LogLevel::Progress, "Configuration appears to use OTP.  Will discard user password value.");
    password.clear();
  }
  std::size_t key = find(mobileconfig, "<key>EAPClientConfiguration</key>", 0);
  if (key == npos) {
    logLine(logger, LogLevel::Error, "There didn't appear to be an EAP client configuration setting in our mobileconfig!");
    return false;
  }
  std::size_t close = find(mobileconfig, "</dict>", key);
  if (close == npos) {
    logLine(logger, LogLevel::Error, "Unable to locate the closing dictionary tag in the EAP client configuration data!");
    return false;
  }
  const struct {
    const char* key;
    const std::string& value;
    const char* missingText;
  } entries[] = {
      {"UserName", username, "No user name is available while trying to update credentials in our profile!"},
      {"UserPassword", password, "No password is available while trying to update credentials in our profile!"},
  };
  for (const auto& entry : entries) {
    if (entry.value.empty()) {
      logLine(logger, LogLevel::Error, entry.missingText);
      continue;
    }
    // Both go just before the dictionary's closing tag, in this order.
    std::string text =
        std::string("<key>") + entry.key + "</key>\n<string>" + XmlUtils::toXmlSafe(entry.value) + "</string>\n";
    mobileconfig.insert(close, text);
    close += text.size();
  }
  return true;
}

bool MobileConfigHelper::extractInterestingData(CFTypeRef document) {
  DictionaryHelper root(logger);
  const void* content = nullptr;
  CFDictionaryRef dictionary = cfCast<CFDictionaryRef>(document);
  CFArrayRef payloads = nullptr;
  if (dictionary != nullptr && root.setActiveDictionary(dictionary) &&
      root.getValue("PayloadContent", &content) == 0) {
    payloads = cfCast<CFArrayRef>(content);
  }
  if (payloads == nullptr) {
    logLine(logger, LogLevel::Error, "Unable to locate the content in the secondary configuration file!");
    return false;
  }
  for (CFIndex i = 0; i < CFArrayGetCount(payloads); ++i) {
    ConfigurationProfileData record;
    record.clear();
    if (!extractBaseLevelInformation(cfCast<CFDictionaryRef>(CFArrayGetValueAtIndex(payloads, i)), record)) {
      logLine(logger, LogLevel::Error,
              "Got an invalid node while processing our secondary configuration file!  Will try to continue!");
      continue;
    }
    if (!record.isEmpty()) profiles.push_back(record);
  }
  return true;
}

bool MobileConfigHelper::extractBaseLevelInformation(CFDictionaryRef payload, ConfigurationProfileData& record) {
  DictionaryHelper helper(logger);
  if (payload == nullptr || !helper.setActiveDictionary(payload)) {
    logLine(logger, LogLevel::Error, "The dictionary provided to extractBaseLevelInformation() was NULL!");
    return false;
  }
  void* eap = nullptr;
  if (helper.getValue("EAPClientConfiguration", &eap) != 0) return true;  // not a network block
  logLine(logger, LogLevel::Progress, "--- Found a network profile block.. Getting data...");

  // Each text the record keeps, how the log shows it, and what an absent one means.
  using Setter = void (ConfigurationProfileData::*)(std::string);
  const struct {
    const char* key;
    const char* shown;
    Setter set;
    const char* missingText;
  } fields[] = {
      {"PayloadUUID", "PayloadUUID : ", &ConfigurationProfileData::setPayloadUuid,
       "Unable to get the payload UUID for a network in the secondary configuration file!  We may not be able to "
       "connect!"},
      {"SSID_STR", "SSID_STR : ", &ConfigurationProfileData::setSsidName, nullptr},
      {"PayloadIdentifier", "PayloadIdentifier : ", &ConfigurationProfileData::setIdentifier,
       "Unable to get the payload identifier for a network in the secondary configuration file!"},
      {"PayloadDisplayName", "PayloadDisplayName : ", &ConfigurationProfileData::setProfileName, nullptr},
      {"EncryptionType", "EncryptionType (nee, 802.11 authentication type) : ",
       &ConfigurationProfileData::set80211AuthenticationType, nullptr},
  };
  for (const auto& field : fields) {
    std::string value;
    if (helper.getValue(field.key, value) == 0) {
      logLine(logger, LogLevel::Detail, std::string("\t") + field.shown + value);
      (record.*field.set)(value);
    } else if (field.missingText != nullptr) {
      logLine(logger, LogLevel::Error, field.missingText);
    }
  }
  extractEapTypes(cfCast<CFDictionaryRef>(eap), record);
  logLine(logger, LogLevel::Progress, "--- Profile block parsing complete...");
  return true;
}

bool MobileConfigHelper::extractEapTypes(CFDictionaryRef eapConfiguration, ConfigurationProfileData& record) {
  if (eapConfiguration == nullptr) {
    logLine(logger, LogLevel::Error, "The dictionary provided to extractEapTypes() was NULL!");
    return false;
  }
  DictionaryHelper helper(logger);
  if (!helper.setActiveDictionary(eapConfiguration)) {
    logLine(logger, LogLevel::Error, "Unable to load the provided dictionary in to our helper object in extractEapTypes()!");
    return false;
  }
  const void* value = nullptr;
  CFArrayRef methods = helper.getValue("AcceptEAPTypes", &value) == 0 ? cfCast<CFArrayRef>(value) : nullptr;
  if (methods == nullptr) {
    logLine(logger, LogLevel::Error, "Unable to find the list of EAP methods to use in our secondary configuration file!");
    return false;
  }
  if (CFArrayGetCount(methods) == 0) {
    logLine(logger, LogLevel::Error, "An empty array of EAP methods was returned from our secondary configuration file!");
    return false;
  }
  for (CFIndex i = 0; i < CFArrayGetCount(methods); ++i) {
    const void* element = CFArrayGetValueAtIndex(methods, i);
    if (element == nullptr) {
      logLine(logger, LogLevel::Error, "The numeric value returned from the EAP method array was NULL!");
      return false;
    }
    CFNumberRef number = cfCast<CFNumberRef>(element);
    int method = 0;
    if (number == nullptr || !CFNumberGetValue(number, kCFNumberIntType, &method)) {
      logLine(logger, LogLevel::Error, "Unable to read the EAP method from our secondary configuration file!");
      return false;
    }
    record.addEapType(method);
    logLine(logger, LogLevel::Progress, "Adding EAP method " + std::to_string(method) + " to our EAP type list.");
  }
  return true;
}

}  // namespace xpc
