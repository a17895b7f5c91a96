// The interface commands through the built helper: replies, log lines and
// what ends up in the network preferences and on the interfaces.
#include <gtest/gtest.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "HelperSession.h"

namespace {

using Keys = std::set<std::string>;

// The preferences now, under NetworkServices/<service>.
Plist preferences() { return Plist(kPreferencesPlist); }
Keys keysOf(const char* service, const char* entity) {
  return preferences().keysAt({"NetworkServices", service, entity});
}
std::string proxyText(const char* service, const char* key) {
  return preferences().stringAt({"NetworkServices", service, "Proxies", key});
}
long long proxyNumber(const char* service, const char* key) {
  return preferences().intAt({"NetworkServices", service, "Proxies", key});
}

bool interfaceIsUp(const char* name) {
  int fd = socket(AF_INET, SOCK_DGRAM, 0);
  ifreq request{};
  snprintf(request.ifr_name, IFNAMSIZ, "%s", name);
  EXPECT_EQ(ioctl(fd, SIOCGIFFLAGS, &request), 0) << name;
  close(fd);
  return (request.ifr_flags & IFF_UP) != 0;
}

class InterfaceCommandsTest : public ::testing::Test {
 protected:
  HelperSession helper;
};

TEST_F(InterfaceCommandsTest, ProxyModesLeaveExactlyTheirOwnKeys) {
  auto with = [](Keys extra) {
    extra.insert({"ExceptionsList", "FTPPassive"});
    return extra;
  };

  EXPECT_TRUE(helper.succeeds("proxysetautodetected", {{"Uuid", kEthernet}, {"ResetOthers", true}}));
  EXPECT_EQ(keysOf(kEthernet, "Proxies"), with({"ProxyAutoDiscoveryEnable", "HTTPEnabled"}));

  // Manual after auto-discovery: neither auto key survives.
  EXPECT_TRUE(helper.succeeds("proxysetmanualserver",
                              {{"Uuid", kEthernet}, {"NewValue", "proxy.example.net"}, {"Port", 8080}}));
  EXPECT_EQ(keysOf(kEthernet, "Proxies"), with({"HTTPProxy", "HTTPPort", "HTTPEnable"}));
  EXPECT_EQ(proxyText(kEthernet, "HTTPProxy"), "proxy.example.net");
  EXPECT_EQ(proxyNumber(kEthernet, "HTTPPort"), 8080);
  EXPECT_EQ(proxyNumber(kEthernet, "HTTPEnable"), 1);

  // Auto-discovery without reset keeps the manual server.
  EXPECT_TRUE(helper.succeeds("proxysetautodetected", {{"Uuid", kEthernet}, {"ResetOthers", false}}));
  EXPECT_EQ(keysOf(kEthernet, "Proxies"),
            with({"HTTPProxy", "HTTPPort", "HTTPEnable", "ProxyAutoDiscoveryEnable", "HTTPEnabled"}));

  // A configuration URL with reset drops all of that.
  EXPECT_TRUE(helper.succeeds("proxyautobyurl",
                              {{"Uuid", kEthernet}, {"Url", "http://wpad.example.net/p.pac"}, {"ResetOthers", true}}));
  EXPECT_EQ(keysOf(kEthernet, "Proxies"), with({"ProxyAutoConfigEnable", "ProxyAutoConfigURLString", "HTTPEnabled"}));
  EXPECT_EQ(proxyText(kEthernet, "ProxyAutoConfigURLString"), "http://wpad.example.net/p.pac");

  // Without "Port" the port is 0.
  EXPECT_TRUE(helper.succeeds("proxysetmanualserver", {{"Uuid", kEthernet}, {"NewValue", "p"}}));
  EXPECT_EQ(proxyNumber(kEthernet, "HTTPPort"), 0);
}

TEST_F(InterfaceCommandsTest, DisablingRemovesOnlyTheHttpKeys) {
  EXPECT_TRUE(helper.succeeds("proxydisable", {{"Uuid", kOfficeEthernet}}));
  EXPECT_EQ(keysOf(kOfficeEthernet, "Proxies"), (Keys{"ExceptionsList", "ExcludeSimpleHostnames", "FTPPassive",
                                                      "HTTPSEnable", "HTTPSPort", "HTTPSProxy"}));
  EXPECT_EQ(proxyText(kOfficeEthernet, "HTTPSProxy"), "proxy.corp.example");
}

TEST_F(InterfaceCommandsTest, Ipv6AutomaticScrubsTheManualAddress) {
  EXPECT_TRUE(helper.succeeds("SetIPv6ToAutomatic", {{"Uuid", kEthernet}}));
  EXPECT_EQ(keysOf(kEthernet, "IPv6"), Keys{"ConfigMethod"});
  EXPECT_EQ(preferences().stringAt({"NetworkServices", kEthernet, "IPv6", "ConfigMethod"}), "Automatic");
}

TEST_F(InterfaceCommandsTest, ProtocolsAreSwitchedOffAndOnAndUnknownTargetsAreErrors) {
  auto args = [](const char* service, const char* protocol, bool enabled) {
    return std::vector<Arg>{{"Uuid", service}, {"ProtocolConstant", protocol}, {"Enabled", enabled}};
  };
  auto inactive = [] { return preferences().at({"NetworkServices", kWiFi, "IPv6", "__INACTIVE__"}); };
  EXPECT_TRUE(helper.succeeds("setnetworkprotocolenabled", args(kWiFi, "IPv6", false)));
  EXPECT_NE(inactive(), nullptr);
  EXPECT_TRUE(helper.succeeds("setnetworkprotocolenabled", args(kWiFi, "IPv6", true)));
  EXPECT_EQ(inactive(), nullptr);

  const std::string acquireError =
      "Unable to acquire a handle to the desired protocol while attempting to enable or disable it!";
  const char* nobody = "00000000-0000-0000-0000-000000000000";
  EXPECT_EQ(helper.error("setnetworkprotocolenabled", args(nobody, "IPv6", true)), acquireError);
  EXPECT_TRUE(helper.logged(4, std::string("Unable to get access to the interface specified by the UUID '") +
                                   nobody + "'!"));
  EXPECT_EQ(helper.error("setnetworkprotocolenabled", args(kWiFi, "NoSuchProtocol", true)), acquireError);
  EXPECT_TRUE(helper.logged(4, "Unable to get a reference to the desired settings!"));
}

TEST_F(InterfaceCommandsTest, UnknownServicesFailEveryServiceCommandInAnyLetterCase) {
  const char* unknown = "11111111-2222-3333-4444-555555555555";
  const std::string notFound =
      std::string("Unable to get access to the interface specified by the UUID '") + unknown + "'!";
  std::string before = fileBytes(kPreferencesPlist);
  const std::pair<const char*, const char*> commands[] = {
      {"ProxySetManualServer", "Unable to get current proxy settings while trying to set the proxy "
                               "settings to manual!"},
      {"PROXYDISABLE", "Failed to disable proxies!"},
      {"ProxyAutoByUrl", "Failed to change proxy settings!"},
      {"proxySetAutoDetected", "Failed to set the proxy to auto detected!"},
      {"SetIPv6ToAutomatic", nullptr},
  };
  for (const auto& [command, failure] : commands) {
    EXPECT_TRUE(helper.fails(command, {{"Uuid", unknown}, {"NewValue", "p.example"}, {"Url", "http://x/"}}))
        << command;
    std::vector<LogLine> lines = helper.lines();
    EXPECT_TRUE(contains(lines, {4, notFound})) << command;
    if (failure != nullptr) EXPECT_TRUE(contains(lines, {4, failure})) << command;
  }
  EXPECT_EQ(fileBytes(kPreferencesPlist), before);
}

TEST_F(InterfaceCommandsTest, AnIntegerWriteReplacesTheValueStoredUnderThePath) {
  const std::string path = std::string("/NetworkServices/") + kWiFi + "/Interface";
  EXPECT_TRUE(helper.succeeds("setinttoconfigpath", {{"Path", path}, {"Key", "MTU"}, {"NewValue", 1400}}));
  EXPECT_EQ(preferences().keysAt({path}), Keys{"MTU"});
  EXPECT_EQ(preferences().intAt({path, "MTU"}), 1400);

  EXPECT_TRUE(helper.succeeds("SetIntToConfigPath", {{"Path", path}, {"Key", "Metric"}, {"NewValue", 7}}));
  EXPECT_EQ(preferences().keysAt({path}), Keys{"Metric"}) << "the first key is not carried over";
  EXPECT_EQ(preferences().stringAt({"NetworkServices", kWiFi, "Interface", "DeviceName"}), "en1");
}

TEST_F(InterfaceCommandsTest, AdminStateChangesTheRealInterface) {
  ASSERT_TRUE(interfaceIsUp("en0"));
  EXPECT_TRUE(helper.succeeds("setinterfaceadminstate", {{"InterfaceName", "en0"}, {"DesiredState", false}}));
  EXPECT_FALSE(interfaceIsUp("en0"));

  // A missing state reads as down: already so, nothing is written.
  EXPECT_TRUE(helper.succeeds("SetInterfaceAdminState", {{"InterfaceName", "en0"}}));
  EXPECT_TRUE(helper.logged(1, "The interface 'en0' was already in the desired up/down state!"));

  EXPECT_TRUE(helper.succeeds("setinterfaceadminstate", {{"InterfaceName", "en0"}, {"DesiredState", true}}));
  EXPECT_TRUE(interfaceIsUp("en0"));

  EXPECT_TRUE(helper.fails("setinterfaceadminstate", {{"InterfaceName", "en9"}, {"DesiredState", true}}));
  EXPECT_TRUE(helper.logged(4, "Unable to get the interface up/down state for interface 'en9'!"));
  // IFNAMSIZ bytes do not leave room for the terminating NUL.
  EXPECT_TRUE(helper.fails("setinterfaceadminstate", {{"InterfaceName", "en0aaaaaaaaaaaaa"}, {"DesiredState", false}}));
  EXPECT_TRUE(interfaceIsUp("en0"));
}

TEST_F(InterfaceCommandsTest, DhcpRenewNeedsAServiceOfTheCurrentLocation) {
  EXPECT_TRUE(helper.succeeds("DHCPRenew", {{"InterfaceName", "en0"}}));
  EXPECT_TRUE(helper.logged(5, "The interface 'en0' was issued a DHCP release/renew request!"));

  for (const char* name : {"en9", "en2", "EN0"}) {
    EXPECT_TRUE(helper.fails("dhcprenew", {{"InterfaceName", name}})) << name;
    std::vector<LogLine> lines = helper.lines();
    EXPECT_TRUE(contains(
        lines, {4, std::string("Unable to find an interface reference for the interface '") + name + "'!"}));
    EXPECT_TRUE(contains(
        lines, {4, "Unable to get an interface reference while attempting to release/renew a DHCP address!"}));
  }
}

// Each command with each of its string arguments missing or empty.
TEST_F(InterfaceCommandsTest, MissingArgumentsGetTheirCommandsErrorText) {
  struct Case {
    const char* command;
    std::vector<Arg> args;
    const char* error;
  };
  const char* u = kEthernet;
  const Case cases[] = {
      {"proxysetmanualserver", {{"NewValue", "p"}, {"Port", 1}},
       "Invalid data provided while trying to set a static proxy server!"},
      {"proxysetmanualserver", {{"Uuid", u}, {"NewValue", ""}},
       "Invalid data provided while trying to set a static proxy server! (2)"},
      {"proxydisable", {}, "Invalid data provided while trying to disable the proxy server!"},
      {"proxyautobyurl", {{"Url", "http://x/"}}, "Invalid data provided while trying to disable the proxy server!"},
      {"proxyautobyurl", {{"Uuid", u}}, "Invalid data provided while trying to disable the proxy server! (2)"},
      {"proxysetautodetected", {{"Uuid", ""}}, "Invalid data provided while trying to disable the proxy server!"},
      {"setnetworkprotocolenabled", {{"ProtocolConstant", "IPv6"}},
       "Invalid data provided while trying to change the state of a protocol!"},
      {"setnetworkprotocolenabled", {{"Uuid", u}},
       "Invalid data provided while trying to change the state of a protocol!"},
      {"setipv6toautomatic", {}, "Invalid data provided while trying to set IPv6 to automatic!"},
      {"setinttoconfigpath", {{"Key", "k"}}, "Invalid data provided while trying to change a system setting!"},
      {"setinttoconfigpath", {{"Path", "/p"}, {"Key", 3}},
       "Invalid data provided while trying to change a system setting! (2)"},
      {"setinterfaceadminstate", {{"DesiredState", true}},
       "There was no interface name provided while trying to change the up/down state of an interface!"},
      {"dhcprenew", {}, "There was no interface name provided while trying to a DHCP release/renew on the interface!"},
      {"", {}, "No command was provided while attempting to handle system configuration settings!"},
  };
  std::string before = fileBytes(kPreferencesPlist);
  for (const Case& c : cases) {
    xpc::XpcRef reply = helper.send(c.command, c.args);
    EXPECT_EQ(replyKeys(reply.get()), (std::vector<std::string>{"Error", "Response"})) << c.command;
    EXPECT_EQ(replyString(reply.get(), "Response"), "error") << c.command;
    EXPECT_EQ(replyString(reply.get(), "Error"), c.error) << c.command;
  }
  EXPECT_EQ(fileBytes(kPreferencesPlist), before);
  // A command on the network preferences opens them before it reads its arguments.
  helper.lines();
  helper.send("proxydisable");
  EXPECT_TRUE(helper.logged(5, "Getting read-write handle to the settings."));
}

}  // namespace
