#pragma once
#include <xpc/xpc.h>

#include <cstddef>
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

  // One handler per command word; a null message is logged and gets no reply.
  xpc_object_t installZipToApplicationFolder(xpc_object_t message);
  xpc_object_t deleteFileAsRoot(xpc_object_t message);
  xpc_object_t deleteNetworkConfigForSsid(xpc_object_t message);
  xpc_object_t removeHelperApp(xpc_object_t message);
  xpc_object_t deleteProfilesForSsid(xpc_object_t message);

  // Removes the owner's installed profiles that configure the SSID, with the
  // profiles tool's dump of what is installed, which it removes again.
  bool deleteProfileBySsid(std::string ssid, std::string username);

  // One row of the command table: the word and its handler.
  struct Command;

 private:
  // What both SSID commands read first: the SSID's bytes (NUL-terminated by
  // the client) and the user name.
  struct SsidRequest {
    const char* ssid = nullptr;
    std::size_t length = 0;
    std::string username;
  };
  // False, with the reply to give (none for a null message), when the
  // request lacks either.
  bool readSsidRequest(xpc_object_t message, SsidRequest& request, xpc_object_t& refusal);

};
