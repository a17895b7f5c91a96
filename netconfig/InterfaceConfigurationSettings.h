#pragma once
#include <xpc/xpc.h>

#include <functional>
#include <string>

#include "CommandHandlerBase.h"

// The commands for one network service (proxy modes, IPv6, a protocol's
// state), one preferences value, and one interface (up/down, DHCP renew).
// Services are named by their service UUID, interfaces by BSD name.
class InterfaceConfigurationSettings : public CommandHandlerBase {
 public:
  explicit InterfaceConfigurationSettings(Logger* logger);

  xpc_object_t handleCommand(std::string command, xpc_object_t message) override;

  // One handler per command word. Each makes its helper, reads its arguments
  // and answers with its reply; a null message is logged and gets none.
  // Installing a profile and moving a remembered Wi-Fi network belong to the
  // profiles subsystem and are defined there.
  xpc_object_t commitMobileconfigData(xpc_object_t message);
  xpc_object_t setProfileToPriorityIndex(xpc_object_t message);
  xpc_object_t setManualProxyServer(xpc_object_t message);
  xpc_object_t disableProxyServer(xpc_object_t message);
  xpc_object_t setAutoByUrlProxy(xpc_object_t message);
  xpc_object_t setAutodetectedProxyServer(xpc_object_t message);
  xpc_object_t setNetworkProtocolEnabled(xpc_object_t message);
  xpc_object_t setIpv6ToAutomatic(xpc_object_t message);
  xpc_object_t setIntToConfigPath(xpc_object_t message);
  xpc_object_t setIntAdminState(xpc_object_t message);
  xpc_object_t dhcpRenew(xpc_object_t message);

  bool setInterfaceAdminState(std::string interfaceName, bool up);
  // Installs the profile file with the system's profiles tool, for the
  // machine or for the named user; true when the tool succeeded.
  bool writeMobileconfigData(bool asSystemProfile, std::string username, std::string path);

  using Handler = xpc_object_t (InterfaceConfigurationSettings::*)(xpc_object_t);

 private:
  // What a handler checks before its operation runs, with the texts it
  // answers each failed check with.
  struct Checks {
    const char* noMessageText;
    const char* firstKey;
    const char* firstInvalidText;
    // Null for commands with one string argument.
    const char* secondKey = nullptr;
    const char* secondInvalidText = nullptr;
  };
  // What a handler has read by the time its operation runs.
  struct Arguments {
    std::string first;
    std::string second;
  };
  // An operation's outcome: success or failure, or the text of an error reply.
  struct Result {
    Result(bool success) : success(success) {}
    static Result error(const char* text);
    bool success;
    const char* errorText = nullptr;
  };
  using Operation = std::function<Result(const Arguments&)>;

  // The pattern every handler follows once its helper exists: no message, no
  // reply; an empty string argument, its error reply; otherwise the
  // operation's outcome.
  xpc_object_t run(xpc_object_t message, const Checks& checks, const Operation& operation);

};
