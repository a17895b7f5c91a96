// The proxy readers, which no command reaches: what a caller learns about
// each mode as the preferences hold it, and why a read fails.
#include <functional>
#include <string>

#include "NetconfigTestSupport.h"
#include "ProxySettingHelper.h"

namespace {

using xpc::ProxySettingHelper;

class ProxySettingHelperTest : public CFTest {
 protected:
  LogCapture log;
};

TEST_F(ProxySettingHelperTest, ReadersReportEachModeAsStoredAndAsTheSettersWriteIt) {
  ProxySettingHelper proxies(log.logger(), false);
  std::string server, url;
  int port = 0, enabled = -1;
  ASSERT_TRUE(proxies.getManualProxyServer(kOfficeEthernet, server, port, enabled));
  EXPECT_EQ(server, "proxy.corp.example");
  EXPECT_EQ(port, 3128);
  EXPECT_EQ(enabled, 1);

  // Nothing on Ethernet: each mode reads as off, and says why.
  ASSERT_TRUE(proxies.getManualProxyServer(kEthernet, server, port, enabled));
  EXPECT_EQ(enabled, 0);
  EXPECT_TRUE(log.saw(5, "The HTTPEnable setting wasn't found in our proxy configuration settings!  "
                         "Returning that manual settings are disabled!"));
  enabled = -1;
  ASSERT_TRUE(proxies.getAutoDetectedProxy(kEthernet, enabled));
  EXPECT_EQ(enabled, 0);
  EXPECT_TRUE(log.saw(5, "The HTTPEnabled setting wasn't found in our proxy configuration settings!  "
                         "Returning that 'auto detected' proxy is disabled!"));

  // A configuration URL without "HTTPEnabled" is not in use.
  enabled = -1;
  ASSERT_TRUE(proxies.getAutomaticProxyUrl(kOfficeWiFi, enabled, url));
  EXPECT_EQ(enabled, 0);
  EXPECT_TRUE(log.saw(5, "The HTTPEnabled setting wasn't found in our proxy configuration settings!  "
                         "Returning that 'auto config by URL' proxy is disabled!"));

  // "HTTPEnabled" is shared by the two automatic modes; each reader also wants its own key.
  ASSERT_TRUE(proxies.setAutoDetectedProxyEnabled(kEthernet, true));
  ASSERT_TRUE(proxies.getAutoDetectedProxy(kEthernet, enabled));
  EXPECT_EQ(enabled, 1);
  ASSERT_TRUE(proxies.getAutomaticProxyUrl(kEthernet, enabled, url));
  EXPECT_EQ(enabled, 0);
  EXPECT_TRUE(log.saw(5, "The auto-config by URL proxy setting wasn't found in the configuration.  "
                         "Returning that it is disabled."));

  ASSERT_TRUE(proxies.setAutomaticProxyUrl(kEthernet, "http://wpad.example.net/p.pac", true));
  ASSERT_TRUE(proxies.getAutomaticProxyUrl(kEthernet, enabled, url));
  EXPECT_EQ(enabled, 1);
  EXPECT_EQ(url, "http://wpad.example.net/p.pac");
  ASSERT_TRUE(proxies.getAutoDetectedProxy(kEthernet, enabled));
  EXPECT_EQ(enabled, 0);
  EXPECT_TRUE(log.saw(5, "The auto-detected proxy setting wasn't found in the configuration.  "
                         "Returning that it is disabled."));
}

TEST_F(ProxySettingHelperTest, DamagedSettingsAreReadFailures) {
  auto yes = cfstring("yes");
  auto one = cfnumber(1LL);
  auto host = cfstring("proxy.example.net");
  struct Case {
    xpc::CFRef<CFMutableDictionaryRef> stored;
    bool manual;  // else the URL reader
    const char* failure;
  } cases[] = {
      {cfdictionary({{"HTTPEnable", yes.get()}}), true,
       "Unable to convert a CFNumberRef to an int while getting manual proxy settings! (1)"},
      {cfdictionary({{"HTTPEnable", one.get()}}), true,
       "The HTTPProxy value wasn't found in our proxy configuration settings!"},
      {cfdictionary({{"HTTPEnable", one.get()}, {"HTTPProxy", host.get()}}), true,
       "The HTTPPort wasn't found in our proxy configuration settings!"},
      {cfdictionary({{"HTTPEnable", one.get()}, {"HTTPProxy", host.get()}, {"HTTPPort", yes.get()}}), true,
       "Unable to convert a CFNumberRef to an int while getting manual proxy settings! (2)"},
      {cfdictionary({{"HTTPEnabled", one.get()}, {"ProxyAutoConfigEnable", one.get()}}), false,
       "The ProxyAutoConfigURLString value wasn't found in our proxy configuration settings!"},
  };
  ProxySettingHelper proxies(log.logger(), true);
  for (const Case& c : cases) {
    storePreferences(servicePath(kEthernet, "Proxies"), c.stored.get());
    std::string text;
    int number = 0, enabled = 0;
    EXPECT_FALSE(c.manual ? proxies.getManualProxyServer(kEthernet, text, number, enabled)
                          : proxies.getAutomaticProxyUrl(kEthernet, enabled, text))
        << c.failure;
    EXPECT_TRUE(log.saw(4, c.failure)) << c.failure;
  }
}

TEST_F(ProxySettingHelperTest, AServiceThatCannotBeReadIsNamed) {
  const char unknown[] = "11111111-2222-3333-4444-555555555555";
  ProxySettingHelper proxies(log.logger(), true);
  int enabled = 0;
  EXPECT_FALSE(proxies.getAutoDetectedProxy(unknown, enabled));
  EXPECT_TRUE(log.saw(4, std::string("Unable to get proxy settings for interface with a UUID of '") + unknown + "'."));

  CFDictionaryRef settings = nullptr;
  bool on = false;
  const std::pair<std::function<bool()>, const char*> refusals[] = {
      {[&] { return proxies.getProxySettings("", &settings); },
       "The interface UUID was empty while trying to get a handle to the proxy settings!"},
      {[&] { return proxies.getProxySettings(kEthernet, nullptr); },
       "The resulting dictionary pointer was NULL while trying to get a handle to the proxy settings!"},
      {[&] { return proxies.isProxyProtocolEnabled("", on); },
       "The interface UUID was empty while trying to determine if a proxy protocol was enabled!"},
      {[&] { return proxies.setProxyProtocolEnabled("", true); },
       "The interface UUID is empty while trying to enable a proxy protocol!"},
  };
  for (const auto& [call, text] : refusals) {
    EXPECT_FALSE(call()) << text;
    EXPECT_TRUE(log.saw(4, text)) << text;
  }
  EXPECT_TRUE(proxies.isProxyProtocolEnabled(kEthernet, on));
  EXPECT_TRUE(on);
}

}  // namespace
