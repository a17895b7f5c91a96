// Every command, answered or refused, releases every CF, XPC and CoreWLAN
// object it made: the helper's router and command families run in-process
// behind a loopback service, as in the helper, and emu counts the live
// objects.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Eventually.h"
#include "FakeMac.h"
#include "Logger.h"
#include "ServiceLoopback.h"
#include "XpcCommandHandler.h"
#include "XpcTestClient.h"
#include "emu/ObjectCounts.h"

namespace {

const char kService[] = "test.netconfig.leaks";
const char kUnknown[] = "11111111-2222-3333-4444-555555555555";
const Arg kHomeNet = Arg::data("SSID", std::string("HomeNet", 8));

TEST(NoLeaksTest, EveryCommandReleasesWhatItMade) {
  const std::pair<const char*, std::vector<Arg>> requests[] = {
      {"ping", {}},
      {"getversion", {}},
      {"nosuchcommand", {}},
      {"", {}},
      {"proxysetmanualserver", {{"Uuid", kEthernet}, {"NewValue", "p.example"}, {"Port", 3128}}},
      {"proxysetautodetected", {{"Uuid", kEthernet}, {"ResetOthers", 1}}},
      {"proxyautobyurl", {{"Uuid", kEthernet}, {"Url", "http://w/p.pac"}}},
      {"proxydisable", {{"Uuid", kEthernet}}},
      {"proxydisable", {{"Uuid", kUnknown}}},
      {"proxysetmanualserver", {{"Uuid", kEthernet}}},
      {"setipv6toautomatic", {{"Uuid", kEthernet}}},
      {"setipv6toautomatic", {{"Uuid", kUnknown}}},
      {"setnetworkprotocolenabled", {{"Uuid", kEthernet}, {"ProtocolConstant", "IPv6"}}},
      {"setnetworkprotocolenabled", {{"Uuid", kUnknown}, {"ProtocolConstant", "IPv6"}}},
      {"setinttoconfigpath", {{"Path", "/Custom"}, {"Key", "A"}, {"NewValue", 1}}},
      {"setinttoconfigpath", {{"Path", "/Custom"}, {"Key", "B"}, {"NewValue", 2}}},
      {"setinterfaceadminstate", {{"InterfaceName", "en3"}}},
      {"dhcprenew", {{"InterfaceName", "en0"}}},
      {"dhcprenew", {{"InterfaceName", "en9"}}},
      {"changefirewallstate", {{"Enabled", 1}}},
      {"changefirewallstate", {{"Enabled", 2}}},
      {"changeupdatechecksettings", {{"Frequency", 3}}},
      {"addnetworklocation", {{"Location", "Travel"}}},
      {"addnetworklocation", {{"Location", "Travel"}}},
      {"changenetworklocation", {{"Location", "Travel"}}},
      {"deletenetworklocation", {{"Location", "Travel"}}},
      {"deletenetworklocation", {{"Location", "Office"}}},
      {"changenetworklocation", {{"Location", "Nowhere"}}},
      {"addnetworklocation", {}},
      {"setssidpriority", {{"InterfaceName", "en1"}, kHomeNet, {"NewPriority", 0}, {"APILevel", 1ULL}}},
      {"setssidpriority", {{"InterfaceName", "en1"}, kHomeNet, {"NewPriority", 5}}},
      {"setssidpriority", {{"InterfaceName", "en1"}, Arg::data("SSID", "Nowhere")}},
      {"setssidpriority", {{"InterfaceName", "en9"}, kHomeNet}},
      {"deletessidconfiguration", {kHomeNet, {"Username", "alex"}, {"InterfaceName", "en1"}}},
      {"deletessidconfiguration", {kHomeNet, {"Username", "alex"}, {"InterfaceName", "en1"}, {"WlanApiVersion", 1}}},
      {"deletessidconfiguration", {kHomeNet, {"Username", "alex"}, {"InterfaceName", "en1"}, {"WlanApiVersion", 2}}},
  };
  Logger logger;
  Logger* log = &logger;
  __block std::vector<std::string> leaked;
  long xpcBefore = emu_xpc_live_objects();
  {
    XpcCommandHandler router(&logger);
    XpcCommandHandler* handler = &router;
    ServiceLoopback service(kService, ^(xpc_connection_t peer, xpc_object_t message) {
      log->setXpcConnection(peer);
      std::string command = xpc_dictionary_get_string(message, "Command");
      long cfBefore = emu_cf_live_objects();
      handler->handleCommand(peer, message);
      if (emu_cf_live_objects() != cfBefore || emu_wlan_live_objects() != 0) leaked.push_back(command);
    });
    XpcTestClient client(kService);
    for (const auto& [command, args] : requests) {
      EXPECT_EQ(xpc_get_type(client.send(makeRequest(command, args).get()).get()), XPC_TYPE_DICTIONARY) << command;
    }
    // As the helper does on a peer's last event: the runtime frees the peer after it.
    logger.setXpcConnection(nullptr);
  }
  EXPECT_EQ(leaked, std::vector<std::string>{}) << "commands whose CF or CoreWLAN objects outlived them";
  // Connection teardown finishes on the runtime's queues.
  EXPECT_TRUE(eventually([&] { return emu_xpc_live_objects() == xpcBefore; }))
      << emu_xpc_live_objects() - xpcBefore << " XPC objects left behind";
}

}  // namespace
