#include "ConfigurationProfileManager.h"

#include "CFCast.h"
#include "DictionaryHelper.h"
#include "ExecuteProgram.h"
#include "Logger.h"
#include "PlistManipulator.h"
#include "ShellQuote.h"

namespace {

const char kComputerLevel[] = "_computerlevel";

// Makes the value the helper's dictionary. A value of another type is
// refused like one the helper cannot take.
bool useDictionary(xpc::DictionaryHelper& helper, const void* value) {
  CFDictionaryRef dictionary = xpc::cfCast<CFDictionaryRef>(value);
  return dictionary != nullptr && helper.setActiveDictionary(dictionary);
}

// Clears what the helper holds (a fresh one holds nothing yet) and gives it
// the value as its dictionary; the step that fails logs its text.
bool switchDictionary(xpc::DictionaryHelper& helper, const void* value, Logger* logger, const char* clearFailure,
                      const char* setFailure) {
  if (helper.haveActiveDictionary() && !helper.clearActiveDictionary()) {
    xpc::logLine(logger, LogLevel::Error, clearFailure);
    return false;
  }
  if (!useDictionary(helper, value)) {
    xpc::logLine(logger, LogLevel::Error, setFailure);
    return false;
  }
  return true;
}

}  // namespace

ConfigurationProfileManager::ConfigurationProfileManager(Logger* logger) : logger(logger) {}

bool ConfigurationProfileManager::loadProfiles(std::string path) {
  if (path.empty()) {
    xpc::logLine(logger, LogLevel::Error, "Unable to load the configuration profile dump!  The path provided is empty!");
    return false;
  }
  xpc::PlistManipulator dump(logger);
  if (!dump.loadPlistFile(path)) {
    xpc::logLine(logger, LogLevel::Error, "Failed to load the configuration profile dump data!");
    return false;
  }
  std::vector<std::string> owners;
  // A dump whose root is not a dictionary has no owners to list.
  if (xpc::cfCast<CFDictionaryRef>(dump.getPropertyList()) == nullptr || !dump.getAllKeys(owners)) {
    xpc::logLine(logger, LogLevel::Error, "Unable to enumerate the key names for this dictionary!");
    return false;
  }
  profiles.clear();
  for (const std::string& owner : owners) {
    const void* value = nullptr;
    int result = dump.getValue(owner, &value);
    if (result == 1) {
      xpc::logLine(logger, LogLevel::Warning, "No dictionary data was found for the key '" + owner + "'!");
      continue;
    }
    if (result == -1) {
      xpc::logLine(logger, LogLevel::Error, "Error getting the dictionary for the key '" + owner + "'!");
      return false;
    }
    CFArrayRef list = xpc::cfCast<CFArrayRef>(value);
    if (result != 0 || list == nullptr) continue;
    for (CFIndex i = 0; i < CFArrayGetCount(list); ++i) {
      auto profile = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(list, i));
      if (!processSingleProfile(owner, profile)) {
        // Whatever the owner, the text names the machine's array.
        xpc::logLine(logger, LogLevel::Error,
                     "Unable to get profile information at index " + std::to_string(i) + " in the " +
                         kComputerLevel + " array!");
        return false;
      }
    }
  }
  return true;
}

bool ConfigurationProfileManager::processSingleProfile(std::string username, CFDictionaryRef profile) {
  if (profile == nullptr) {
    xpc::logLine(logger, LogLevel::Error, "No dictionary was provided to processSingleProfile()!");
    return false;
  }
  xpc::DictionaryHelper helper(logger);
  if (!useDictionary(helper, profile)) {
    xpc::logLine(logger, LogLevel::Error, "Unable to assign the current dictionary blob to our dictionary helper!");
    return false;
  }
  ConfigurationProfileData record;
  record.clear();
  record.setUsername(username);

  // The two texts every profile must have, not empty.
  auto readRequired = [&](const char* key, const char* unreadableText, const char* emptyText, std::string& value) {
    if (helper.getValue(key, value) != 0) {
      xpc::logLine(logger, LogLevel::Error, unreadableText);
      return false;
    }
    if (value.empty()) xpc::logLine(logger, LogLevel::Error, emptyText);
    return !value.empty();
  };
  std::string name, identifier;
  if (!readRequired("ProfileDisplayName", "Unable to get the profile display name from our dictionary!",
                    "The profile display name for a profile was empty!?", name) ||
      !readRequired("ProfileIdentifier", "Unable to get the profile identifier from our dictionary!",
                    "The profile identifier for a profile was empty!?", identifier)) {
    return false;
  }
  record.setProfileName(name);
  record.setIdentifier(identifier);

  const void* items = nullptr;
  if (helper.getValue("ProfileItems", &items) != 0 || xpc::cfCast<CFArrayRef>(items) == nullptr) {
    xpc::logLine(logger, LogLevel::Error, "Unable to locate the profile items from our dictionary!");
    return false;
  }
  std::string ssid;
  if (!findSsidInProfileItems(static_cast<CFArrayRef>(items), ssid)) return false;
  if (!ssid.empty()) {
    xpc::logLine(logger, LogLevel::Progress, "Found the SSID '" + ssid + "' for the profile '" + name + "'.");
    record.setSsidName(ssid);
    profiles.push_back(record);
  }
  return true;
}

