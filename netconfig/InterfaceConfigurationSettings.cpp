#include "InterfaceConfigurationSettings.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Ipv6SettingHelper.h"
#include "ProxySettingHelper.h"
#include "SysConfigDynamicStorePreferencesHelper.h"
#include "SysConfigPreferencesHelper.h"
#include "SystemConfigPrefsBase.h"

InterfaceConfigurationSettings::InterfaceConfigurationSettings(Logger* logger)
    : CommandHandlerBase(logger) {}

xpc_object_t InterfaceConfigurationSettings::handleCommand(std::string command,
                                                           xpc_object_t message) {
  using Self = InterfaceConfigurationSettings;
  // The two automatic proxy modes share the "disable" wording on purpose.
  // Commands that work on the network preferences open them before they look
  // at their arguments.
  static const Command<Self> kCommands[] = {
      {"commitmobileconfig", &Self::commitMobileconfigData,
       {{"MobileConfigPath", "Invalid data provided while trying to commit the profile to the OS!"}}},
      {"setssidpriority", &Self::setProfileToPriorityIndex,
       {{"InterfaceName", "Invalid data provided while trying to set the SSID priority!"},
        {"SSID", "Invalid data provided while trying to set the SSID priority! (2)",
         Request::Required::Bytes}}},
      {"proxysetmanualserver", &Self::setManualProxyServer,
       {{"Uuid", "Invalid data provided while trying to set a static proxy server!"},
        {"NewValue", "Invalid data provided while trying to set a static proxy server! (2)"}},
       ArgumentCheck::ByHandler},
      {"proxydisable", &Self::disableProxyServer,
       {{"Uuid", "Invalid data provided while trying to disable the proxy server!"}}, ArgumentCheck::ByHandler},
      {"proxyautobyurl", &Self::setAutoByUrlProxy,
       {{"Uuid", "Invalid data provided while trying to disable the proxy server!"},
        {"Url", "Invalid data provided while trying to disable the proxy server! (2)"}}, ArgumentCheck::ByHandler},
      {"proxysetautodetected", &Self::setAutodetectedProxyServer,
       {{"Uuid", "Invalid data provided while trying to disable the proxy server!"}}, ArgumentCheck::ByHandler},
      {"setnetworkprotocolenabled", &Self::setNetworkProtocolEnabled,
       {{"Uuid", "Invalid data provided while trying to change the state of a protocol!"},
        {"ProtocolConstant", "Invalid data provided while trying to change the state of a protocol!"}},
       ArgumentCheck::ByHandler},
      {"setipv6toautomatic", &Self::setIpv6ToAutomatic,
       {{"Uuid", "Invalid data provided while trying to set IPv6 to automatic!"}}, ArgumentCheck::ByHandler},
      {"setinttoconfigpath", &Self::setIntToConfigPath,
       {{"Path", "Invalid data provided while trying to change a system setting!"},
        {"Key", "Invalid data provided while trying to change a system setting! (2)"}}, ArgumentCheck::ByHandler},
      {"setinterfaceadminstate", &Self::setIntAdminState,
       {{"InterfaceName",
         "There was no interface name provided while trying to change the up/down state of an "
         "interface!"}}},
      {"dhcprenew", &Self::dhcpRenew,
       {{"InterfaceName",
         "There was no interface name provided while trying to a DHCP release/renew on the "
         "interface!"}}, ArgumentCheck::ByHandler},
  };
  return dispatch(
      command, message,
      {"No command object was provided while attempting to handle interface commands!",
       "No command name was available while attempting to handle interface commands!", false},
      kCommands);
}

xpc_object_t InterfaceConfigurationSettings::setManualProxyServer(const Request& request) {
  xpc::ProxySettingHelper proxies(logger, false);
  if (xpc_object_t refusal = refuseMissing(request)) return refusal;
  return createSuccessOrFailure(
      request.message, proxies.setManualProxyServer(request.string("Uuid"), request.string("NewValue"),
                                                    request.integer("Port")));
}

xpc_object_t InterfaceConfigurationSettings::disableProxyServer(const Request& request) {
  xpc::ProxySettingHelper proxies(logger, false);
  if (xpc_object_t refusal = refuseMissing(request)) return refusal;
  return createSuccessOrFailure(request.message, proxies.disableProxies(request.string("Uuid")));
}

xpc_object_t InterfaceConfigurationSettings::setAutoByUrlProxy(const Request& request) {
  xpc::ProxySettingHelper proxies(logger, false);
  if (xpc_object_t refusal = refuseMissing(request)) return refusal;
  return createSuccessOrFailure(
      request.message, proxies.setAutomaticProxyUrl(request.string("Uuid"), request.string("Url"),
                                                    request.boolean("ResetOthers")));
}

