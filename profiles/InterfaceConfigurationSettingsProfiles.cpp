// The interface family's commands of the profiles subsystem: installing a
// configuration profile file, and moving a remembered Wi-Fi network to a
// position in the preferred-network list.
#include "CoreWlanHelper.h"
#include "ExecuteProgram.h"
#include "InterfaceConfigurationSettings.h"
#include "OsFileSystemUtils.h"
#include "ReleaseLimits.h"
#include "ShellQuote.h"

xpc_object_t InterfaceConfigurationSettings::commitMobileconfigData(xpc_object_t message) {
  return run(message,
             {"No command object was provided while attempting to commit mobileconfig data!", "MobileConfigPath",
              "Invalid data provided while trying to commit the profile to the OS!"},
             [&](const Arguments& a) -> Result {
               log(6, "Mobileconfig path : " + a.first);
               // An absent flag reads as false: a profile for the user.
               return writeMobileconfigData(xpc_dictionary_get_bool(message, "AsSystemProfile"),
                                            getStringFromXpc(message, "CurrentUsername"), a.first);
             });
}

bool InterfaceConfigurationSettings::writeMobileconfigData(bool asSystemProfile, std::string username,
                                                           std::string path) {
  if (path.empty()) {
    log(4, "No mobileconfig path was provided while attempting to write our mobileconfig data!");
    return false;
  }
  if (!xpc::OsFileSystemUtils(logger).fileExists(path)) {
    log(4, "The mobileconfig file at '" + path + "' doesn't exist!");
    return false;
  }
  // Both values are one shell word each: the path inside the quotes the line
  // has always had, the user name on its own. The tool takes -i for the
  // machine and -I with -U for a user.
  std::string line;
  if (asSystemProfile) {
    log(5, "Building the profile call to install as a system profile.");
    line = "/usr/bin/profiles -i -F \"" + xpc::ShellQuote::insideDoubleQuotes(path) + "\"";
  } else {
    log(5, "Building the profile call to install as the current user.");
    if (username.empty()) {
      log(4, "Unable to install the profile as the current user!  The user name provided was an empty string!");
      return false;
    }
    line = "/usr/bin/profiles -I -U " + xpc::ShellQuote::word(username) + " -F \"" +
           xpc::ShellQuote::insideDoubleQuotes(path) + "\"";
  }
  ExecuteProgram program(logger);
  int result = program.executeWithShell(line);
  // The exit status alone decides; what the tool printed is only reported.
  if (result == 0) {
    log(1, "The profile was installed properly.");
    return true;
  }
  log(4, "The attempt to install the profile resulted in error : " + std::to_string(result));
  program.logOutput();
  xpc::ReleaseLimits(logger).explain(xpc::ReleaseLimits::Limit::ProfileInstall);
  return false;
}

xpc_object_t InterfaceConfigurationSettings::setProfileToPriorityIndex(xpc_object_t message) {
  return run(
      message,
      {"No command object was provided while attempting to set the priority of a profile!",
       "InterfaceName", "Invalid data provided while trying to set the SSID priority!"},
      [&](const Arguments& a) -> Result {
        size_t ssidLength = 0;
        const void* ssid = xpc_dictionary_get_data(message, "SSID", &ssidLength);
        if (ssid == nullptr || ssidLength == 0) {
          return Result::error("Invalid data provided while trying to set the SSID priority! (2)");
        }
        // Only the low 32 bits of either number count; neither is range-checked here.
        auto priority = static_cast<unsigned int>(xpc_dictionary_get_int64(message, "NewPriority"));
        auto version = static_cast<unsigned int>(xpc_dictionary_get_uint64(message, "APILevel"));
        xpc::CoreWlanHelper wifi(logger, version);
        bool moved = wifi.setSsidToPriorityLevel(a.first, static_cast<const char*>(ssid), ssidLength,
                                                 priority);
        if (moved) xpc::ReleaseLimits(logger).explain(xpc::ReleaseLimits::Limit::NetworkOrder);
        return moved;
      });
}
