#include "KeychainConfigurationSettings.h"

#include "CertificateTrustPolicyHelper.h"

KeychainConfigurationSettings::KeychainConfigurationSettings(Logger* logger)
    : CommandHandlerBase(logger), keychain(logger) {}

xpc_object_t KeychainConfigurationSettings::handleCommand(std::string command,
                                                          xpc_object_t message) {
  using Self = KeychainConfigurationSettings;
  static const Command<Self> kCommands[] = {
      {"createsystemkeychainentry", &Self::create8021XPasswordEntry,
       {{"Account", "No account parameter was provided while attempting to create an 802.1X password entry!"},
        {"Service", "No service parameter was provided while attempting to create an 802.1X password entry!"},
        {"Label", "No label parameter was provided while attempting to create an 802.1X password entry!"},
        {"Description",
         "No description parameter was provided while attempting to create an 802.1X password entry!"},
        {"Password",
         "No password parameter was provided while attempting to create an 802.1X password entry!"}}},
      {"deletesystemkeychainentry", &Self::delete8021XPasswordEntry,
       {{"Service", "No service parameter was provided while attempting to delete an 802.1X password entry!"},
        {"Account", "No account parameter was provided while attempting to delete an 802.1X password entry!"}}},
      {"installsystemcacert", &Self::installCaCertificateToSystemStore,
       {{"CertificateData", "The certificate length or data provided was invalid!", Request::Required::Bytes}}},
      {"deletesystemcert", &Self::deleteCertifcateFromSystemStore,
       {{"CertLabel", "The label for the certificate to delete was empty!"},
        {"Thumbprint", "The thumbprint for the certificate to delete was empty!"}}},
      {"certificateexistsinsystemstore", &Self::certificateExistsByLabel,
       {{"CertLabel", "The label for the certificate to locate was empty!"},
        {"Thumbprint", "The thumbprint for the certificate to locate was empty!"}}},
      {"installsystemcacertwithsecuritycmd", &Self::installCaCertificateToSystemStoreWithSecurityCmd,
       {{"PEMdata", "No certificate data was provided while trying to install a CA certificate!",
         Request::Required::AnyText}}},
  };
  return dispatch(command, message,
                  {"No command object was provided while attempting to handle commands for keychain settings!",
                   "No command name was available while processing keychain settings!", false},
                  kCommands);
}

xpc_object_t KeychainConfigurationSettings::create8021XPasswordEntry(const Request& request) {
  if (!keychain.openKeychain(false)) return createError(request.message, "Unable to open the system keychain!");
  log(LogLevel::Progress, "Attempting to create a keychain entry in the system keychain.");
  return createSuccessOrFailure(
      request.message,
      keychain.create8021XPasswordEntry(request.string("Account"), request.string("Service"), request.string("Label"),
                                        request.string("Description"), request.string("Password")));
}

xpc_object_t KeychainConfigurationSettings::delete8021XPasswordEntry(const Request& request) {
  if (!keychain.openKeychain(false)) {
    return createError(request.message,
                       "Unable to open the system keychain while attempting to delete an 802.1X password entry!");
  }
  if (keychain.find8021XRelatedPasswordKeychainItem(request.string("Service"), request.string("Account")) != 0) {
    return createError(request.message, "Unable to locate the keychain entry that we were asked to delete.");
  }
  return createSuccessOrFailure(request.message, keychain.deleteActiveKeychainItem());
}

xpc_object_t KeychainConfigurationSettings::installCaCertificateToSystemStore(const Request& request) {
  std::string der = request.bytes("CertificateData");
  const auto* bytes = reinterpret_cast<const unsigned char*>(der.data());
  int trustModel = request.integer("TrustModel");
  log(LogLevel::Progress, "Trust model setting is : " + std::to_string(trustModel));
  // Not fatal: the steps below then fail for want of an open keychain.
  if (!keychain.openKeychain(false)) log(LogLevel::Progress, "Unable to open the system keychain directly!");

  log(LogLevel::Progress, "Checking if the certificate already exists in the keychain...");
  bool success;
  if (keychain.certificateExists(bytes, der.size())) {
    log(LogLevel::Progress,
        "The target certificate already exists in the system store.  Just updating the policy for it!");
    success = xpc::CertificateTrustPolicyHelper(logger).setDefaultCertificateTrustItems(
        keychain.getActiveCertificate(), trustModel, false, true);
  } else {
    log(LogLevel::Progress, "The certificate doesn't exist.. Will attempt to install it..");
    std::string label;
    success = keychain.createCertificateEntryWithDefaultTrustItems(bytes, der.size(), false, trustModel, label);
  }
  return createSuccessOrFailure(request.message, success);
}

xpc_object_t KeychainConfigurationSettings::deleteCertifcateFromSystemStore(const Request& request) {
  std::string label = request.string("CertLabel");
  log(LogLevel::Progress, "Attempting to delete a certificate with the label : " + label);
  if (!keychain.openKeychain(false)) return createError(request.message, "Unable to open the system keychain!");
  if (keychain.findCertificateKeychainItem(label, request.string("CertAlias"), request.string("Thumbprint")) != 0) {
    return createError(request.message, "The certificate for label '" + label + "' could not be found!");
  }
  if (!xpc::CertificateTrustPolicyHelper(logger).deleteCertificateTrustItems(keychain.getActiveCertificate())) {
    log(LogLevel::Warning, "Unable to delete any certificate trust items!");
  }
  return createSuccessOrFailure(request.message, keychain.deleteActiveKeychainItem());
}

xpc_object_t KeychainConfigurationSettings::certificateExistsByLabel(const Request& request) {
  if (!keychain.openKeychain(false)) {
    return createError(request.message, "Unable to open the system keychain while trying to locate a certificate!");
  }
  // A certificate found stays the active item.
  return createSuccessOrFailure(
      request.message, keychain.findCertificateKeychainItem(request.string("CertLabel"), request.string("CertAlias"),
                                                            request.string("Thumbprint")) == 0);
}

xpc_object_t KeychainConfigurationSettings::installCaCertificateToSystemStoreWithSecurityCmd(const Request& request) {
  // Spelled as the clients spell it.
  bool isIntermediate = request.boolean("IsIntemediate");
  log(LogLevel::Progress, "Attempting to install a CA certificate to the system store.");
  return createSuccessOrFailure(
      request.message,
      keychain.installCertificateWithSecurityCommand(request.string("PEMdata"), isIntermediate, false));
}