xpc_object_t InterfaceConfigurationSettings::setAutodetectedProxyServer(const Request& request) {
  xpc::ProxySettingHelper proxies(logger, false);
  if (xpc_object_t refusal = refuseMissing(request)) return refusal;
  return createSuccessOrFailure(
      request.message,
      proxies.setAutoDetectedProxyEnabled(request.string("Uuid"), request.boolean("ResetOthers")));
}

xpc_object_t InterfaceConfigurationSettings::setNetworkProtocolEnabled(const Request& request) {
  xpc::SystemConfigPrefsBase preferences(logger, false);
  if (xpc_object_t refusal = refuseMissing(request)) return refusal;
  if (!preferences.acquireProtocolHandle(request.string("Uuid"), request.string("ProtocolConstant"))) {
    return createError(request.message,
                       "Unable to acquire a handle to the desired protocol while attempting to enable "
                       "or disable it!");
  }
  return createSuccessOrFailure(request.message,
                                preferences.setProtocolEnabled(request.boolean("Enabled")));
}

xpc_object_t InterfaceConfigurationSettings::setIpv6ToAutomatic(const Request& request) {
  xpc::Ipv6SettingHelper ipv6(logger, false);
  if (xpc_object_t refusal = refuseMissing(request)) return refusal;
  return createSuccessOrFailure(request.message, ipv6.setAutomatic(request.string("Uuid")));
}

xpc_object_t InterfaceConfigurationSettings::setIntToConfigPath(const Request& request) {
  xpc::SysConfigPreferencesHelper preferences(logger, false);
  if (xpc_object_t refusal = refuseMissing(request)) return refusal;
  return createSuccessOrFailure(
      request.message, preferences.setIntToConfigPath(request.string("Path"), request.string("Key"),
                                                      request.integer("NewValue")));
}

xpc_object_t InterfaceConfigurationSettings::setIntAdminState(const Request& request) {
  return createSuccessOrFailure(
      request.message,
      setInterfaceAdminState(request.string("InterfaceName"), request.boolean("DesiredState")));
}

xpc_object_t InterfaceConfigurationSettings::dhcpRenew(const Request& request) {
  xpc::SysConfigDynamicStorePreferencesHelper store(logger);
  if (xpc_object_t refusal = refuseMissing(request)) return refusal;
  return createSuccessOrFailure(request.message,
                                store.requestDhcpRenew(request.string("InterfaceName")));
}

bool InterfaceConfigurationSettings::setInterfaceAdminState(std::string interfaceName, bool up) {
  if (interfaceName.empty()) {
    log(LogLevel::Error, "Unable to determine the up/down state of an interface because the provided interface "
                         "name was empty!");
    return false;
  }
  // The request's name field holds IFNAMSIZ - 1 bytes and a NUL.
  if (interfaceName.size() >= IFNAMSIZ) {
    log(LogLevel::Error, "The interface name '" + interfaceName + "' is too long to be an interface name!");
    return false;
  }
  // errno is read before logging, which may change it.
  auto errorLine = [] { return std::string("    Error was : ") + strerror(errno); };
  int sock = socket(AF_INET, SOCK_DGRAM, 0);
  if (sock < 0) {
    std::string error = errorLine();
    log(LogLevel::Error, "Unable to get a socket to operate on while checking the up/down state of an "
                         "interface!");
    log(LogLevel::Error, error);
    return false;
  }
  ifreq request{};
  memcpy(request.ifr_name, interfaceName.c_str(), interfaceName.size() + 1);
  bool result = false;
  if (ioctl(sock, SIOCGIFFLAGS, &request) < 0) {
    std::string error = errorLine();
    log(LogLevel::Error, "Unable to get the interface up/down state for interface '" + interfaceName + "'!");
    log(LogLevel::Error, error);
  } else if (((request.ifr_flags & IFF_UP) != 0) == up) {
    log(LogLevel::Outcome, "The interface '" + interfaceName + "' was already in the desired up/down state!");
    result = true;
  } else {
    if (up) {
      log(LogLevel::Progress, "Changing interface flags to up...");
      request.ifr_flags |= IFF_UP;
    } else {
      log(LogLevel::Progress, "Changing interface flags to down...");
      request.ifr_flags &= ~IFF_UP;
    }
    if (ioctl(sock, SIOCSIFFLAGS, &request) < 0) {
      std::string error = errorLine();
      log(LogLevel::Error, "Unable to set the interface up/down state for interface '" + interfaceName + "'!");
      log(LogLevel::Error, error);
    } else {
      log(LogLevel::Progress, "The interface '" + interfaceName + "' state was changed!");
      result = true;
    }
  }
  close(sock);
  return result;
}
