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

  // One handler per command word, given a request whose required arguments
  // are there.
  xpc_object_t create8021XPasswordEntry(const Request& request);
  xpc_object_t delete8021XPasswordEntry(const Request& request);
  xpc_object_t installCaCertificateToSystemStore(const Request& request);
  xpc_object_t deleteCertifcateFromSystemStore(const Request& request);
  xpc_object_t certificateExistsByLabel(const Request& request);
  xpc_object_t installCaCertificateToSystemStoreWithSecurityCmd(const Request& request);

 private:
  xpc::KeychainHelper keychain;
};
