// The base root image: every property list parses, with libplist and with the
// support library as the helper reads the system's files, and the system's network
// configuration hangs together the way SystemConfiguration expects (links
// resolve, orders name the set's own services, devices exist).
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <net/if.h>

#include <cstdlib>
#include <filesystem>
#include <regex>
#include <set>

#include "Plist.h"
#include "PlistManipulator.h"

namespace fs = std::filesystem;

namespace {

const char kPreferences[] = "/Library/Preferences/SystemConfiguration/preferences.plist";
const char kAirport[] = "/Library/Preferences/SystemConfiguration/com.apple.airport.preferences.plist";

bool isUuid(const std::string& s) {
  static const std::regex uuid("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}");
  return std::regex_match(s, uuid);
}

TEST(ImageTest, EveryFileIsAPropertyListAndIsInPlace) {
  const fs::path image = fs::path(MACHELPER_SOURCE_DIR) / "emu/fakemac/root";
  int files = 0;
  for (const auto& entry : fs::recursive_directory_iterator(image)) {
    if (!entry.is_regular_file()) continue;
    const fs::path inside = "/" / fs::relative(entry.path(), image);
    if (entry.path().filename() == ".keep") {
      EXPECT_FALSE(fs::exists(inside)) << "placeholder copied in: " << inside;
      EXPECT_TRUE(fs::is_directory(inside.parent_path())) << inside;
      continue;
    }
    ++files;
    // Programs stand in for the system's own, which are looked up by path.
    if ((entry.status().permissions() & fs::perms::owner_exec) != fs::perms::none) {
      EXPECT_TRUE(fs::exists(inside)) << inside;
      continue;
    }
    EXPECT_TRUE(Plist::load(entry.path()).isDict()) << entry.path();
    EXPECT_TRUE(xpc::PlistManipulator(nullptr).loadPlistFile(inside)) << inside;
  }
  EXPECT_GE(files, 10);
}

TEST(ImageTest, SystemKeychainStartsEmpty) {
  Plist keychain = Plist::load("/Library/Keychains/System.keychain");
  plist_t items = Plist::child(keychain.get(), "Items", PLIST_ARRAY);
  ASSERT_NE(items, nullptr);
  EXPECT_EQ(plist_array_get_size(items), 0u);
}

class NetworkPreferencesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    prefs_ = Plist::load(kPreferences);
    ASSERT_TRUE(prefs_.isDict());
    services_ = Plist::child(prefs_.get(), "NetworkServices", PLIST_DICT);
    sets_ = Plist::child(prefs_.get(), "Sets", PLIST_DICT);
    ASSERT_NE(services_, nullptr);
    ASSERT_NE(sets_, nullptr);
  }

  Plist prefs_;
  plist_t services_ = nullptr;
  plist_t sets_ = nullptr;
};

TEST_F(NetworkPreferencesTest, CurrentSetIsOneOfTwoOrMoreLocations) {
  std::set<std::string> names;
  for (const auto& [id, set] : Plist::entries(sets_)) {
    EXPECT_TRUE(isUuid(id)) << id;
    names.insert(Plist::string(set, "UserDefinedName").value_or(""));
  }
  EXPECT_GE(names.size(), 2u);
  EXPECT_TRUE(names.count("Automatic"));
  auto current = Plist::string(prefs_.get(), "CurrentSet");
  ASSERT_TRUE(current);
  ASSERT_EQ(current->rfind("/Sets/", 0), 0u) << *current;
  EXPECT_NE(Plist::child(sets_, current->substr(6).c_str(), PLIST_DICT), nullptr);
  EXPECT_TRUE(Plist::integer(prefs_.get(), "__VERSION__"));
}

