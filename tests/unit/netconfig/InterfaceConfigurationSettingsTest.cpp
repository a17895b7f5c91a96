// The interface family called in-process: what its handlers and the family
// contract answer to a missing message, and the up/down reader's refusals
// that no request can reach.
#include <sys/resource.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "InterfaceConfigurationSettings.h"
#include "NetconfigTestSupport.h"
#include "SystemConfigurationSettings.h"

namespace {

class InterfaceConfigurationSettingsTest : public CFTest {
 protected:
  LogCapture log;
  InterfaceConfigurationSettings family{log.logger()};
};

TEST_F(InterfaceConfigurationSettingsTest, NoMessageGetsNoReplyAnywhere) {
  using Self = InterfaceConfigurationSettings;
  const std::pair<Self::Handler, const char*> handlers[] = {
      {&Self::commitMobileconfigData, "No command object was provided while attempting to commit mobileconfig data!"},
      {&Self::setProfileToPriorityIndex,
       "No command object was provided while attempting to set the priority of a profile!"},
      {&Self::setManualProxyServer, "No command object was provided while attempting to set a manual proxy server!"},
      {&Self::disableProxyServer, "No command object was provided while attempting to disable the proxy server!"},
      {&Self::setAutoByUrlProxy, "No command object was provided while attempting to set an auto URL proxy."},
      {&Self::setAutodetectedProxyServer,
       "No command object was provided while attempting to set an autodetected proxy server."},
      {&Self::setNetworkProtocolEnabled,
       "No command object was provided while attempting to enable or disable a network protocol!"},
      {&Self::setIpv6ToAutomatic, "No command object was provided while attempting to set IPv6 to automatic."},
      {&Self::setIntToConfigPath,
       "No command object was provided while attempting to set an integer for an interface!"},
      {&Self::setIntAdminState,
       "No command object was provided while attempting to set the interface administrative state."},
      {&Self::dhcpRenew, "No command object was provided while attempting to do a DHCP release/renew."},
  };
  for (const auto& [handler, text] : handlers) {
    EXPECT_EQ((family.*handler)(nullptr), nullptr) << text;
    EXPECT_TRUE(log.saw(4, text)) << text;
  }

  EXPECT_EQ(family.handleCommand("ProxyDisable", nullptr), nullptr);
  EXPECT_TRUE(log.saw(4, "No command object was provided while attempting to handle interface commands!"));
  SystemConfigurationSettings system(log.logger());
  EXPECT_EQ(system.handleCommand("changefirewallstate", nullptr), nullptr);
  EXPECT_TRUE(
      log.saw(4, "No command object was provided while attempting to handle system configuration settings!"));
}

// No request reaches the installer without a path; called directly, it says so.
TEST_F(InterfaceConfigurationSettingsTest, TheProfileInstallerNeedsAPath) {
  EXPECT_FALSE(family.writeMobileconfigData(true, "", ""));
  EXPECT_TRUE(log.saw(4, "No mobileconfig path was provided while attempting to write our mobileconfig data!"));
}

TEST_F(InterfaceConfigurationSettingsTest, AdminStateNeedsANameAndASocket) {
  EXPECT_FALSE(family.setInterfaceAdminState("", false));
  EXPECT_TRUE(log.saw(4, "Unable to determine the up/down state of an interface because the provided interface "
                         "name was empty!"));

  // With every descriptor taken there is no socket to ask the interface with.
  rlimit saved{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &saved), 0);
  rlimit tight = saved;
  tight.rlim_cur = 256;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
  std::vector<int> taken;
  for (int fd; (fd = dup(STDERR_FILENO)) != -1;) taken.push_back(fd);
  bool changed = family.setInterfaceAdminState("en0", false);
  for (int fd : taken) close(fd);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &saved), 0);

  EXPECT_FALSE(changed);
  EXPECT_EQ(log.take(),
            (std::vector<LogLine>{
                {4, "Unable to get a socket to operate on while checking the up/down state of an interface!"},
                {4, "    Error was : Too many open files"}}));
}

}  // namespace
