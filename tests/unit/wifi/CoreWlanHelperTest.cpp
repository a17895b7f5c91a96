// The Wi-Fi facade in-process against the fake Mac's emulated radio: which
// variant reaches the interfaces, the choice of the strongest instance of a
// network, joining with its one retry, power, the scan phases and their
// waits (recorded instead of slept), and the small queries.
#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "CFTestSupport.h"
#include "CoreWlanHelper.h"
#include "CoreWlanHelperMavericksPre.h"
#include "CoreWlanHelperYosemitePlus.h"
#include "LogCapture.h"
#include "emu/CoreWlanControl.h"
#include "emu/ObjectCounts.h"

namespace {

const char kRadio[] = "/var/emu/radio.plist";

struct Seen {
  std::string ssid;
  std::string bssid;
  int rssi;
  bool hidden = false;
};

struct Radio {
  bool power = true;
  std::vector<Seen> networks = {};
  std::vector<int> joinFailures = {};
  bool cached = true;  // the scan cache holds every network
  std::string associated = {};
};

// Replaces the fake Mac's radio environment: en1 and what it can see.
void writeRadio(const Radio& radio) {
  std::string networks, cache, failures;
  for (const Seen& n : radio.networks) {
    networks += "<dict><key>SSID</key><string>" + n.ssid + "</string><key>BSSID</key><string>" + n.bssid +
                "</string><key>RSSI</key><integer>" + std::to_string(n.rssi) +
                "</integer><key>Security</key><string>Open</string>" +
                (n.hidden ? "<key>Hidden</key><true/>" : "") + "</dict>";
    cache += "<string>" + n.bssid + "</string>";
  }
  for (int code : radio.joinFailures) failures += "<integer>" + std::to_string(code) + "</integer>";
  writeFile(kRadio, "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
                    "<key>Interfaces</key><dict><key>en1</key><dict><key>Power</key>" +
                        std::string(radio.power ? "<true/>" : "<false/>") +
                        (radio.associated.empty() ? ""
                                                  : "<key>Associated</key><string>" + radio.associated + "</string>") +
                        (radio.cached ? "<key>ScanCache</key><array>" + cache + "</array>" : "") +
                        "<key>JoinFailures</key><array>" + failures +
                        "</array></dict></dict><key>Networks</key><array>" + networks + "</array></dict></plist>");
}

std::string radioText(std::initializer_list<std::string> keys) {
  return utf8(valueAt(readPropertyList(kRadio).get(), keys));
}

long pendingJoinFailures() {
  auto radio = readPropertyList(kRadio);
  CFTypeRef failures = valueAt(radio.get(), {"Interfaces", "en1", "JoinFailures"});
  return failures ? CFArrayGetCount(static_cast<CFArrayRef>(failures)) : -1;
}

size_t countOf(const std::vector<LogLine>& lines, const LogLine& line) {
  return static_cast<size_t>(std::count(lines.begin(), lines.end(), line));
}

bool hasLineStarting(const std::vector<LogLine>& lines, int64_t level, const std::string& prefix) {
  return std::any_of(lines.begin(), lines.end(),
                     [&](const LogLine& l) { return l.level == level && l.text.rfind(prefix, 0) == 0; });
}

// SSIDs travel as their bytes and a NUL.
std::string wireSsid(const std::string& name) { return name + '\0'; }

class CoreWlanHelperTest : public CFTest {
 protected:
  CoreWlanHelperTest() {
    std::vector<unsigned int>* waits = &waits_;
    emu_wlan_set_sleep_handler(^(unsigned int seconds) { waits->push_back(seconds); });
  }
  ~CoreWlanHelperTest() override {
    emu_wlan_set_sleep_handler(nullptr);
    EXPECT_EQ(emu_wlan_live_objects(), 0) << "CoreWLAN objects outlived the operations";
  }

  // Joins with a facade of its own, as a command would.
  bool connect(const std::string& ssid, unsigned int version = 1) {
    xpc::CoreWlanHelper wifi(log.logger(), version);
    std::string name = wireSsid(ssid);
    return wifi.connectToSsid("en1", name.data(), name.size(), false);
  }

