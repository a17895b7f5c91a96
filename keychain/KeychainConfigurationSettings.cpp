#include "KeychainConfigurationSettings.h"

#include <initializer_list>
#include <vector>

#include "CertificateTrustPolicyHelper.h"
#include "StringTools.h"

namespace {

using Self = KeychainConfigurationSettings;

// The family's words, in the order in which they are tested.
const struct {
  const char* word;
  Self::Handler handler;
} kCommands[] = {
    {"createsystemkeychainentry", &Self::create8021XPasswordEntry},
    {"deletesystemkeychainentry", &Self::delete8021XPasswordEntry},
    {"installsystemcacert", &Self::installCaCertificateToSystemStore},
    {"deletesystemcert", &Self::deleteCertifcateFromSystemStore},
    {"certificateexistsinsystemstore", &Self::certificateExistsByLabel},
    {"installsystemcacertwithsecuritycmd", &Self::installCaCertificateToSystemStoreWithSecurityCmd},
};

const char kInstallNoMessage[] =
    "No command object was provided while attempting to install a CA certificate to the system "
    "store!";

// A string argument that must not be empty, and the error reply when it is.
struct Required {
  const char* key;
  const char* emptyText;
};

// Reads the arguments in order into `values`; the error text of the first
// one that is empty, else null.
const char* readRequired(CommandHandlerBase& family, xpc_object_t message,
                         std::initializer_list<Required> arguments,
                         std::vector<std::string>& values) {
  for (const Required& argument : arguments) {
    values.push_back(family.getStringFromXpc(message, argument.key));
    if (values.back().empty()) return argument.emptyText;
  }
  return nullptr;
}

}  // namespace

KeychainConfigurationSettings::KeychainConfigurationSettings(Logger* logger)
    : CommandHandlerBase(logger), keychain(logger) {}

xpc_object_t KeychainConfigurationSettings::handleCommand(std::string command,
                                                          xpc_object_t message) {
  if (noMessage(message,
                "No command object was provided while attempting to handle commands for keychain "
                "settings!")) {
    return nullptr;
  }
  if (command.empty()) {
    return createError(message,
                       "No command name was available while processing keychain settings!");
  }
  std::string word = xpc::StringTools::stringToLower(command);
  for (const auto& row : kCommands) {
    if (word == row.word) return (this->*row.handler)(message);
  }
  return nullptr;
}

xpc_object_t KeychainConfigurationSettings::create8021XPasswordEntry(xpc_object_t message) {
  if (noMessage(message, "No command object was provided while attempting to create an 802.1X "
                         "password entry!")) {
    return nullptr;
  }
  std::vector<std::string> args;
  const char* missing = readRequired(
      *this, message,
      {{"Account", "No account parameter was provided while attempting to create an 802.1X "
                   "password entry!"},
       {"Service", "No service parameter was provided while attempting to create an 802.1X "
                   "password entry!"},
       {"Label", "No label parameter was provided while attempting to create an 802.1X password "
                 "entry!"},
       {"Description", "No description parameter was provided while attempting to create an "
                       "802.1X password entry!"},
       {"Password", "No password parameter was provided while attempting to create an 802.1X "
                    "password entry!"}},
      args);
  if (missing != nullptr) return createError(message, missing);
  if (!keychain.openKeychain(false)) {
    return createError(message, "Unable to open the system keychain!");
  }
  log(5, "Attempting to create a keychain entry in the system keychain.");
  return createSuccessOrFailure(
      message, keychain.create8021XPasswordEntry(args[0], args[1], args[2], args[3], args[4]));
}

xpc_object_t KeychainConfigurationSettings::delete8021XPasswordEntry(xpc_object_t message) {
  if (noMessage(message, "No command object was provided while attempting to delete an 802.1X "
                         "password entry!")) {
    return nullptr;
  }
  std::vector<std::string> args;
  const char* missing = readRequired(
      *this, message,
      {{"Service", "No service parameter was provided while attempting to delete an 802.1X "
                   "password entry!"},
       {"Account", "No account parameter was provided while attempting to delete an 802.1X "
                   "password entry!"}},
      args);
  if (missing != nullptr) return createError(message, missing);
  if (!keychain.openKeychain(false)) {
    return createError(message, "Unable to open the system keychain while attempting to delete an "
                                "802.1X password entry!");
  }
  if (keychain.find8021XRelatedPasswordKeychainItem(args[0], args[1]) != 0) {
    return createError(message,
                       "Unable to locate the keychain entry that we were asked to delete.");
  }
  return createSuccessOrFailure(message, keychain.deleteActiveKeychainItem());
}

