#include "InterfaceConfigurationSettings.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Ipv6SettingHelper.h"
#include "ProxySettingHelper.h"
#include "StringTools.h"
#include "SysConfigDynamicStorePreferencesHelper.h"
#include "SysConfigPreferencesHelper.h"
#include "SystemConfigPrefsBase.h"

namespace {

using Self = InterfaceConfigurationSettings;

// The family's words, in the order in which they are tested.
const struct {
  const char* word;
  Self::Handler handler;
} kCommands[] = {
    {"commitmobileconfig", &Self::commitMobileconfigData},
    {"setssidpriority", &Self::setProfileToPriorityIndex},
    {"proxysetmanualserver", &Self::setManualProxyServer},
    {"proxydisable", &Self::disableProxyServer},
    {"proxyautobyurl", &Self::setAutoByUrlProxy},
    {"proxysetautodetected", &Self::setAutodetectedProxyServer},
    {"setnetworkprotocolenabled", &Self::setNetworkProtocolEnabled},
    {"setipv6toautomatic", &Self::setIpv6ToAutomatic},
    {"setinttoconfigpath", &Self::setIntToConfigPath},
    {"setinterfaceadminstate", &Self::setIntAdminState},
    {"dhcprenew", &Self::dhcpRenew},
};

// Integers arrive as int64 and are used as int.
int intArgument(xpc_object_t message, const char* key) {
  return static_cast<int>(xpc_dictionary_get_int64(message, key));
}

}  // namespace

InterfaceConfigurationSettings::InterfaceConfigurationSettings(Logger* logger)
    : CommandHandlerBase(logger) {}

InterfaceConfigurationSettings::Result InterfaceConfigurationSettings::Result::error(
    const char* text) {
  Result result(false);
  result.errorText = text;
  return result;
}

xpc_object_t InterfaceConfigurationSettings::handleCommand(std::string command,
                                                           xpc_object_t message) {
  if (noMessage(message,
                "No command object was provided while attempting to handle interface commands!")) {
    return nullptr;
  }
  if (command.empty()) {
    return createError(message,
                       "No command name was available while attempting to handle interface commands!");
  }
  std::string word = xpc::StringTools::stringToLower(command);
  for (const auto& row : kCommands) {
    if (word == row.word) return (this->*row.handler)(message);
  }
  return nullptr;
}

xpc_object_t InterfaceConfigurationSettings::run(xpc_object_t message, const Checks& checks,
                                                 const Operation& operation) {
  if (noMessage(message, checks.noMessageText)) return nullptr;
  Arguments arguments;
  arguments.first = getStringFromXpc(message, checks.firstKey);
  if (arguments.first.empty()) return createError(message, checks.firstInvalidText);
  if (checks.secondKey != nullptr) {
    arguments.second = getStringFromXpc(message, checks.secondKey);
    if (arguments.second.empty()) return createError(message, checks.secondInvalidText);
  }
  Result result = operation(arguments);
  if (result.errorText != nullptr) return createError(message, result.errorText);
  return createSuccessOrFailure(message, result.success);
}

xpc_object_t InterfaceConfigurationSettings::setManualProxyServer(xpc_object_t message) {
  xpc::ProxySettingHelper proxies(logger, false);
  return run(message,
             {"No command object was provided while attempting to set a manual proxy server!",
              "Uuid", "Invalid data provided while trying to set a static proxy server!",
              "NewValue", "Invalid data provided while trying to set a static proxy server! (2)"},
             [&](const Arguments& a) -> Result {
               return proxies.setManualProxyServer(a.first, a.second, intArgument(message, "Port"));
             });
}

xpc_object_t InterfaceConfigurationSettings::disableProxyServer(xpc_object_t message) {
  xpc::ProxySettingHelper proxies(logger, false);
  return run(message,
             {"No command object was provided while attempting to disable the proxy server!",
              "Uuid", "Invalid data provided while trying to disable the proxy server!"},
             [&](const Arguments& a) -> Result { return proxies.disableProxies(a.first); });
}

// The two automatic modes share the "disable" wording on purpose.
xpc_object_t InterfaceConfigurationSettings::setAutoByUrlProxy(xpc_object_t message) {
  xpc::ProxySettingHelper proxies(logger, false);
  return run(message,
             {"No command object was provided while attempting to set an auto URL proxy.", "Uuid",
              "Invalid data provided while trying to disable the proxy server!", "Url",
              "Invalid data provided while trying to disable the proxy server! (2)"},
             [&](const Arguments& a) -> Result {
               return proxies.setAutomaticProxyUrl(a.first, a.second,
                                                   xpc_dictionary_get_bool(message, "ResetOthers"));
             });
}

xpc_object_t InterfaceConfigurationSettings::setAutodetectedProxyServer(xpc_object_t message) {
  xpc::ProxySettingHelper proxies(logger, false);
  return run(
      message,
      {"No command object was provided while attempting to set an autodetected proxy server.",
       "Uuid", "Invalid data provided while trying to disable the proxy server!"},
      [&](const Arguments& a) -> Result {
        return proxies.setAutoDetectedProxyEnabled(a.first,
                                                   xpc_dictionary_get_bool(message, "ResetOthers"));
      });
}

