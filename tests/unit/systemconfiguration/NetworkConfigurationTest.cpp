#include "SCTestSupport.h"

namespace {

using namespace sctest;
using NetworkConfiguration = CFTest;

xpc::CFRef<SCNetworkServiceRef> copyService(SCPreferencesRef prefs, const char* serviceID) {
  return adopt(SCNetworkServiceCopy(prefs, cfstring(serviceID).get()));
}

xpc::CFRef<SCNetworkProtocolRef> copyProtocol(SCNetworkServiceRef service, CFStringRef type) {
  return adopt(SCNetworkServiceCopyProtocol(service, type));
}

TEST_F(NetworkConfiguration, CurrentSetListsItsServicesAndTheirInterfaces) {
  auto prefs = openPreferences();
  auto set = adopt(SCNetworkSetCopyCurrent(prefs.get()));
  ASSERT_TRUE(set);
  EXPECT_EQ(utf8(SCNetworkSetGetSetID(set.get())), kAutomatic);
  EXPECT_EQ(utf8(SCNetworkSetGetName(set.get())), "Automatic");

  auto services = adopt(SCNetworkSetCopyServices(set.get()));
  ASSERT_TRUE(services);
  std::vector<std::vector<std::string>> found;
  for (CFIndex i = 0; i < CFArrayGetCount(services.get()); ++i) {
    auto service = static_cast<SCNetworkServiceRef>(CFArrayGetValueAtIndex(services.get(), i));
    SCNetworkInterfaceRef interface = SCNetworkServiceGetInterface(service);
    found.push_back({utf8(SCNetworkServiceGetServiceID(service)), utf8(SCNetworkInterfaceGetBSDName(interface)),
                     utf8(SCNetworkInterfaceGetInterfaceType(interface)), utf8(SCNetworkServiceGetName(service))});
  }
  EXPECT_EQ(found, (std::vector<std::vector<std::string>>{{kEthernet, "en0", "Ethernet", "Ethernet"},
                                                          {kBridge, "bridge0", "Bridge", "Thunderbolt Bridge"},
                                                          {kWiFi, "en1", "IEEE80211", "Wi-Fi"}}));
  EXPECT_TRUE(CFEqual(copyService(prefs.get(), kEthernet).get(), CFArrayGetValueAtIndex(services.get(), 0)));
  EXPECT_TRUE(failedWith(copyService(prefs.get(), "00000000-0000-0000-0000-000000000000"), kSCStatusNoKey));

  EXPECT_EQ(CFArrayGetCount(adopt(SCNetworkServiceCopyAll(prefs.get())).get()), 6);
  auto sets = adopt(SCNetworkSetCopyAll(prefs.get()));
  ASSERT_EQ(CFArrayGetCount(sets.get()), 2);

  auto office = adopt(SCNetworkSetCopy(prefs.get(), cfstring(kOffice).get()));
  ASSERT_TRUE(office);
  EXPECT_EQ(utf8(SCNetworkSetGetName(office.get())), "Office");
  EXPECT_EQ(CFArrayGetCount(adopt(SCNetworkSetCopyServices(office.get())).get()), 3)
      << "a disabled service is still in its set";
  EXPECT_FALSE(SCNetworkServiceGetEnabled(copyService(prefs.get(), kOfficeBridge).get()));
  ASSERT_TRUE(SCNetworkSetSetCurrent(office.get()));
  EXPECT_EQ(utf8(SCPreferencesGetValue(prefs.get(), kSCPrefCurrentSet)), std::string("/Sets/") + kOffice);
  EXPECT_TRUE(CFEqual(adopt(SCNetworkSetCopyCurrent(prefs.get())).get(), office.get()));
}

TEST_F(NetworkConfiguration, ProtocolsKeepTheirEnabledStateInTheEntity) {
  auto prefs = openPreferences();
  auto ethernet = copyService(prefs.get(), kEthernet);
  auto ipv6 = copyProtocol(ethernet.get(), kSCNetworkProtocolTypeIPv6);
  ASSERT_TRUE(ipv6);
  EXPECT_EQ(utf8(SCNetworkProtocolGetProtocolType(ipv6.get())), "IPv6");
  EXPECT_TRUE(SCNetworkProtocolGetEnabled(ipv6.get()));
  CFDictionaryRef config = SCNetworkProtocolGetConfiguration(ipv6.get());
  EXPECT_EQ(utf8(valueAt(config, "ConfigMethod")), "Manual");
  EXPECT_NE(valueAt(config, "Addresses"), nullptr);

  // Entities of the interface are not protocols; a missing protocol is no key.
  for (CFStringRef type : {kSCEntNetInterface, kSCEntNetEthernet}) {
    EXPECT_TRUE(failedWith(copyProtocol(ethernet.get(), type), kSCStatusInvalidArgument));
  }
  EXPECT_TRUE(failedWith(copyProtocol(ethernet.get(), kSCNetworkProtocolTypeSMB), kSCStatusNoKey));

  // Disabling marks the entity; a new configuration keeps the mark. (Enabling
  // again is checked through the helper's command.)
  ASSERT_TRUE(SCNetworkProtocolSetEnabled(ipv6.get(), false));
  EXPECT_FALSE(SCNetworkProtocolGetEnabled(ipv6.get()));
  EXPECT_EQ(utf8(valueAt(SCNetworkProtocolGetConfiguration(ipv6.get()), "ConfigMethod")), "Manual");
  auto automatic = cfdictionary({{"ConfigMethod", kSCValNetIPv6ConfigMethodAutomatic}});
  ASSERT_TRUE(SCNetworkProtocolSetConfiguration(ipv6.get(), automatic.get()));
  EXPECT_FALSE(SCNetworkProtocolGetEnabled(ipv6.get()));
  ASSERT_TRUE(SCPreferencesCommitChanges(prefs.get()));

  auto stored = storedPreferences();
  CFTypeRef entity = valueAt(valueAt(valueAt(stored.get(), "NetworkServices"), kEthernet), "IPv6");
  EXPECT_TRUE(CFEqual(valueAt(entity, "__INACTIVE__"), kCFBooleanTrue));
  EXPECT_EQ(utf8(valueAt(entity, "ConfigMethod")), "Automatic");
  EXPECT_EQ(valueAt(entity, "Addresses"), nullptr);

  // A protocol with nothing but its disabled state has no configuration.
  auto dns = copyProtocol(ethernet.get(), kSCNetworkProtocolTypeDNS);
  ASSERT_TRUE(SCNetworkProtocolSetEnabled(dns.get(), false));
  EXPECT_EQ(SCNetworkProtocolGetConfiguration(dns.get()), nullptr);
  EXPECT_FALSE(SCNetworkProtocolGetEnabled(dns.get()));
}

}  // namespace
