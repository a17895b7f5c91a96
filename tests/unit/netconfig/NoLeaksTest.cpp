// Every command, answered or refused, releases every CF and XPC object it
// made: each family runs in-process behind a loopback service, as in the
// helper, and emu counts the live objects.
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "CommandHandlerBase.h"
#include "InterfaceConfigurationSettings.h"
#include "Logger.h"
#include "ServiceLoopback.h"
#include "SystemConfigurationSettings.h"
#include "XpcTestClient.h"
#include "emu/ObjectCounts.h"

namespace {

const char kService[] = "test.netconfig.leaks";
const char kEthernet[] = "38C9FE51-C1A3-4CC9-AD73-425D4F3C28A9";
const char kUnknown[] = "11111111-2222-3333-4444-555555555555";

struct Request {
  const char* command;
  std::vector<std::pair<const char*, const char*>> strings;
  std::vector<std::pair<const char*, int64_t>> numbers;
};

xpc::XpcRef build(const Request& r) {
  xpc::XpcRef message = makeRequest(r.command);
  for (const auto& [key, value] : r.strings) xpc_dictionary_set_string(message.get(), key, value);
  for (const auto& [key, value] : r.numbers) xpc_dictionary_set_int64(message.get(), key, value);
  return message;
}

class NoLeaksTest : public ::testing::Test {
 protected:
  // Runs the requests through `family`; answers the commands whose CF
  // objects outlived them, and checks the XPC count once all is torn down.
  std::vector<std::string> leaksOf(CommandHandlerBase& family, const std::vector<Request>& requests) {
    __block std::vector<std::string> leaked;
    CommandHandlerBase* handler = &family;
    long xpcBefore = emu_xpc_live_objects();
    {
      ServiceLoopback service(kService, ^(xpc_connection_t peer, xpc_object_t message) {
        logger.setXpcConnection(peer);
        const char* command = xpc_dictionary_get_string(message, "Command");
        long cfBefore = emu_cf_live_objects();
        xpc_object_t reply = handler->handleCommand(command ? command : "", message);
        if (emu_cf_live_objects() != cfBefore) leaked.push_back(command ? command : "");
        if (reply != nullptr) {
          xpc_connection_send_message(peer, reply);
          xpc_release(reply);
        }
      });
      XpcTestClient client(kService);
      for (const Request& request : requests) {
        xpc::XpcRef reply = client.send(build(request).get());
        EXPECT_EQ(xpc_get_type(reply.get()), XPC_TYPE_DICTIONARY) << request.command;
      }
      logger.setXpcConnection(nullptr);
    }
    // Connection teardown finishes on the runtime's queues; wait for it.
    for (int i = 0; i < 30000 && emu_xpc_live_objects() != xpcBefore; ++i) usleep(1000);
    EXPECT_EQ(emu_xpc_live_objects(), xpcBefore);
    return leaked;
  }

  Logger logger;
};

TEST_F(NoLeaksTest, InterfaceCommands) {
  InterfaceConfigurationSettings family(&logger);
  const std::vector<Request> requests = {
      {"proxysetmanualserver", {{"Uuid", kEthernet}, {"NewValue", "p.example"}}, {{"Port", 3128}}},
      {"proxysetautodetected", {{"Uuid", kEthernet}}, {{"ResetOthers", 1}}},
      {"proxyautobyurl", {{"Uuid", kEthernet}, {"Url", "http://w/p.pac"}}, {}},
      {"proxydisable", {{"Uuid", kEthernet}}, {}},
      {"proxydisable", {{"Uuid", kUnknown}}, {}},
      {"proxysetmanualserver", {{"Uuid", kEthernet}}, {}},
      {"setipv6toautomatic", {{"Uuid", kEthernet}}, {}},
      {"setipv6toautomatic", {{"Uuid", kUnknown}}, {}},
      {"setnetworkprotocolenabled", {{"Uuid", kEthernet}, {"ProtocolConstant", "IPv6"}}, {}},
      {"setnetworkprotocolenabled", {{"Uuid", kUnknown}, {"ProtocolConstant", "IPv6"}}, {}},
      {"setinttoconfigpath", {{"Path", "/Custom"}, {"Key", "A"}}, {{"NewValue", 1}}},
      {"setinttoconfigpath", {{"Path", "/Custom"}, {"Key", "B"}}, {{"NewValue", 2}}},
      {"setinterfaceadminstate", {{"InterfaceName", "en3"}}, {}},
      {"dhcprenew", {{"InterfaceName", "en0"}}, {}},
      {"dhcprenew", {{"InterfaceName", "en9"}}, {}},
      {"", {}, {}},
  };
  EXPECT_EQ(leaksOf(family, requests), std::vector<std::string>{});
}

TEST_F(NoLeaksTest, SystemCommands) {
  SystemConfigurationSettings family(&logger);
  const std::vector<Request> requests = {
      {"changefirewallstate", {}, {{"Enabled", 1}}},
      {"changefirewallstate", {}, {{"Enabled", 2}}},
      {"changeupdatechecksettings", {}, {{"Frequency", 3}}},
      {"addnetworklocation", {{"Location", "Travel"}}, {}},
      {"addnetworklocation", {{"Location", "Travel"}}, {}},
      {"changenetworklocation", {{"Location", "Travel"}}, {}},
      {"deletenetworklocation", {{"Location", "Travel"}}, {}},
      {"deletenetworklocation", {{"Location", "Office"}}, {}},
      {"changenetworklocation", {{"Location", "Nowhere"}}, {}},
      {"addnetworklocation", {}, {}},
  };
  EXPECT_EQ(leaksOf(family, requests), std::vector<std::string>{});
}

}  // namespace
