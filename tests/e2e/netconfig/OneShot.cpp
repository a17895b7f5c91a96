// One change per process, the way a script makes it today: the same
// netconfig classes as the helper, with no helper in between.
//
//   netconfig_once proxysetmanualserver UUID SERVER PORT
//   netconfig_once setinterfaceadminstate NAME up|down
//
// Exit status 0 when the change was made, 1 when it failed, 2 for bad usage.
#include <cstdlib>
#include <string>

#include "InterfaceConfigurationSettings.h"
#include "ProxySettingHelper.h"

int main(int argc, char** argv) {
  std::string command = argc > 1 ? argv[1] : "";
  if (command == "proxysetmanualserver" && argc == 5) {
    xpc::ProxySettingHelper proxies(nullptr, false);
    return proxies.setManualProxyServer(argv[2], argv[3], atoi(argv[4])) ? 0 : 1;
  }
  if (command == "setinterfaceadminstate" && argc == 4) {
    InterfaceConfigurationSettings interfaces(nullptr);
    return interfaces.setInterfaceAdminState(argv[2], std::string(argv[3]) == "up") ? 0 : 1;
  }
  return 2;
}
