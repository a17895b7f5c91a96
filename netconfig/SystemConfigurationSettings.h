#pragma once
#include <xpc/xpc.h>

#include <string>

#include "CommandHandlerBase.h"

// The commands for machine-wide settings: the software-update check schedule
// and the firewall's global state (written straight into their preference
// files, after which cfprefsd is told to drop its cache; from macOS 15 on the
// firewall through its own tool), and network locations (create, delete,
// switch).
class SystemConfigurationSettings : public CommandHandlerBase {
 public:
  explicit SystemConfigurationSettings(Logger* logger);

  xpc_object_t handleCommand(std::string command, xpc_object_t message) override;

  bool enableUpdateCheckSettings(bool enable);
  bool setUpdateCheckFrequency(int days);
  // Only 0 and 1 are states.
  bool setFirewallState(int state);
  // Tells cfprefsd to reread the preference files.
  bool hupCfPrefsd();
  // The "Location" argument, or "" after logging.
  std::string getLocation(xpc_object_t message);

  // One row of the location commands: the word, the operation and its texts.
  struct LocationCommand;

 private:
  xpc_object_t changeUpdateCheckSettings(xpc_object_t message);
  xpc_object_t changeFirewallState(xpc_object_t message);
  // The pattern the three location commands share.
  xpc_object_t changeNetworkLocations(xpc_object_t message, const LocationCommand& command);

};
