#pragma once
#include <xpc/xpc.h>

#include <string>

#include "CommandHandlerBase.h"

// The commands for one network service (proxy modes, IPv6, a protocol's
// state), one preferences value, and one interface (up/down, DHCP renew).
// Services are named by their service UUID, interfaces by BSD name.
class InterfaceConfigurationSettings : public CommandHandlerBase {
 public:
  explicit InterfaceConfigurationSettings(Logger* logger);

  xpc_object_t handleCommand(std::string command, xpc_object_t message) override;

  // One handler per command word, given a request whose required arguments
  // are there. Installing a profile and moving a remembered Wi-Fi network
  // belong to the profiles subsystem and are defined there.
  xpc_object_t commitMobileconfigData(const Request& request);
  xpc_object_t setProfileToPriorityIndex(const Request& request);
  xpc_object_t setManualProxyServer(const Request& request);
  xpc_object_t disableProxyServer(const Request& request);
  xpc_object_t setAutoByUrlProxy(const Request& request);
  xpc_object_t setAutodetectedProxyServer(const Request& request);
  xpc_object_t setNetworkProtocolEnabled(const Request& request);
  xpc_object_t setIpv6ToAutomatic(const Request& request);
  xpc_object_t setIntToConfigPath(const Request& request);
  xpc_object_t setIntAdminState(const Request& request);
  xpc_object_t dhcpRenew(const Request& request);

  bool setInterfaceAdminState(std::string interfaceName, bool up);
  // Installs the profile file with the system's profiles tool, for the
  // machine or for the named user; true when the tool succeeded.
  bool writeMobileconfigData(bool asSystemProfile, std::string username, std::string path);
};
