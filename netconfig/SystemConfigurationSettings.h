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
  std::string getLocation(const Request& request);

  // One handler per command word.
  xpc_object_t changeUpdateCheckSettings(const Request& request);
  xpc_object_t changeFirewallState(const Request& request);
  xpc_object_t addNetworkLocation(const Request& request);
  xpc_object_t deleteNetworkLocation(const Request& request);
  xpc_object_t changeNetworkLocation(const Request& request);

 private:
  // What the three location commands share: the operation and its texts.
  struct LocationCommand;
  xpc_object_t changeNetworkLocations(const Request& request, const LocationCommand& command);
};
