#include "SystemConfigurationSettings.h"

#include <cstdlib>

#include "FirewallStateTool.h"
#include "LogLine.h"
#include "NetworkLocationHelper.h"
#include "OsRelease.h"
#include "PlistManipulator.h"
#include "StringTools.h"

struct SystemConfigurationSettings::LocationCommand {
  const char* word;
  bool (xpc::NetworkLocationHelper::*operation)(std::string);
  const char* noMessageText;
  const char* invalidText;
  // Each is followed by the location's name and "'." or "'!".
  const char* progressText;
  const char* failureText;
};

namespace {

const char kSoftwareUpdatePlist[] = "/Library/Preferences/com.apple.SoftwareUpdate.plist";
const char kFirewallPlist[] = "/Library/Preferences/com.apple.alf.plist";

const SystemConfigurationSettings::LocationCommand kLocationCommands[] = {
    {"addnetworklocation", &xpc::NetworkLocationHelper::createNetworkLocation,
     "No command object was provided while attempting to add a network location!",
     "Invalid data provided while attempting to add a network location!",
     "Creating network location '", "Unable to create the network location '"},
    {"deletenetworklocation", &xpc::NetworkLocationHelper::deleteNetworkLocation,
     "No command object was provided while attempting to delete a network location!",
     "Invalid data provided while attempting to delete a network location!",
     "Deleting network location '", "Unable to delete the network location '"},
    {"changenetworklocation", &xpc::NetworkLocationHelper::setActiveNetworkLocation,
     "No command object was provided while attempting to change the network location!",
     "Invalid data provided while attempting to change the active network location!",
     "Changing to network location '", "Unable to change to the network location '"},
};

// Loads a preference file into `file` and sets one key in it; false after
// logging `loadFailure` (also for a file whose root is not a dictionary) or
// `setFailure`.
template <typename Value>
bool loadAndSet(Logger* logger, xpc::PlistManipulator& file, const char* path,
                const char* loadFailure, const char* key, Value value, const char* setFailure) {
  if (!file.loadPlistFile(path) ||
      CFGetTypeID(file.getPropertyList()) != CFDictionaryGetTypeID()) {
    xpc::logLine(logger, 4, loadFailure);
    return false;
  }
  if (!file.setValue(std::string(key), value)) {
    xpc::logLine(logger, 4, setFailure);
    return false;
  }
  return true;
}

}  // namespace

SystemConfigurationSettings::SystemConfigurationSettings(Logger* logger)
    : CommandHandlerBase(logger) {}

xpc_object_t SystemConfigurationSettings::handleCommand(std::string command,
                                                        xpc_object_t message) {
  if (noMessage(message,
                "No command object was provided while attempting to handle system configuration "
                "settings!")) {
    return nullptr;
  }
  if (command.empty()) {
    return createError(
        message, "No command was provided while attempting to handle system configuration settings!");
  }
  std::string word = xpc::StringTools::stringToLower(command);
  if (word == "changeupdatechecksettings") return changeUpdateCheckSettings(message);
  if (word == "changefirewallstate") return changeFirewallState(message);
  for (const LocationCommand& row : kLocationCommands) {
    if (word == row.word) return changeNetworkLocations(message, row);
  }
  return nullptr;
}

xpc_object_t SystemConfigurationSettings::changeUpdateCheckSettings(xpc_object_t message) {
  if (noMessage(message,
                "The command object was NULL while attempting to change update check settings!")) {
    return nullptr;
  }
  bool enable = xpc_dictionary_get_bool(message, "Enable");
  bool setFrequency = xpc_dictionary_get_bool(message, "SetFrequency");
  int frequency = static_cast<int>(xpc_dictionary_get_int64(message, "Frequency"));

  log(5, "Updating the enable/disable setting for software update checks.");
  bool success = enableUpdateCheckSettings(enable);
  if (success && setFrequency) {
    log(5, "Updating the frequency that we check for updates!");
    success = setUpdateCheckFrequency(frequency);
  }
  if (success) {
    log(5, "Notifying the system of the configuration changes...");
    // The files are written either way; the notice only hurries cfprefsd.
    hupCfPrefsd();
  }
  return createSuccessOrFailure(message, success);
}

