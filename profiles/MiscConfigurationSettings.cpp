#include "MiscConfigurationSettings.h"

#include "CoreWlanHelper.h"
#include "LogLine.h"

struct MiscConfigurationSettings::Command {
  const char* word;
  xpc_object_t (MiscConfigurationSettings::*handler)(xpc_object_t message);
};

namespace {

// This family has one text for a missing message and a missing command name.
const char kNoCommandText[] = "No command object was provided while handling misc configuration commands!";

}  // namespace

MiscConfigurationSettings::MiscConfigurationSettings(Logger* logger) : CommandHandlerBase(logger) {}

void MiscConfigurationSettings::log(unsigned char level, const std::string& text) {
  xpc::logLine(logger, level, text);
}

xpc_object_t MiscConfigurationSettings::handleCommand(std::string command, xpc_object_t message) {
  using Self = MiscConfigurationSettings;
  // The order in which the words are tested.
  static const Command kCommands[] = {
      {"deletessidconfiguration", &Self::deleteNetworkConfigForSsid},
  };

  if (message == nullptr) {
    log(4, kNoCommandText);
    return nullptr;
  }
  if (command.empty()) return createError(message, kNoCommandText);
  // Unlike the other families, this one takes its words only as written: in
  // lower case.
  for (const Command& row : kCommands) {
    if (command == row.word) return (this->*row.handler)(message);
  }
  return nullptr;
}

xpc_object_t MiscConfigurationSettings::deleteNetworkConfigForSsid(xpc_object_t message) {
  if (message == nullptr) {
    log(4, "No command object was provided while attempting to delete a network configuration for an "
           "SSID!");
    return nullptr;
  }
  size_t ssidLength = 0;
  const void* ssid = xpc_dictionary_get_data(message, "SSID", &ssidLength);
  if (ssid == nullptr || ssidLength == 0) return createError(message, "No SSID was provided to delete!");
  // Required, though the removal does not depend on the user.
  if (getStringFromXpc(message, "Username").empty()) {
    return createError(
        message, "No user name was provided while attempting to delete the configuration for an SSID!");
  }
  std::string interfaceName = getStringFromXpc(message, "InterfaceName");
  if (interfaceName.empty()) {
    return createError(message, "No interface name was provided while attempting to delete an SSID!");
  }
  auto version = static_cast<unsigned int>(xpc_dictionary_get_int64(message, "WlanApiVersion"));
  if (version >= 2) {
    return createError(message,
                       "Invalid Wlan API version value provided while attempting to delete a network "
                       "configuration for an SSID!");
  }
  xpc::CoreWlanHelper wifi(logger, version);
  return createSuccessOrFailure(
      message, wifi.deleteConfigurationForSsid(interfaceName, static_cast<const char*>(ssid), ssidLength));
}
