// The base root image: every property list parses, with libplist and with the
// support library as the helper reads the system's files, and the system's network
// configuration hangs together the way SystemConfiguration expects (links
// resolve, orders name the set's own services, devices exist).
#include <gtest/gtest.h>
#include <net/if.h>

#include <filesystem>
#include <set>

#include "FakeMac.h"
#include "Plist.h"
#include "PlistManipulator.h"

namespace fs = std::filesystem;

namespace {

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

// Which sets and services there are is checked through SystemConfiguration;
// here, that every one of them hangs together.
TEST(ImageTest, EachSetLinksItsOwnServicesInOrderAndEachServiceIsComplete) {
  Plist prefs = Plist::load(kPreferencesPlist);
  plist_t services = Plist::child(prefs.get(), "NetworkServices", PLIST_DICT);
  ASSERT_NE(services, nullptr);
  std::set<std::string> linkedAnywhere;
  for (const auto& [setId, set] : Plist::entries(Plist::child(prefs.get(), "Sets", PLIST_DICT))) {
    plist_t network = Plist::child(set, "Network", PLIST_DICT);
    plist_t global = Plist::child(Plist::child(network, "Global", PLIST_DICT), "IPv4", PLIST_DICT);
    auto order = Plist::strings(global, "ServiceOrder");
    ASSERT_TRUE(order) << setId;
    std::set<std::string> linked;
    for (const auto& [serviceId, link] : Plist::entries(Plist::child(network, "Service", PLIST_DICT))) {
      EXPECT_EQ(Plist::string(link, "__LINK__"), "/NetworkServices/" + serviceId);
      EXPECT_NE(Plist::child(services, serviceId.c_str(), PLIST_DICT), nullptr) << serviceId;
      EXPECT_TRUE(linkedAnywhere.insert(serviceId).second) << serviceId << " shared by two sets";
      linked.insert(serviceId);
    }
    EXPECT_EQ(std::set<std::string>(order->begin(), order->end()), linked) << setId;
    EXPECT_EQ(order->size(), linked.size()) << setId;
  }
  EXPECT_EQ(linkedAnywhere.size(), Plist::entries(services).size());

  for (const auto& [id, service] : Plist::entries(services)) {
    for (const char* entity : {"Interface", "IPv4", "IPv6", "Proxies", "DNS"}) {
      EXPECT_NE(Plist::child(service, entity, PLIST_DICT), nullptr) << id << " " << entity;
    }
    plist_t interface = Plist::child(service, "Interface", PLIST_DICT);
    for (const char* key : {"DeviceName", "Hardware", "Type", "UserDefinedName"}) {
      EXPECT_TRUE(Plist::string(interface, key)) << id << " " << key;
    }
    std::string device = Plist::string(interface, "DeviceName").value_or("");
    EXPECT_NE(if_nametoindex(device.c_str()), 0u) << device << " is not an interface here";

    plist_t ipv6 = Plist::child(service, "IPv6", PLIST_DICT);
    if (Plist::string(ipv6, "ConfigMethod") == "Manual") {
      auto addresses = Plist::strings(ipv6, "Addresses");
      plist_t prefixes = Plist::child(ipv6, "PrefixLength", PLIST_ARRAY);
      ASSERT_TRUE(addresses && prefixes) << id;
      EXPECT_EQ(addresses->size(), plist_array_get_size(prefixes)) << id;
      EXPECT_TRUE(Plist::string(ipv6, "Router")) << id;
    }
  }
}

// Their keys and order are checked where the Wi-Fi commands edit them.
TEST(ImageTest, KnownNetworksCarryTheirNamesAsSsidBytes) {
  Plist airport = Plist::load(kKnownNetworksPlist);
  auto known = Plist::entries(Plist::child(airport.get(), "KnownNetworks", PLIST_DICT));
  EXPECT_GE(known.size(), 2u);
  for (const auto& [key, network] : known) {
    plist_t ssid = Plist::child(network, "SSID", PLIST_DATA);
    ASSERT_NE(ssid, nullptr) << key;
    uint64_t length = 0;
    const char* bytes = plist_get_data_ptr(ssid, &length);
    EXPECT_EQ(Plist::string(network, "SSIDString"), std::string(bytes, length)) << key;
    EXPECT_TRUE(Plist::string(network, "SecurityType")) << key;
  }
}

}  // namespace