xpc_object_t SystemConfigurationSettings::changeFirewallState(xpc_object_t message) {
  if (noMessage(message,
                "No command object was provided while attempting to change the state of the "
                "firewall!")) {
    return nullptr;
  }
  int state = getIntFromXpc(message, "Enabled");
  log(5, "Updating the enable/disable setting for the firewall.");
  bool success = setFirewallState(state);
  if (success) {
    log(5, "Notifying the system of the configuration changes...");
    hupCfPrefsd();
  }
  return createSuccessOrFailure(message, success);
}

xpc_object_t SystemConfigurationSettings::changeNetworkLocations(xpc_object_t message,
                                                                 const LocationCommand& command) {
  xpc::NetworkLocationHelper locations(logger, false);
  if (noMessage(message, command.noMessageText)) return nullptr;
  std::string name = getLocation(message);
  if (name.empty()) return createError(message, command.invalidText);
  log(5, command.progressText + name + "'.");
  if (!(locations.*command.operation)(name)) {
    return createError(message, command.failureText + name + "'!");
  }
  return createSuccessOrFailure(message, true);
}

std::string SystemConfigurationSettings::getLocation(xpc_object_t message) {
  if (noMessage(message, "No command object was provided in getLocation()!")) return "";
  std::string name = getStringFromXpc(message, "Location");
  if (name.empty()) log(4, "No location information provided in getLocation()!");
  return name;
}

bool SystemConfigurationSettings::enableUpdateCheckSettings(bool enable) {
  xpc::PlistManipulator settings(logger);
  if (!loadAndSet(logger, settings, kSoftwareUpdatePlist,
                  "Unable to load the software update settings!", "AutomaticCheckEnabled", enable,
                  "Failed to update the enable/disable setting for the software update setting.")) {
    return false;
  }
  bool written = settings.writePlistFile(kSoftwareUpdatePlist);
  log(5, enable ? "Enabled the software update checks." : "Disabled the software update checks.");
  return written;
}

bool SystemConfigurationSettings::setUpdateCheckFrequency(int days) {
  xpc::PlistManipulator settings(logger);
  if (!loadAndSet(logger, settings, kSoftwareUpdatePlist,
                  "Unable to load the software update settings!", "ScheduleFrequency", days,
                  "Unable to update the setting for the software update check frequency.")) {
    return false;
  }
  log(5, "Set software update frequency to : " + std::to_string(days) + " day(s).");
  return settings.writePlistFile(kSoftwareUpdatePlist);
}

bool SystemConfigurationSettings::setFirewallState(int state) {
  // Compared as unsigned so that negative states are refused too.
  if (static_cast<unsigned int>(state) > 1) {
    log(4, "The value provided to setFirewallState() wasn't 1 or 0.  Cannot change the state of "
           "the firewall!");
    return false;
  }
  if (xpc::OsRelease::running().atLeast(15)) {
    if (!FirewallStateTool(logger).setGlobalState(state == 1)) return false;
    log(5, "Set firewall state to : " + std::to_string(state));
    return true;
  }
  xpc::PlistManipulator settings(logger);
  if (!loadAndSet(logger, settings, kFirewallPlist, "Unable to load the firewall settings!",
                  "globalstate", state,
                  "Unable to update the setting to enable or disable the firewall!")) {
    return false;
  }
  log(5, "Set firewall state to : " + std::to_string(state));
  return settings.writePlistFile(kFirewallPlist);
}

bool SystemConfigurationSettings::hupCfPrefsd() {
  int status = system("/usr/bin/killall -HUP cfprefsd");
  if (status == 0) return true;
  log(4, "Unable to notify the system of the configuration changes.  Error : " +
             std::to_string(status));
  log(3, "NOTE : The change was a success, but it may take time before it is fully recognized by "
         "the OS.");
  return false;
}
