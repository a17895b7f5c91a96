// What survives a killed helper, a second writer, and broken preference
// files. No outcome here depends on timing: kills land wherever they land and
// the checks hold for every landing place.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>

#include "HelperSession.h"

namespace {

long long portOf(const char* service) {
  return Plist(kPreferencesPlist).intAt({"NetworkServices", service, "Proxies", "HTTPPort"});
}

TEST(ReliabilityTest, AKilledCommitLeavesThePreferencesWhollyOldOrWhollyNew) {
  HelperSession helper;
  long long committed = portOf(kEthernet);
  ASSERT_EQ(committed, -1);
  for (int round = 0; round < 32; ++round) {
    const int port = 2000 + round;
    auto request =
        makeRequest("proxysetmanualserver", {{"Uuid", kEthernet}, {"NewValue", "kill.example"}, {"Port", port}});
    helper.client().sendWithoutReply(request.get());
    // Spread the kills over the command's run (about a millisecond).
    usleep(static_cast<useconds_t>(round * 60));
    helper.process().signal(SIGKILL);
    EXPECT_EQ(helper.process().wait(), 128 + SIGKILL);

    Plist after(kPreferencesPlist);
    ASSERT_TRUE(after.loaded()) << "round " << round;
    long long found = portOf(kEthernet);
    EXPECT_TRUE(found == committed || found == port) << "round " << round << ": " << found;
    if (found == port) {
      EXPECT_EQ(after.stringAt({"NetworkServices", kEthernet, "Proxies", "HTTPProxy"}), "kill.example");
    }
    EXPECT_EQ(after.stringAt({"NetworkServices", kOfficeEthernet, "Proxies", "HTTPSProxy"}), "proxy.corp.example");
    committed = found;
    helper.restart();
  }
  // And the helper still works on what was left.
  EXPECT_TRUE(
      helper.succeeds("proxysetmanualserver", {{"Uuid", kEthernet}, {"NewValue", "after.example"}, {"Port", 1}}));
  EXPECT_EQ(portOf(kEthernet), 1);
}

TEST(ReliabilityTest, ConcurrentWritersNeverLoseAChangeTheyReportedMade) {
  HelperSession helper;
  const char* services[] = {kWiFi, kBridge, kOfficeEthernet, kOfficeWiFi};
  for (int round = 0; round < 5; ++round) {
    std::vector<std::unique_ptr<ChildProcess>> writers;
    for (int i = 0; i < 4; ++i) {
      writers.push_back(std::make_unique<ChildProcess>(std::vector<std::string>{
          NETCONFIG_ONCE_PATH, "proxysetmanualserver", services[i], "writer.example",
          std::to_string(100 * round + i)}));
    }
    const int helperPort = 100 * round + 50;
    bool helperMadeIt = helper.succeeds(
        "proxysetmanualserver", {{"Uuid", kEthernet}, {"NewValue", "helper.example"}, {"Port", helperPort}});
    int made = helperMadeIt ? 1 : 0;
    for (int i = 0; i < 4; ++i) {
      int status = writers[i]->wait();
      ASSERT_TRUE(status == 0 || status == 1) << "writer " << i << " ended with " << status;
      if (status == 0) {
        ++made;
        EXPECT_EQ(portOf(services[i]), 100 * round + i) << "round " << round << " writer " << i;
      }
    }
    if (helperMadeIt) EXPECT_EQ(portOf(kEthernet), helperPort) << "round " << round;
    if (!helperMadeIt) {
      EXPECT_TRUE(helper.logged(4, "Unable to get a write lock for the configuration settings!"));
    }
    EXPECT_GE(made, 1) << "round " << round;
    ASSERT_TRUE(Plist(kPreferencesPlist).loaded());
  }
}

TEST(ReliabilityTest, BrokenOrMissingPreferenceFilesFailCleanly) {
  HelperSession helper;
  const char kFirewallPlist[] = "/Library/Preferences/com.apple.alf.plist";
  const char kUpdatePlist[] = "/Library/Preferences/com.apple.SoftwareUpdate.plist";

  for (const char* broken : {"<?xml version=\"1.0\"?><plist><dict><key>globalstate",
                             "<?xml version=\"1.0\"?><plist><array/></plist>"}) {
    writeFile(kFirewallPlist, broken);
    EXPECT_TRUE(helper.fails("changefirewallstate", {{"Enabled", 1}}));
    EXPECT_TRUE(helper.logged(4, "Unable to load the firewall settings!"));
    EXPECT_EQ(fileBytes(kFirewallPlist), broken);
  }

  ASSERT_EQ(unlink(kUpdatePlist), 0);
  EXPECT_TRUE(helper.fails("changeupdatechecksettings", {{"Enable", true}}));
  EXPECT_TRUE(helper.logged(4, "Unable to load the software update settings!"));
  EXPECT_NE(access(kUpdatePlist, F_OK), 0) << "not created";

  const std::string garbage = "this is not a property list";
  writeFile(kPreferencesPlist, garbage);
  for (const char* command : {"proxysetmanualserver", "setipv6toautomatic", "proxydisable"}) {
    EXPECT_TRUE(helper.fails(command, {{"Uuid", kEthernet}, {"NewValue", "p.example"}})) << command;
    std::vector<LogLine> lines = helper.lines();
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const LogLine& l) { return l.level == 4; }))
        << command;
  }
  EXPECT_EQ(helper.error("addnetworklocation", {{"Location", "Travel"}}),
            "Unable to create the network location 'Travel'!");
  EXPECT_TRUE(helper.fails("dhcprenew", {{"InterfaceName", "en0"}}));
  EXPECT_EQ(fileBytes(kPreferencesPlist), garbage);

  ASSERT_EQ(unlink(kPreferencesPlist), 0);
  EXPECT_TRUE(helper.fails("proxydisable", {{"Uuid", kEthernet}}));
  EXPECT_TRUE(helper.running());
}

}  // namespace