xpc_object_t KeychainConfigurationSettings::installCaCertificateToSystemStore(
    xpc_object_t message) {
  if (noMessage(message, kInstallNoMessage)) return nullptr;
  size_t length = 0;
  const auto* der =
      static_cast<const unsigned char*>(xpc_dictionary_get_data(message, "CertificateData", &length));
  if (der == nullptr || length == 0) {
    return createError(message, "The certificate length or data provided was invalid!");
  }
  int trustModel = getIntFromXpc(message, "TrustModel");
  log(5, "Trust model setting is : " + std::to_string(trustModel));
  // Not fatal: the steps below then fail for want of an open keychain.
  if (!keychain.openKeychain(false)) log(5, "Unable to open the system keychain directly!");

  log(5, "Checking if the certificate already exists in the keychain...");
  bool success;
  if (keychain.certificateExists(der, length)) {
    log(5, "The target certificate already exists in the system store.  Just updating the policy "
           "for it!");
    success = xpc::CertificateTrustPolicyHelper(logger).setDefaultCertificateTrustItems(
        keychain.getActiveCertificate(), trustModel, false, true);
  } else {
    log(5, "The certificate doesn't exist.. Will attempt to install it..");
    std::string label;
    success =
        keychain.createCertificateEntryWithDefaultTrustItems(der, length, false, trustModel, label);
  }
  return createSuccessOrFailure(message, success);
}

xpc_object_t KeychainConfigurationSettings::deleteCertifcateFromSystemStore(xpc_object_t message) {
  if (noMessage(message, "No command object was provided while attempting to delete a "
                         "certificate from the system store!")) {
    return nullptr;
  }
  std::vector<std::string> args;
  const char* missing =
      readRequired(*this, message,
                   {{"CertLabel", "The label for the certificate to delete was empty!"},
                    {"Thumbprint", "The thumbprint for the certificate to delete was empty!"}},
                   args);
  if (missing != nullptr) return createError(message, missing);
  const std::string& label = args[0];
  log(5, "Attempting to delete a certificate with the label : " + label);
  if (!keychain.openKeychain(false)) {
    return createError(message, "Unable to open the system keychain!");
  }
  if (keychain.findCertificateKeychainItem(label, getStringFromXpc(message, "CertAlias"),
                                           args[1]) != 0) {
    return createError(message, "The certificate for label '" + label + "' could not be found!");
  }
  if (!xpc::CertificateTrustPolicyHelper(logger).deleteCertificateTrustItems(
          keychain.getActiveCertificate())) {
    log(3, "Unable to delete any certificate trust items!");
  }
  return createSuccessOrFailure(message, keychain.deleteActiveKeychainItem());
}

xpc_object_t KeychainConfigurationSettings::certificateExistsByLabel(xpc_object_t message) {
  if (noMessage(message, "No command object was provided while attempting to check if a "
                         "certificate exists!")) {
    return nullptr;
  }
  std::vector<std::string> args;
  const char* missing =
      readRequired(*this, message,
                   {{"CertLabel", "The label for the certificate to locate was empty!"},
                    {"Thumbprint", "The thumbprint for the certificate to locate was empty!"}},
                   args);
  if (missing != nullptr) return createError(message, missing);
  if (!keychain.openKeychain(false)) {
    return createError(message,
                       "Unable to open the system keychain while trying to locate a certificate!");
  }
  // A certificate found stays the active item.
  return createSuccessOrFailure(
      message, keychain.findCertificateKeychainItem(
                   args[0], getStringFromXpc(message, "CertAlias"), args[1]) == 0);
}

xpc_object_t KeychainConfigurationSettings::installCaCertificateToSystemStoreWithSecurityCmd(
    xpc_object_t message) {
  if (noMessage(message, kInstallNoMessage)) return nullptr;
  const char* pem = xpc_dictionary_get_string(message, "PEMdata");
  if (pem == nullptr) {
    return createError(
        message, "No certificate data was provided while trying to install a CA certificate!");
  }
  // Spelled as the clients spell it.
  bool isIntermediate = xpc_dictionary_get_bool(message, "IsIntemediate");
  log(5, "Attempting to install a CA certificate to the system store.");
  return createSuccessOrFailure(
      message, keychain.installCertificateWithSecurityCommand(pem, isIntermediate, false));
}
