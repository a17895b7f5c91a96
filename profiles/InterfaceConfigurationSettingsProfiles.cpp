// The interface family's commands of the profiles subsystem: installing a
// configuration profile file, and moving a remembered Wi-Fi network to a
// position in the preferred-network list.
#include "CoreWlanHelper.h"
#include "ExecuteProgram.h"
#include "InterfaceConfigurationSettings.h"
#include "OsFileSystemUtils.h"
#include "ReleaseLimits.h"
#include "ShellQuote.h"

xpc_object_t InterfaceConfigurationSettings::commitMobileconfigData(const Request& request) {
  std::string path = request.string("MobileConfigPath");
  log(LogLevel::Detail, "Mobileconfig path : " + path);
  // An absent flag reads as false: a profile for the user.
  return createSuccessOrFailure(request.message,
                                writeMobileconfigData(request.boolean("AsSystemProfile"),
                                                      request.string("CurrentUsername"), path));
}

bool InterfaceConfigurationSettings::writeMobileconfigData(bool asSystemProfile, std::string username,
                                                           std::string path) {
  if (path.empty()) {
    log(LogLevel::Error, "No mobileconfig path was provided while attempting to write our mobileconfig data!");
    return false;
  }
  if (!xpc::OsFileSystemUtils(logger).fileExists(path)) {
    log(LogLevel::Error, "The mobileconfig file at '" + path + "' doesn't exist!");
    return false;
  }
  // A backup copy is prepared but deliberately never made: a fixed name in
  // /tmp is one any local user could have put a link at.
  [[maybe_unused]] std::string backupLine = "cp " + path + " /tmp/mobileconfig.backup";
  // Both values are one shell word each: the path inside the quotes the line
  // has always had, the user name on its own. The tool takes -i for the
  // machine and -I with -U for a user.
  std::string line;
  if (asSystemProfile) {
    log(LogLevel::Progress, "Building the profile call to install as a system profile.");
    line = "/usr/bin/profiles -i -F \"" + xpc::ShellQuote::insideDoubleQuotes(path) + "\"";
  } else {
    log(LogLevel::Progress, "Building the profile call to install as the current user.");
    if (username.empty()) {
      log(LogLevel::Error, "Unable to install the profile as the current user!  The user name provided was an empty string!");
      return false;
    }
    line = "/usr/bin/profiles -I -U " + xpc::ShellQuote::word(username) + " -F \"" +
           xpc::ShellQuote::insideDoubleQuotes(path) + "\"";
  }
  ExecuteProgram program(logger);
  int result = program.executeWithShell(line);
  // The exit status alone decides; what the tool printed is only reported.
  if (result == 0) {
    log(LogLevel::Outcome, "The profile was installed properly.");
    return true;
  }
  log(LogLevel::Error, "The attempt to install the profile resulted in error : " + std::to_string(result));
  program.logOutput();
  xpc::ReleaseLimits(logger).explain(xpc::ReleaseLimits::Limit::ProfileInstall);
  return false;
}

xpc_object_t InterfaceConfigurationSettings::setProfileToPriorityIndex(const Request& request) {
  std::string ssid = request.bytes("SSID");
  // Only the low 32 bits of either number count; neither is range-checked here.
  auto priority = static_cast<unsigned int>(request.int64("NewPriority"));
  xpc::CoreWlanHelper wifi(logger, static_cast<unsigned int>(request.uint64("APILevel")));
  bool moved = wifi.setSsidToPriorityLevel(request.string("InterfaceName"), ssid.data(), ssid.size(), priority);
  if (moved) xpc::ReleaseLimits(logger).explain(xpc::ReleaseLimits::Limit::NetworkOrder);
  return createSuccessOrFailure(request.message, moved);
}
