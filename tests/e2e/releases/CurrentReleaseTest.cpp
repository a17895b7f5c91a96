// The built helper on macOS 15: the firewall set through socketfilterfw, and
// what the release refuses (profile installation, admin trust) answered as
// on any release. The line that says what the user must do instead is checked
// word for word on every release by compatibility.sh against the README.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "Certificate.h"
#include "ChildProcess.h"
#include "HelperSession.h"

namespace {

const char kFirewallPlist[] = "/Library/Preferences/com.apple.alf.plist";
const char kAdminTrust[] = "/Library/Security/Trust Settings/Admin.plist";
const char kSocketFilter[] = "/usr/libexec/ApplicationFirewall/socketfilterfw";
const char kProfilesRefusal[] =
    "profiles tool no longer supports installs. Use System Preferences Profiles to add configuration profiles.\n";

// What socketfilterfw itself says of the global state.
std::string firewallState() { return ChildProcess::run({kSocketFilter, "--getglobalstate"}).out; }

class CurrentReleaseTest : public ::testing::Test {
 protected:
  HelperSession helper;
};

TEST_F(CurrentReleaseTest, TheFirewallIsSetThroughItsToolWithTheUsualReplies) {
  ASSERT_NE(access(kFirewallPlist, F_OK), 0) << "macOS 15 keeps no firewall property list";
  EXPECT_TRUE(helper.succeeds("changefirewallstate", {{"Enabled", 1}}));
  EXPECT_EQ(firewallState(), "Firewall is enabled. (State = 1)\n");
  EXPECT_NE(access(kFirewallPlist, F_OK), 0) << "no property list written beside the tool";

  // Refused values are refused before the tool runs.
  EXPECT_TRUE(helper.fails("changefirewallstate", {{"Enabled", 2}}));
  EXPECT_TRUE(helper.logged(
      4, "The value provided to setFirewallState() wasn't 1 or 0.  Cannot change the state of the firewall!"));
  EXPECT_EQ(firewallState(), "Firewall is enabled. (State = 1)\n");

  EXPECT_TRUE(helper.succeeds("ChangeFirewallState", {{"Enabled", 0}}));
  EXPECT_EQ(firewallState(), "Firewall is disabled. (State = 0)\n");
}

TEST_F(CurrentReleaseTest, AProfileIsRefusedWithTheToolsWordsAndWhatTheUserDoesInstead) {
  const std::string profile = MACHELPER_SOURCE_DIR "/tests/fixtures/support/Campus-Secure.mobileconfig";
  for (bool machine : {true, false}) {
    EXPECT_TRUE(helper.fails("commitmobileconfig", {{"MobileConfigPath", profile},
                                                    {"AsSystemProfile", machine},
                                                    {"CurrentUsername", "alex"}}));
    std::vector<LogLine> lines = helper.lines();
    EXPECT_TRUE(contains(lines, {4, "The attempt to install the profile resulted in error : 256"}));
    EXPECT_TRUE(contains(lines, {5, std::string("   STDERR : ") + kProfilesRefusal}));
  }
  EXPECT_EQ(ChildProcess::run({"/usr/bin/profiles", "-P"}).out, "There are no configuration profiles installed\n");
  // A file that is not there fails before the tool, with no word of the release.
  EXPECT_TRUE(helper.fails("commitmobileconfig", {{"MobileConfigPath", "/tmp/none"}, {"AsSystemProfile", true}}));
  std::vector<LogLine> lines = helper.lines();
  EXPECT_TRUE(std::none_of(lines.begin(), lines.end(), [](const LogLine& l) { return l.text.rfind("macOS", 0) == 0; }));
}

TEST_F(CurrentReleaseTest, ACaIsInstalledButTheSystemRefusesToTrustIt) {
  Certificate isrg("ISRG_Root_X1.crt");
  // The reply stays true: the refused write is only reported.
  EXPECT_TRUE(helper.succeeds("installsystemcacert", {Arg::data("CertificateData", isrg.der)}));
  std::vector<LogLine> lines = helper.lines();
  EXPECT_TRUE(contains(lines, {5, "(Error) Failed to write new trust settings for a certificate!"}));
  EXPECT_TRUE(contains(lines, {5, "(Error)     OS Error : The authorization was denied since no user interaction "
                                  "was possible."}));
  EXPECT_TRUE(helper.succeeds("certificateexistsinsystemstore",
                              {{"CertLabel", "ISRG Root X1"}, {"Thumbprint", isrg.thumbprint}}));
  EXPECT_NE(access(kAdminTrust, F_OK), 0);

  // The security tool is refused the same way, and its failure is the reply.
  Certificate amazon("Amazon_Root_CA_1.crt");
  EXPECT_TRUE(helper.fails("installsystemcacertwithsecuritycmd", {{"PEMdata", amazon.pem}}));
  lines = helper.lines();
  EXPECT_TRUE(contains(lines, {5, "Command output : SecTrustSettingsSetTrustSettings: The authorization was denied "
                                  "since no user interaction was possible.\n"}));
  EXPECT_NE(access(kAdminTrust, F_OK), 0);
}

TEST_F(CurrentReleaseTest, TheNetworkOrderIsSavedAndTheUserToldItNoLongerDecides) {
  EXPECT_TRUE(helper.succeeds("setssidpriority", {{"InterfaceName", "en1"},
                                                  Arg::data("SSID", std::string("Cafe Guest") + '\0'),
                                                  {"NewPriority", 0},
                                                  {"APILevel", 1ULL}}));
  EXPECT_TRUE(helper.logged(5, "macOS 13 and later choose among remembered networks by their own ranking: the "
                               "order was saved, but it no longer decides which network is joined."));
  EXPECT_EQ(rememberedNetworks(), (std::vector<std::string>{"Cafe Guest", "Corp-Secure", "HomeNet"}));
  // A move that fails says nothing of the release.
  EXPECT_TRUE(helper.fails("setssidpriority", {{"InterfaceName", "en1"},
                                               Arg::data("SSID", std::string("Nowhere") + '\0'),
                                               {"NewPriority", 0},
                                               {"APILevel", 1ULL}}));
  std::vector<LogLine> lines = helper.lines();
  EXPECT_TRUE(std::none_of(lines.begin(), lines.end(), [](const LogLine& l) { return l.text.rfind("macOS", 0) == 0; }));
}

}  // namespace
