#pragma once
#include <xpc/xpc.h>

#include <string>

#include "CommandHandlerBase.h"

// The housekeeping commands that act as root on the machine: installing an
// application from a zip archive, deleting one permitted file, removing a
// remembered Wi-Fi network or the profiles that configure one for an owner,
// and uninstalling the helper itself.
class MiscConfigurationSettings : public CommandHandlerBase {
 public:
  explicit MiscConfigurationSettings(Logger* logger);

  xpc_object_t handleCommand(std::string command, xpc_object_t message) override;

  // One handler per command word, given a request whose required arguments
  // are there.
  xpc_object_t installZipToApplicationFolder(const Request& request);
  xpc_object_t deleteFileAsRoot(const Request& request);
  xpc_object_t deleteNetworkConfigForSsid(const Request& request);
  xpc_object_t removeHelperApp(const Request& request);
  xpc_object_t deleteProfilesForSsid(const Request& request);

  // Removes the owner's installed profiles that configure the SSID, with the
  // profiles tool's dump of what is installed, which it removes again.
  bool deleteProfileBySsid(std::string ssid, std::string username);
};
