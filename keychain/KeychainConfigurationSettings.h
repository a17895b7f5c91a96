#pragma once
#include <xpc/xpc.h>

#include <string>

#include "CommandHandlerBase.h"
#include "KeychainHelper.h"

// The commands for the system keychain: 802.1X password entries, CA
// certificates with trust (through the Security framework or the security
// tool), and finding and deleting certificates by label and thumbprint.
//
// The family lives as long as the process, and so do the keychain handles
// its helper opens and the item the last search found.
class KeychainConfigurationSettings : public CommandHandlerBase {
 public:
  explicit KeychainConfigurationSettings(Logger* logger);

  xpc_object_t handleCommand(std::string command, xpc_object_t message) override;

  // One handler per command word. Each reads its arguments and answers with
  // its reply; a null message is logged and gets none.
  xpc_object_t create8021XPasswordEntry(xpc_object_t message);
  xpc_object_t delete8021XPasswordEntry(xpc_object_t message);
  xpc_object_t installCaCertificateToSystemStore(xpc_object_t message);
  xpc_object_t deleteCertifcateFromSystemStore(xpc_object_t message);
  xpc_object_t certificateExistsByLabel(xpc_object_t message);
  xpc_object_t installCaCertificateToSystemStoreWithSecurityCmd(xpc_object_t message);

  using Handler = xpc_object_t (KeychainConfigurationSettings::*)(xpc_object_t);

 private:

  xpc::KeychainHelper keychain;
};
