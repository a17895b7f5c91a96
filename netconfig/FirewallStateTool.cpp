#include "FirewallStateTool.h"

#include <string>

#include "ExecuteProgram.h"
#include "Logger.h"

bool FirewallStateTool::setGlobalState(bool on) {
  xpc::logLine(logger, LogLevel::Progress,
               "macOS 15 and later keep the firewall state out of com.apple.alf.plist: setting it with "
               "/usr/libexec/ApplicationFirewall/socketfilterfw.");
  ExecuteProgram program(logger);
  // A fixed command line: nothing from the client reaches the shell.
  int result = program.executeWithShell(
      std::string("/usr/libexec/ApplicationFirewall/socketfilterfw --setglobalstate ") + (on ? "on" : "off"));
  if (result == 0) return true;
  xpc::logLine(logger, LogLevel::Error, "Unable to update the setting to enable or disable the firewall!");
  program.logOutput();
  return false;
}
