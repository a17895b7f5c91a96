#include "SystemConfigurationSettings.h"

#include <cstdlib>

#include "CFCast.h"
#include "Logger.h"
#include "FirewallStateTool.h"
#include "NetworkLocationHelper.h"
#include "OsRelease.h"
#include "PlistManipulator.h"

struct SystemConfigurationSettings::LocationCommand {
  bool (xpc::NetworkLocationHelper::*operation)(std::string);
  const char* invalidText;
  // Each is followed by the location's name and "'." or "'!".
  const char* progressText;
  const char* failureText;
};

namespace {

const char kSoftwareUpdatePlist[] = "/Library/Preferences/com.apple.SoftwareUpdate.plist";
const char kFirewallPlist[] = "/Library/Preferences/com.apple.alf.plist";

// Loads a preference file into `file` and sets one key in it; false after
// logging `loadFailure` (also for a file whose root is not a dictionary) or
// `setFailure`.
template <typename Value>
bool loadAndSet(Logger* logger, xpc::PlistManipulator& file, const char* path,
                const char* loadFailure, const char* key, Value value, const char* setFailure) {
  if (!file.loadPlistFile(path) ||
      xpc::cfCast<CFDictionaryRef>(file.getPropertyList()) == nullptr) {
    xpc::logLine(logger, LogLevel::Error, loadFailure);
    return false;
  }
  if (!file.setValue(std::string(key), value)) {
    xpc::logLine(logger, LogLevel::Error, setFailure);
    return false;
  }
  return true;
}

}  // namespace

SystemConfigurationSettings::SystemConfigurationSettings(Logger* logger)
    : CommandHandlerBase(logger) {}

xpc_object_t SystemConfigurationSettings::handleCommand(std::string command,
                                                        xpc_object_t message) {
  using Self = SystemConfigurationSettings;
  static const Command<Self> kCommands[] = {
      {"changeupdatechecksettings", &Self::changeUpdateCheckSettings, {}},
      {"changefirewallstate", &Self::changeFirewallState, {}},
      {"addnetworklocation", &Self::addNetworkLocation, {}},
      {"deletenetworklocation", &Self::deleteNetworkLocation, {}},
      {"changenetworklocation", &Self::changeNetworkLocation, {}},
  };
  return dispatch(
      command, message,
      {"No command object was provided while attempting to handle system configuration settings!",
       "No command was provided while attempting to handle system configuration settings!", false},
      kCommands);
}

xpc_object_t SystemConfigurationSettings::changeUpdateCheckSettings(const Request& request) {
  log(LogLevel::Progress, "Updating the enable/disable setting for software update checks.");
  bool success = enableUpdateCheckSettings(request.boolean("Enable"));
  if (success && request.boolean("SetFrequency")) {
    log(LogLevel::Progress, "Updating the frequency that we check for updates!");
    success = setUpdateCheckFrequency(request.integer("Frequency"));
  }
  if (success) {
    log(LogLevel::Progress, "Notifying the system of the configuration changes...");
    // The files are written either way; the notice only hurries cfprefsd.
    hupCfPrefsd();
  }
  return createSuccessOrFailure(request.message, success);
}

xpc_object_t SystemConfigurationSettings::changeFirewallState(const Request& request) {
  log(LogLevel::Progress, "Updating the enable/disable setting for the firewall.");
  bool success = setFirewallState(request.integer("Enabled"));
  if (success) {
    log(LogLevel::Progress, "Notifying the system of the configuration changes...");
    hupCfPrefsd();
  }
  return createSuccessOrFailure(request.message, success);
}

xpc_object_t SystemConfigurationSettings::addNetworkLocation(const Request& request) {
  return changeNetworkLocations(
      request, {&xpc::NetworkLocationHelper::createNetworkLocation,
                "Invalid data provided while attempting to add a network location!",
                "Creating network location '", "Unable to create the network location '"});
}

xpc_object_t SystemConfigurationSettings::deleteNetworkLocation(const Request& request) {
  return changeNetworkLocations(
      request, {&xpc::NetworkLocationHelper::deleteNetworkLocation,
                "Invalid data provided while attempting to delete a network location!",
                "Deleting network location '", "Unable to delete the network location '"});
}

xpc_object_t SystemConfigurationSettings::changeNetworkLocation(const Request& request) {
  return changeNetworkLocations(
      request, {&xpc::NetworkLocationHelper::setActiveNetworkLocation,
                "Invalid data provided while attempting to change the active network location!",
                "Changing to network location '", "Unable to change to the network location '"});
}

// The location's name is read after the helper opens the preferences, so a
// refused name still shows that step in the log.
xpc_object_t SystemConfigurationSettings::changeNetworkLocations(const Request& request,
                                                                 const LocationCommand& command) {
  xpc::NetworkLocationHelper locations(logger, false);
  std::string name = getLocation(request);
  if (name.empty()) return createError(request.message, command.invalidText);
  log(LogLevel::Progress, command.progressText + name + "'.");
  if (!(locations.*command.operation)(name)) {
    return createError(request.message, command.failureText + name + "'!");
  }
  return createSuccessOrFailure(request.message, true);
}

std::string SystemConfigurationSettings::getLocation(const Request& request) {
  std::string name = request.string("Location");
  if (name.empty()) log(LogLevel::Error, "No location information provided in getLocation()!");
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
  log(LogLevel::Progress, enable ? "Enabled the software update checks." : "Disabled the software update checks.");
  return written;
}

bool SystemConfigurationSettings::setUpdateCheckFrequency(int days) {
  xpc::PlistManipulator settings(logger);
  if (!loadAndSet(logger, settings, kSoftwareUpdatePlist,
                  "Unable to load the software update settings!", "ScheduleFrequency", days,
                  "Unable to update the setting for the software update check frequency.")) {
    return false;
  }
  log(LogLevel::Progress, "Set software update frequency to : " + std::to_string(days) + " day(s).");
  return settings.writePlistFile(kSoftwareUpdatePlist);
}

bool SystemConfigurationSettings::setFirewallState(int state) {
  // Compared as unsigned so that negative states are refused too.
  if (static_cast<unsigned int>(state) > 1) {
    log(LogLevel::Error, "The value provided to setFirewallState() wasn't 1 or 0.  Cannot change the state of "
                         "the firewall!");
    return false;
  }
  if (xpc::OsRelease::running().atLeast(15)) {
    if (!FirewallStateTool(logger).setGlobalState(state == 1)) return false;
    log(LogLevel::Progress, "Set firewall state to : " + std::to_string(state));
    return true;
  }
  xpc::PlistManipulator settings(logger);
  if (!loadAndSet(logger, settings, kFirewallPlist, "Unable to load the firewall settings!",
                  "globalstate", state,
                  "Unable to update the setting to enable or disable the firewall!")) {
    return false;
  }
  log(LogLevel::Progress, "Set firewall state to : " + std::to_string(state));
  return settings.writePlistFile(kFirewallPlist);
}

bool SystemConfigurationSettings::hupCfPrefsd() {
  int status = system("/usr/bin/killall -HUP cfprefsd");
  if (status == 0) return true;
  log(LogLevel::Error, "Unable to notify the system of the configuration changes.  Error : " +
             std::to_string(status));
  log(LogLevel::Warning, "NOTE : The change was a success, but it may take time before it is fully recognized by "
                         "the OS.");
  return false;
}
