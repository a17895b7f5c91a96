// The live-state readers no command reaches, the service lookup by name, and
// a DHCP renew that reaches the interface layer and is refused there.
#include <functional>
#include <string>
#include <vector>

#include "NetconfigTestSupport.h"
#include "SysConfigDynamicStorePreferencesHelper.h"

namespace {

using xpc::SysConfigDynamicStorePreferencesHelper;

const char kIPv4[] = "State:/Network/Interface/en0/IPv4";

class SysConfigDynamicStorePreferencesHelperTest : public CFTest {
 protected:
  LogCapture log;
  SysConfigDynamicStorePreferencesHelper store{log.logger()};
};

TEST_F(SysConfigDynamicStorePreferencesHelperTest, TypedReadsCheckWhatTheStoreHolds) {
  auto first = cfstring("10.0.0.5"), second = cfstring("10.0.0.6");
  auto seven = cfnumber(7LL);
  const void* addresses[] = {first.get(), second.get()};
  const void* numbers[] = {seven.get()};
  auto list = adopt(CFArrayCreate(nullptr, addresses, 2, &kCFTypeArrayCallBacks));
  auto none = adopt(CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks));
  auto notAddresses = adopt(CFArrayCreate(nullptr, numbers, 1, &kCFTypeArrayCallBacks));
  auto router = cfstring("10.0.0.1");
  storeDynamic(kIPv4, cfdictionary({{"Addresses", list.get()},
                                    {"Router", router.get()},
                                    {"Active", kCFBooleanTrue},
                                    {"Empty", none.get()},
                                    {"Numbers", notAddresses.get()}})
                          .get());
  storeDynamic("State:/Network/Note", CFSTR("not a dictionary"));

  EXPECT_EQ(store.getIpAddressFromDynamicStore(kIPv4, "Addresses"), "10.0.0.5");
  EXPECT_EQ(store.getStringFromDynamicStore(kIPv4, "Router"), "10.0.0.1");
  bool active = false;
  EXPECT_TRUE(store.getBoolFromDynamicStore(kIPv4, "Active", active));
  EXPECT_TRUE(active);

  const std::pair<std::function<bool()>, const char*> failures[] = {
      {[&] { return !store.getStringFromDynamicStore(kIPv4, "Addresses").empty(); },
       "Value requested from the dynamic system configuration provider was not a string!"},
      {[&] { return !store.getStringFromDynamicStore(kIPv4, "Gateway").empty(); },
       "The desired string was not returned from the dynamic system configuration provider!"},
      {[&] { return store.getBoolFromDynamicStore(kIPv4, "Router", active); },
       "Value requested from the dynamic system configuration provider was not a boolean!"},
      {[&] { return !store.getIpAddressFromDynamicStore(kIPv4, "Router").empty(); },
       "Value requested from the dynamic system configuration provider was not an array!"},
      {[&] { return !store.getIpAddressFromDynamicStore(kIPv4, "Gateway").empty(); },
       "The key used to request an IP address resulted in a NULL value."},
      {[&] { return !store.getIpAddressFromDynamicStore(kIPv4, "Empty").empty(); },
       "No IP address was found for the interface."},
      {[&] { return !store.getIpAddressFromDynamicStore(kIPv4, "Numbers").empty(); },
       "No IP address was found for the interface."},
      // Whatever was asked for, a value that is no dictionary is described the same way.
      {[&] { return !store.getStringFromDynamicStore("State:/Network/Note", "Router").empty(); },
       "Value requested from the dynamic system configuration provider was not what was expected while "
       "trying to get a boolean value!"},
      {[&] { return store.getBoolFromDynamicStore("State:/Network/Interface/en9/IPv4", "Active", active); },
       "Unable to get the requested path from the dynamic system configuration provider!"},
      {[&] { return store.getDictionaryFromDynamicStoreByPath("") != nullptr; },
       "The request passed to get information from the dynamic system configuration store was invalid!"},
      {[&] { return !store.getStringFromDynamicStore(kIPv4, "").empty(); },
       "One of the values passed to get a string from the dynamic system configuration store was empty!"},
      {[&] { return store.getBoolFromDynamicStore("", "Active", active); },
       "One of the values passed to get a bool from the dynamic system configuration store was empty!"},
      {[&] { return !store.getIpAddressFromDynamicStore(kIPv4, "").empty(); },
       "One of the values passed to get an IP address from the dynamic system configuration store was empty!"},
  };
  for (const auto& [call, text] : failures) {
    EXPECT_FALSE(call()) << text;
    EXPECT_TRUE(log.saw(4, text)) << text;
  }
}

TEST_F(SysConfigDynamicStorePreferencesHelperTest, ServicesAreFoundByTheirExactName) {
  EXPECT_EQ(store.getNetworkServiceId("Wi-Fi"), kWiFi);
  EXPECT_TRUE(log.saw(5, std::string("Found interface 'Wi-Fi' at service ID '") + kWiFi + "'."));
  EXPECT_EQ(store.getNetworkServiceId("wi-fi"), "");
  EXPECT_EQ(store.getNetworkServiceId(""), "");
  EXPECT_TRUE(log.saw(4, "No user defined name provided while trying to contact the system configuration "
                         "provider!"));

  // An id the preferences do not know is skipped; of two services with one
  // name, the one whose store key comes first wins.
  const char stranger[] = "00000000-0000-0000-0000-000000000000";
  storeDynamic(std::string("Setup:/Network/Service/") + stranger, cfdictionary().get());
  storeDynamic(std::string("Setup:/Network/Service/") + kOfficeBridge, cfdictionary().get());
  EXPECT_EQ(store.getNetworkServiceId("Thunderbolt Bridge"), kOfficeBridge);
  EXPECT_TRUE(log.saw(4, std::string("Failed to get interface data for interface with a UUID of '") + stranger +
                             "'.  An interface may be missing from our list."));
}

TEST_F(SysConfigDynamicStorePreferencesHelperTest, DhcpRenewIsRefusedForAServiceWithoutItsInterface) {
  // A service of the current location whose adapter has been unplugged.
  auto en7 = cfstring("en7"), ethernet = cfstring("Ethernet"), name = cfstring("USB LAN");
  storePreferences(servicePath(kBridge, "Interface"),
                   cfdictionary({{"DeviceName", en7.get()},
                                 {"Hardware", ethernet.get()},
                                 {"Type", ethernet.get()},
                                 {"UserDefinedName", name.get()}})
                       .get());
  EXPECT_FALSE(store.requestDhcpRenew("en7"));
  std::vector<LogLine> lines = log.take();
  EXPECT_TRUE(contains(lines, {4, "Unable to request a DHCP release/renew on interface 'en7'!"}));
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back().level, 4);
  EXPECT_EQ(lines.back().text.rfind("    Error : ", 0), 0u) << lines.back().text;
}

}  // namespace