  LogCapture log;
  std::vector<unsigned int> waits_;
};

TEST_F(CoreWlanHelperTest, EachVariantReachesTheInterfacesItsOwnWay) {
  const std::vector<std::string> en1{"en1"};
  EXPECT_EQ(xpc::CoreWlanHelper(log.logger(), 0).getWirelessInterfaceNames(), en1);
  EXPECT_EQ(log.take(), std::vector<LogLine>{});
  // Any non-zero version is 10.10 and later.
  EXPECT_EQ(xpc::CoreWlanHelper(log.logger(), 7).getWirelessInterfaceNames(), en1);
  EXPECT_EQ(log.take(), (std::vector<LogLine>{{5, "Saved interface 'en1' as a wireless interface."}}));

  // Only the pre-10.10 variant tests for an empty name itself.
  xpc::CoreWlanHelperMavericksPre mavericks(log.logger());
  xpc::CoreWlanHelperYosemitePlus yosemite(log.logger());
  EXPECT_FALSE(mavericks.getInterfaceFromNetworkInterfaceData(""));
  EXPECT_TRUE(log.saw(4, "No interface name provided while attempting to get an interface object!"));
  EXPECT_FALSE(yosemite.getInterfaceFromNetworkInterfaceData(""));
  EXPECT_FALSE(yosemite.getInterfaceFromNetworkInterfaceData("en0"));  // Ethernet
  EXPECT_TRUE(mavericks.getInterfaceFromNetworkInterfaceData("en1"));
  EXPECT_EQ(log.take(), std::vector<LogLine>{});

  writeFile(kRadio, "<plist version=\"1.0\"><dict><key>Interfaces</key><dict/></dict></plist>");
  EXPECT_EQ(mavericks.getWirelessInterfaceNames(), std::vector<std::string>{});
  EXPECT_EQ(log.take(), (std::vector<LogLine>{{4, "No interfaces were listed while getting wireless interface names!"}}));
  EXPECT_EQ(yosemite.getWirelessInterfaceNames(), std::vector<std::string>{});
  EXPECT_EQ(log.take(),
            (std::vector<LogLine>{{4, "CoreWlan didn't provide us with a list of wireless interface names!"}}));
}

TEST_F(CoreWlanHelperTest, TheStrongestInstanceIsJoinedAndTheFirstOfEquals) {
  writeRadio({true, {{"Lab", "02:00:00:00:00:01", -60}, {"Lab", "02:00:00:00:00:02", -60}, {"Other", "02:00:00:00:00:03", -40}}});
  EXPECT_TRUE(connect("Lab"));
  EXPECT_EQ(radioText({"Interfaces", "en1", "Associated"}), "02:00:00:00:00:01");
  std::vector<LogLine> lines = log.take();
  EXPECT_TRUE(contains(lines, {5, "Found our first instance of SSID : 'Lab'.   RSSI : -60"}));
  EXPECT_TRUE(contains(lines, {5, "Found our network! (1)"}));

  writeRadio({true, {{"Lab", "02:00:00:00:00:01", -70}, {"Lab", "02:00:00:00:00:02", -55}}});
  EXPECT_TRUE(connect("Lab", 0));
  EXPECT_EQ(radioText({"Interfaces", "en1", "Associated"}), "02:00:00:00:00:02");
  EXPECT_TRUE(log.saw(5, "Found a better instance of our SSID 'Lab'.  Old RSSI : -70  New RSSI : -55"));
  EXPECT_EQ(waits_, std::vector<unsigned int>{});
}

TEST_F(CoreWlanHelperTest, OnlyCouldNotCompleteIsRetriedAndOnlyOnce) {
  const Seen lab{"Lab", "02:00:00:00:00:01", -60};
  const LogLine retry{5, "Attempt to connect to the wireless network resulted in an 'operation couldn't be "
                         "completed' error.  Will try again..."};

  writeRadio({true, {lab}, {-3905}});
  EXPECT_TRUE(connect("Lab"));
  EXPECT_TRUE(log.saw(retry.level, retry.text));
  EXPECT_EQ(waits_, std::vector<unsigned int>{5});

  waits_.clear();
  writeRadio({true, {lab}, {-3905, -3905, -3905}});
  EXPECT_FALSE(connect("Lab"));
  EXPECT_EQ(pendingJoinFailures(), 1) << "two attempts, not three";
  EXPECT_EQ(waits_, std::vector<unsigned int>{5});
  std::vector<LogLine> lines = log.take();
  EXPECT_EQ(countOf(lines, retry), 1u);
  EXPECT_TRUE(contains(lines, {4, "Unable to connect to the SSID : Lab"}));
  EXPECT_TRUE(hasLineStarting(lines, 4,
                              "   Mac error string : The operation couldn\u2019t be completed. "
                              "(com.apple.coreWLAN.error error -3905.)   (Code = -3905  Domain = "
                              "com.apple.coreWLAN.error  User Info = "));

  waits_.clear();
  writeRadio({true, {lab}, {-3909, -3905}});  // association denied
  EXPECT_FALSE(connect("Lab"));
  EXPECT_EQ(pendingJoinFailures(), 1);
  EXPECT_EQ(waits_, std::vector<unsigned int>{});
  EXPECT_EQ(countOf(log.take(), retry), 0u);
  EXPECT_EQ(radioText({"Interfaces", "en1", "Associated"}), "");
}

TEST_F(CoreWlanHelperTest, APoweredOffInterfaceIsSwitchedOnBeforeTheScan) {
  writeRadio({false, {{"Lab", "02:00:00:00:00:01", -60}}, {}, false});
  EXPECT_TRUE(connect("Lab"));
  std::vector<LogLine> lines = log.take();
  EXPECT_TRUE(contains(lines, {5, "The wireless interface isn't power on.  Will turn it on."}));
  xpc::CoreWlanHelper wifi(log.logger(), 1);
  EXPECT_TRUE(wifi.interfaceIsPoweredOn("en1"));
  EXPECT_EQ(wifi.rssi("en1"), -60);
}

TEST_F(CoreWlanHelperTest, WithoutAnyScanDataBothPhasesWaitSixTimes) {
  writeRadio({true, {}});
  EXPECT_FALSE(connect("Lab"));
  EXPECT_EQ(waits_, std::vector<unsigned int>(12, 5));
  std::vector<LogLine> lines = log.take();
  EXPECT_EQ(countOf(lines, {4, "Didn't get any scan results, even with an active scan!"}), 12u);
  EXPECT_EQ(countOf(lines, {5, "Scanning for the SSID : Lab"}), 12u);
  EXPECT_TRUE(contains(lines, {5, "Network wasn't found in our scan cache..  Trying an active scan.."}));
  EXPECT_TRUE(contains(lines, {4, "Unable to locate any wireless network scan data!  Is the interface powered on!?"}));
  EXPECT_TRUE(contains(lines, {4, "SSID 'Lab' was not found in the scan results while attempting to connect!"}));
}

TEST_F(CoreWlanHelperTest, AHiddenNetworkIsFoundByTheActiveScanWithoutWaiting) {
  writeRadio({true, {{"Lab", "02:00:00:00:00:01", -60, true}, {"Cafe", "02:00:00:00:00:02", -80}}});
  EXPECT_TRUE(connect("Lab"));
  std::vector<LogLine> lines = log.take();
  EXPECT_TRUE(contains(lines, {5, "Checking if SSID '' is the network we are looking for..."}));
  EXPECT_TRUE(contains(lines, {5, "Network wasn't found in our scan cache..  Trying an active scan.."}));
  EXPECT_FALSE(contains(lines, {5, "Found our network! (1)"}));
  EXPECT_EQ(radioText({"Interfaces", "en1", "Associated"}), "02:00:00:00:00:01");

  // Absent from an active scan that saw other networks: no second scan.
  EXPECT_FALSE(connect("Elsewhere"));
  EXPECT_EQ(waits_, std::vector<unsigned int>{});
}

TEST_F(CoreWlanHelperTest, QueriesFollowTheRadio) {
  writeRadio({true, {{"Corp", "02:00:00:00:00:01", -58}, {"Lab", "02:00:00:00:00:02", -61, true}}, {}, true,
              "02:00:00:00:00:01"});
  xpc::CoreWlanHelper wifi(log.logger(), 0);
  char* ssid = nullptr;
  unsigned long length = 0;
  bool associated = false;
  ASSERT_TRUE(wifi.getCurrentSsid("en1", &ssid, length, associated, false));
  EXPECT_EQ(std::string(ssid, length), "Corp");
  EXPECT_TRUE(associated);
  delete[] ssid;
  EXPECT_EQ(wifi.rssi("en1"), -58);
  EXPECT_EQ(wifi.getAvailableSsids("en1"), std::vector<std::string>{"Corp"});  // the hidden one has no name
  EXPECT_EQ(wifi.getConfiguredSsids("en1"), (std::vector<std::string>{"Corp-Secure", "HomeNet", "Cafe Guest"}));

  EXPECT_TRUE(wifi.disassociate("en1"));
  EXPECT_FALSE(wifi.getCurrentSsid("en1", &ssid, length, associated, false));
  EXPECT_FALSE(associated);
  EXPECT_TRUE(log.saw(4, "Interface is either not associated, or there was an error with the API to get the SSID."));
  EXPECT_EQ(wifi.rssi("en1"), 0);

  EXPECT_TRUE(wifi.setPowerOn("en1", false));
  EXPECT_FALSE(wifi.interfaceIsPoweredOn("en1"));
  EXPECT_EQ(wifi.getAvailableSsids("en1"), std::vector<std::string>{});
  EXPECT_EQ(log.take(), (std::vector<LogLine>{{5, "No data in the scan cache.  Will start an active scan..."},
                                              {4, "No scan results returned on wireless interface 'en1'!"}}));
}

TEST_F(CoreWlanHelperTest, EveryOperationNamesItsMissingInterface) {
  xpc::CoreWlanHelper wifi(log.logger(), 1);
  char* ssid = nullptr;
  unsigned long length = 0;
  bool associated = false;
  const std::string lab = wireSsid("Lab");
  const std::vector<std::pair<std::function<void(const std::string&)>, std::pair<std::string, std::string>>> cases{
      {[&](const std::string& n) { wifi.getCurrentSsid(n, &ssid, length, associated, false); },
       {"Invalid interface name passed to getCurrentSsid()!", "get the current SSID"}},
      {[&](const std::string& n) { wifi.interfaceIsPoweredOn(n); },
       {"The interface name was empty while trying to determine if a wireless interface was powered on!",
        "connect to an open SSID"}},
      {[&](const std::string& n) { wifi.rssi(n); },
       {"No interface name was provided while attempting to get the RSSI for an interface!", "get the wireless RSSI"}},
      {[&](const std::string& n) { wifi.setPowerOn(n, true); },
       {"The interface provided was empty while trying to change the power on/off state of a wireless interface!",
        "change the power on/off state"}},
      {[&](const std::string& n) { wifi.getAvailableSsids(n); },
       {"Invalid interface name passed to getAvailableSsids()!", "get the available SSID list"}},
      {[&](const std::string& n) { wifi.getConfiguredSsids(n); },
       {"Invalid interface name passed to getConfiguredSsids()!", "get the configured SSID list"}},
      {[&](const std::string& n) { wifi.disassociate(n); },
       {"Invalid interface name passed to disassociate()!", "disassociate"}},
      {[&](const std::string& n) { wifi.deleteConfigurationForSsid(n, lab.data(), lab.size()); },
       {"Invalid interface name passed to deleteConfigurationForSsid()!", "delete a configuration by SSID name"}},
  };
  for (const auto& [operation, texts] : cases) {
    operation("");
    EXPECT_EQ(log.take(), (std::vector<LogLine>{{4, texts.first}})) << texts.second;
    operation("en9");
    EXPECT_EQ(log.take(), (std::vector<LogLine>{{4, "Unable to locate the wireless interface 'en9' while attempting to " +
                                                        texts.second + "!"}}));
  }

  EXPECT_FALSE(wifi.connectToNetwork("", lab.data(), lab.size(), false));
  EXPECT_TRUE(log.saw(4, "No interface name was provided while attempting to connect to an SSID!"));
  EXPECT_FALSE(wifi.connectToNetwork("en1", nullptr, 0, false));
  EXPECT_TRUE(log.saw(4, "No SSID was provided while attempting to connect to an SSID!"));
}

TEST_F(CoreWlanHelperTest, PositionsAreReadFromThePreferredOrder) {
  xpc::CoreWlanHelper wifi(log.logger(), 1);
  unsigned int priority = 99;
  const std::string cafe = wireSsid("Cafe Guest");
  ASSERT_TRUE(wifi.getSsidPriorityLevel("en1", cafe.data(), cafe.size(), priority));
  EXPECT_EQ(priority, 2u);
  EXPECT_TRUE(log.saw(5, "Found SSID/profile 'Cafe Guest' at priority 2"));
  // Bytes after the NUL are not part of the name.
  std::string trailing("HomeNet\0xyz", 11);
  ASSERT_TRUE(wifi.getSsidPriorityLevel("en1", trailing.data(), trailing.size(), priority));
  EXPECT_EQ(priority, 1u);

  EXPECT_FALSE(wifi.getSsidPriorityLevel("", cafe.data(), cafe.size(), priority));
  EXPECT_TRUE(log.saw(4, "Selected interface is empty while attempting to get the priority of an SSID!"));
  EXPECT_FALSE(wifi.setSsidToPriorityLevel("", cafe.data(), cafe.size(), 0));
  EXPECT_TRUE(log.saw(4, "Selected interface is empty while attempting to change the priority of an SSID!"));

  const std::string home = wireSsid("homenet");  // names match exactly
  EXPECT_FALSE(wifi.getSsidPriorityLevel("en1", home.data(), home.size(), priority));
  EXPECT_TRUE(log.saw(4, "The SSID 'homenet' was not found on the interface 'en1'.  Unable to determine the "
                         "current priority level!"));
}

TEST_F(CoreWlanHelperTest, ErrorTextOfNoError) {
  xpc::CoreWlanHelperYosemitePlus wifi(log.logger());
  EXPECT_EQ(wifi.nsErrorToString(nullptr), "(Invalid NSError Value)");
  EXPECT_TRUE(log.saw(4, "The NSError object provided to logNsError was NULL!"));
}

}  // namespace