TEST_F(NetworkPreferencesTest, EachSetLinksItsOwnServicesInOrder) {
  std::set<std::string> linkedAnywhere;
  for (const auto& [setId, set] : Plist::entries(sets_)) {
    plist_t network = Plist::child(set, "Network", PLIST_DICT);
    plist_t global = Plist::child(Plist::child(network, "Global", PLIST_DICT), "IPv4", PLIST_DICT);
    auto order = Plist::strings(global, "ServiceOrder");
    ASSERT_TRUE(order) << setId;
    std::set<std::string> linked;
    for (const auto& [serviceId, link] : Plist::entries(Plist::child(network, "Service", PLIST_DICT))) {
      EXPECT_EQ(Plist::string(link, "__LINK__"), "/NetworkServices/" + serviceId);
      EXPECT_NE(Plist::child(services_, serviceId.c_str(), PLIST_DICT), nullptr) << serviceId;
      EXPECT_TRUE(linkedAnywhere.insert(serviceId).second) << serviceId << " shared by two sets";
      linked.insert(serviceId);
    }
    EXPECT_GE(linked.size(), 3u) << setId;
    EXPECT_EQ(std::set<std::string>(order->begin(), order->end()), linked) << setId;
    EXPECT_EQ(order->size(), linked.size()) << setId;
  }
  EXPECT_EQ(linkedAnywhere.size(), Plist::entries(services_).size());
}

TEST_F(NetworkPreferencesTest, ServicesHaveTheirEntitiesAndRealDevices) {
  bool inactive = false, manualIPv6 = false;
  std::set<std::string> devices;
  for (const auto& [id, service] : Plist::entries(services_)) {
    EXPECT_TRUE(isUuid(id)) << id;
    for (const char* entity : {"Interface", "IPv4", "IPv6", "Proxies", "DNS"}) {
      EXPECT_NE(Plist::child(service, entity, PLIST_DICT), nullptr) << id << " " << entity;
    }
    plist_t interface = Plist::child(service, "Interface", PLIST_DICT);
    for (const char* key : {"DeviceName", "Hardware", "Type", "UserDefinedName"}) {
      EXPECT_TRUE(Plist::string(interface, key)) << id << " " << key;
    }
    std::string device = Plist::string(interface, "DeviceName").value_or("");
    EXPECT_NE(if_nametoindex(device.c_str()), 0u) << device << " is not an interface here";
    devices.insert(device);
    inactive |= Plist::integer(service, "__INACTIVE__") == 1;

    plist_t ipv6 = Plist::child(service, "IPv6", PLIST_DICT);
    if (Plist::string(ipv6, "ConfigMethod") == "Manual") {
      manualIPv6 = true;
      auto addresses = Plist::strings(ipv6, "Addresses");
      plist_t prefixes = Plist::child(ipv6, "PrefixLength", PLIST_ARRAY);
      ASSERT_TRUE(addresses && prefixes) << id;
      EXPECT_EQ(addresses->size(), plist_array_get_size(prefixes)) << id;
      EXPECT_TRUE(Plist::string(ipv6, "Router")) << id;
    }
  }
  EXPECT_TRUE(devices.count("en0") && devices.count("en1")) << "Ethernet and Wi-Fi";
  EXPECT_TRUE(inactive) << "no disabled service";
  EXPECT_TRUE(manualIPv6) << "no manual IPv6 service";
}

TEST(ImageTest, KnownNetworksAreKeyedBySsidAndOrdered) {
  Plist airport = Plist::load(kAirport);
  plist_t known = Plist::child(airport.get(), "KnownNetworks", PLIST_DICT);
  ASSERT_NE(known, nullptr);
  std::set<std::string> keys;
  for (const auto& [key, network] : Plist::entries(known)) {
    plist_t ssid = Plist::child(network, "SSID", PLIST_DATA);
    ASSERT_NE(ssid, nullptr) << key;
    char* bytes = nullptr;
    uint64_t length = 0;
    plist_get_data_val(ssid, &bytes, &length);
    std::string name(bytes, length);
    free(bytes);
    EXPECT_EQ(Plist::string(network, "SSIDString"), name);
    EXPECT_TRUE(Plist::string(network, "SecurityType")) << key;

    std::string expected = "wifi.ssid.<";
    for (size_t i = 0; i < name.size(); ++i) {
      char hex[3];
      snprintf(hex, sizeof hex, "%02x", static_cast<unsigned char>(name[i]));
      expected += (i && i % 4 == 0 ? " " : "") + std::string(hex);
    }
    EXPECT_EQ(key, expected + ">");
    keys.insert(key);
  }
  EXPECT_GE(keys.size(), 2u);
  auto order = Plist::strings(airport.get(), "PreferredOrder");
  ASSERT_TRUE(order);
  EXPECT_EQ(std::set<std::string>(order->begin(), order->end()), keys);
}

}  // namespace