bool ConfigurationProfileManager::findSsidInProfileItems(CFArrayRef items, std::string& ssid) {
  if (items == nullptr) {
    xpc::logLine(logger, LogLevel::Error, "The array of profile items was NULL while looking for the SSID!");
    return false;
  }
  ssid.clear();
  xpc::DictionaryHelper helper(logger);
  for (CFIndex i = 0; i < CFArrayGetCount(items); ++i) {
    std::string index = std::to_string(i);
    const void* item = CFArrayGetValueAtIndex(items, i);
    if (item == nullptr) {
      xpc::logLine(logger, LogLevel::Error, "The dictionary at index " + index + " was NULL!");
      return false;
    }
    if (!switchDictionary(helper, item, logger,
                          "Unable to clear the current dictionary in memory from our helper object!",
                          "Unable to apply the current directory to our directory helper object!")) {
      return false;
    }
    void* content = nullptr;
    switch (helper.getValue("PayloadContent", &content)) {
      case 0:
        break;
      case 1:
        xpc::logLine(logger, LogLevel::Error, "The PayloadContent section of our dictionary wasn't found!?");
        return false;
      case -1:
        xpc::logLine(logger, LogLevel::Error,
                     "There was an error getting the payload content dictionary at index " + index + ".");
        return false;
      default:
        xpc::logLine(logger, LogLevel::Error, "Unknown result code while getting the PayloadContent from our dictionary data!");
        return false;
    }
    // The items array still holds the payload, and with it its content.
    if (!switchDictionary(helper, content, logger, "Unable to clear the current dictionary from our helper object!",
                          "Unable to set the new dictionary to our dictionary helper object!")) {
      return false;
    }
    std::string name;
    int result = helper.getValue("SSID_STR", name);
    if (result == 0) {
      xpc::logLine(logger, LogLevel::Progress, "Located the SSID string of : " + name);
      ssid = name;
      return true;
    }
    if (result != 1) {
      xpc::logLine(logger, LogLevel::Error, "Error looking for the SSID in our PayloadContent dictionary!");
      return false;
    }
  }
  return true;
}

bool ConfigurationProfileManager::deleteProfilesForSsidAndUsername(std::string ssid, std::string username) {
  if (username.empty()) {
    xpc::logLine(logger, LogLevel::Error, "The username provided to deleteProfilesForSsidAndUsername() was empty!");
    return false;
  }
  if (ssid.empty()) {
    xpc::logLine(logger, LogLevel::Error, "The SSID provided to deleteProfilesForSsidAndUsername() was empty!");
    return false;
  }
  for (const ConfigurationProfileData& profile : profiles) {
    if (profile.getUsername() != username || profile.getSsidName() != ssid) continue;
    xpc::logLine(logger, LogLevel::Progress,
                 "Found a match for the user name and SSID '" + ssid +
                     "'.  Attempting to delete the profile.");
    // Identifiers often hold blanks, and the dump and the user name are
    // anyone's text: each goes to the shell as one word.
    std::string line = "/usr/bin/profiles -R -p " + xpc::ShellQuote::word(profile.getIdentifier());
    if (username != kComputerLevel) line += " -U " + xpc::ShellQuote::word(username);
    ExecuteProgram program(logger);
    int result = program.executeWithShell(line);
    if (result != 0) {
      xpc::logLine(logger, LogLevel::Error, "Unable to delete the target profile! (Error code : " + std::to_string(result) + ")");
      program.logOutput();
      return false;
    }
  }
  xpc::logLine(logger, LogLevel::Progress, "All conflicting profiles have been deleted.");
  return true;
}