xpc_object_t InterfaceConfigurationSettings::setNetworkProtocolEnabled(xpc_object_t message) {
  xpc::SystemConfigPrefsBase preferences(logger, false);
  return run(
      message,
      {"No command object was provided while attempting to enable or disable a network "
       "protocol!",
       "Uuid", "Invalid data provided while trying to change the state of a protocol!",
       "ProtocolConstant", "Invalid data provided while trying to change the state of a protocol!"},
      [&](const Arguments& a) -> Result {
        if (!preferences.acquireProtocolHandle(a.first, a.second)) {
          return Result::error(
              "Unable to acquire a handle to the desired protocol while attempting to enable or "
              "disable it!");
        }
        return preferences.setProtocolEnabled(xpc_dictionary_get_bool(message, "Enabled"));
      });
}

xpc_object_t InterfaceConfigurationSettings::setIpv6ToAutomatic(xpc_object_t message) {
  xpc::Ipv6SettingHelper ipv6(logger, false);
  return run(message,
             {"No command object was provided while attempting to set IPv6 to automatic.", "Uuid",
              "Invalid data provided while trying to set IPv6 to automatic!"},
             [&](const Arguments& a) -> Result { return ipv6.setAutomatic(a.first); });
}

xpc_object_t InterfaceConfigurationSettings::setIntToConfigPath(xpc_object_t message) {
  xpc::SysConfigPreferencesHelper preferences(logger, false);
  return run(message,
             {"No command object was provided while attempting to set an integer for an interface!",
              "Path", "Invalid data provided while trying to change a system setting!", "Key",
              "Invalid data provided while trying to change a system setting! (2)"},
             [&](const Arguments& a) -> Result {
               return preferences.setIntToConfigPath(a.first, a.second,
                                                     intArgument(message, "NewValue"));
             });
}

xpc_object_t InterfaceConfigurationSettings::setIntAdminState(xpc_object_t message) {
  return run(message,
             {"No command object was provided while attempting to set the interface administrative "
              "state.",
              "InterfaceName",
              "There was no interface name provided while trying to change the up/down state of an "
              "interface!"},
             [&](const Arguments& a) -> Result {
               return setInterfaceAdminState(a.first,
                                             xpc_dictionary_get_bool(message, "DesiredState"));
             });
}

xpc_object_t InterfaceConfigurationSettings::dhcpRenew(xpc_object_t message) {
  xpc::SysConfigDynamicStorePreferencesHelper store(logger);
  return run(message,
             {"No command object was provided while attempting to do a DHCP release/renew.",
              "InterfaceName",
              "There was no interface name provided while trying to a DHCP release/renew on the "
              "interface!"},
             [&](const Arguments& a) -> Result { return store.requestDhcpRenew(a.first); });
}

bool InterfaceConfigurationSettings::setInterfaceAdminState(std::string interfaceName, bool up) {
  if (interfaceName.empty()) {
    log(4, "Unable to determine the up/down state of an interface because the provided interface "
           "name was empty!");
    return false;
  }
  // The request's name field holds IFNAMSIZ - 1 bytes and a NUL.
  if (interfaceName.size() >= IFNAMSIZ) {
    log(4, "The interface name '" + interfaceName + "' is too long to be an interface name!");
    return false;
  }
  // errno is read before logging, which may change it.
  auto errorLine = [] { return std::string("    Error was : ") + strerror(errno); };
  int sock = socket(AF_INET, SOCK_DGRAM, 0);
  if (sock < 0) {
    std::string error = errorLine();
    log(4, "Unable to get a socket to operate on while checking the up/down state of an "
           "interface!");
    log(4, error);
    return false;
  }
  ifreq request{};
  memcpy(request.ifr_name, interfaceName.c_str(), interfaceName.size() + 1);
  bool result = false;
  if (ioctl(sock, SIOCGIFFLAGS, &request) < 0) {
    std::string error = errorLine();
    log(4, "Unable to get the interface up/down state for interface '" + interfaceName + "'!");
    log(4, error);
  } else if (((request.ifr_flags & IFF_UP) != 0) == up) {
    log(1, "The interface '" + interfaceName + "' was already in the desired up/down state!");
    result = true;
  } else {
    if (up) {
      log(5, "Changing interface flags to up...");
      request.ifr_flags |= IFF_UP;
    } else {
      log(5, "Changing interface flags to down...");
      request.ifr_flags &= ~IFF_UP;
    }
    if (ioctl(sock, SIOCSIFFLAGS, &request) < 0) {
      std::string error = errorLine();
      log(4, "Unable to set the interface up/down state for interface '" + interfaceName + "'!");
      log(4, error);
    } else {
      log(5, "The interface '" + interfaceName + "' state was changed!");
      result = true;
    }
  }
  close(sock);
  return result;
}
