// Installing profiles (commitmobileconfig) and removing an owner's profiles
// for a network (deleteprofilesforssid) through the built helper, with the
// fake Mac's profiles tool behind them.
#include <gtest/gtest.h>
#include <unistd.h>

#include "ProfilesTestSupport.h"

using namespace profiletest;

namespace {

constexpr char kStore[] = "/var/db/ConfigurationProfiles/Store/ConfigProfiles.plist";
constexpr char kDump[] = "/tmp/profiledump.txt";

bool dumpRemoved() { return access(kDump, F_OK) != 0; }

class ProfileCommandsTest : public ::testing::Test {
 protected:
  bool deleteFor(const std::string& network, const std::string& owner) {
    return helper.succeeds("deleteprofilesforssid", {ssid(network), {"Username", owner}});
  }

  HelperSession helper;
};

TEST_F(ProfileCommandsTest, AProfileIsInstalledForTheMachineOrForTheUserNamed) {
  // A user name beside the flag is not needed and not used.
  EXPECT_TRUE(helper.succeeds("commitmobileconfig", {{"MobileConfigPath", kCampusSecure},
                                                     {"AsSystemProfile", true},
                                                     {"CurrentUsername", "alex"}}));
  EXPECT_TRUE(helper.succeeds("CommitMobileConfig", {{"MobileConfigPath", kGuestOtp}, {"CurrentUsername", "alex"}}));
  EXPECT_TRUE(helper.succeeds("commitmobileconfig", {{"MobileConfigPath", kSignedCampusSecure},
                                                     {"AsSystemProfile", false},
                                                     {"CurrentUsername", "alex"}}));
  EXPECT_EQ(installedProfiles(), (Owners{{"_computerlevel", {kCampusId}}, {"alex", {kGuestId, kCampusId}}}));
  EXPECT_EQ(rememberedNetworks(),
            (std::vector<std::string>{"Corp-Secure", "HomeNet", "Cafe Guest", "Campus-Secure", "Lab-Guest"}));
}

TEST_F(ProfileCommandsTest, AProfileThatCannotBeInstalledIsAFailureWithTheToolsWords) {
  const std::string noPath = "Invalid data provided while trying to commit the profile to the OS!";
  EXPECT_EQ(helper.error("commitmobileconfig", {{"AsSystemProfile", true}}), noPath);
  EXPECT_EQ(helper.error("commitmobileconfig", {{"MobileConfigPath", ""}, {"AsSystemProfile", true}}), noPath);
  EXPECT_EQ(helper.error("commitmobileconfig", {{"MobileConfigPath", 7}, {"AsSystemProfile", true}}), noPath);

  // The installer checks the file, so a missing one is a failure, not an error.
  EXPECT_TRUE(helper.fails("commitmobileconfig", {{"MobileConfigPath", "/tmp/none.mobileconfig"},
                                                  {"AsSystemProfile", true}}));
  EXPECT_TRUE(helper.logged(4, "The mobileconfig file at '/tmp/none.mobileconfig' doesn't exist!"));
  for (const Arg& noUser : {Arg("CurrentUsername", ""), Arg("CurrentUsername", true), Arg("Other", "alex")}) {
    EXPECT_TRUE(helper.fails("commitmobileconfig", {{"MobileConfigPath", kGuestOtp}, noUser}));
    EXPECT_TRUE(helper.logged(
        4, "Unable to install the profile as the current user!  The user name provided was an empty string!"));
  }

  writeFile("/tmp/text.mobileconfig", "not a profile");
  EXPECT_TRUE(helper.fails("commitmobileconfig", {{"MobileConfigPath", "/tmp/text.mobileconfig"},
                                                  {"AsSystemProfile", true}}));
  std::vector<LogLine> lines = helper.lines();
  EXPECT_TRUE(contains(lines, {4, "The attempt to install the profile resulted in error : 256"}));
  EXPECT_TRUE(contains(lines, {5, "   STDERR : profiles install for file:\u2018/tmp/text.mobileconfig\u2019 and "
                                  "user:\u2018root\u2019 returned 1000 (Malformed profile)\n"}));
  EXPECT_EQ(installedProfiles(), Owners{});
}

TEST_F(ProfileCommandsTest, OnlyTheOwnersProfilesForThatNetworkAreRemoved) {
  install(kCampusSecure);
  install(kRootCa);
  install(kCampusSecure, "alex");
  install(kGuestOtp, "alex");
  install(kLabNetworks, "alex");

  EXPECT_TRUE(deleteFor("Campus-Secure", "alex"));
  EXPECT_EQ(installedProfiles(), (Owners{{"_computerlevel", {kCampusId, kRootCaId}}, {"alex", {kGuestId, kLabId}}}));
  EXPECT_TRUE(dumpRemoved());

  // A profile is known by the first of its networks; names match exactly.
  EXPECT_TRUE(deleteFor("Lab-2G", "alex"));
  EXPECT_TRUE(deleteFor("campus-secure", "_computerlevel"));
  EXPECT_TRUE(deleteFor("Campus-Secure", "root"));
  EXPECT_EQ(installedProfiles(), (Owners{{"_computerlevel", {kCampusId, kRootCaId}}, {"alex", {kGuestId, kLabId}}}));
  EXPECT_TRUE(deleteFor("Lab-5G", "alex"));
  EXPECT_TRUE(deleteFor("Campus-Secure", "_computerlevel"));
  EXPECT_EQ(installedProfiles(), (Owners{{"_computerlevel", {kRootCaId}}, {"alex", {kGuestId}}}));
  EXPECT_EQ(rememberedNetworks(), (std::vector<std::string>{"Corp-Secure", "HomeNet", "Cafe Guest", "Lab-Guest"}));
  EXPECT_TRUE(dumpRemoved());
}

TEST_F(ProfileCommandsTest, AProfileWithoutADisplayNameFailsTheWholeListing) {
  install(kCampusSecure);
  install(kUnnamed);
  EXPECT_TRUE(helper.fails("deleteprofilesforssid", {ssid("Campus-Secure"), {"Username", "_computerlevel"}}));
  std::vector<LogLine> lines = helper.lines();
  EXPECT_TRUE(contains(lines, {4, "The profile display name for a profile was empty!?"}));
  EXPECT_TRUE(contains(lines, {4, "Unable to get profile information at index 1 in the _computerlevel array!"}));
  EXPECT_TRUE(contains(lines, {4, "Unable to read the existing configuration profile information!"}));
  EXPECT_EQ(installedProfiles(), (Owners{{"_computerlevel", {kCampusId, kUnnamedId}}}));
  EXPECT_TRUE(dumpRemoved());
}

TEST_F(ProfileCommandsTest, AFailedListingOrRemovalIsAFailureAndTheDumpStillGoes) {
  // A profile stored for a user the system does not know: the tool refuses
  // to remove it. The name reaches the tool whole, blank included.
  install(kCampusSecure, "alex");
  std::string store = fileBytes(kStore);
  store.replace(store.find("<key>alex</key>"), 15, "<key>alex smith</key>");
  writeFile(kStore, store);
  EXPECT_TRUE(helper.fails("deleteprofilesforssid", {ssid("Campus-Secure"), {"Username", "alex smith"}}));
  std::vector<LogLine> lines = helper.lines();
  EXPECT_TRUE(contains(lines, {4, "Unable to delete the target profile! (Error code : 256)"}));
  EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const LogLine& line) {
    return line.level == 5 && line.text.rfind("   STDERR : profiles remove for identifier:", 0) == 0 &&
           line.text.find("user:\u2018alex smith\u2019 returned 2 (No such user)") != std::string::npos;
  }));
  EXPECT_TRUE(contains(lines, {4, "Unable to delete all of the existing configuration profiles for the SSID "
                                  "'Campus-Secure'!"}));
  EXPECT_TRUE(dumpRemoved());

  writeFile(kStore, "not a store");
  EXPECT_TRUE(helper.fails("deleteprofilesforssid", {ssid("Campus-Secure"), {"Username", "alex"}}));
  EXPECT_TRUE(helper.logged(4, "Unable to get the listing of all available profiles!"));
  EXPECT_TRUE(dumpRemoved());
}

TEST_F(ProfileCommandsTest, MissingOrMistypedArgumentsAreRefusedBeforeTheToolRuns) {
  const std::string noSsid = "No SSID was provided to delete!";
  const std::string noUser = "No user name was provided while attempting to delete the configuration for an SSID!";
  const std::vector<std::pair<std::vector<Arg>, std::string>> refused{
      {{{"Username", "alex"}}, noSsid},
      {{{"SSID", "Campus-Secure"}, {"Username", "alex"}}, noSsid},
      {{Arg::data("SSID", ""), {"Username", "alex"}}, noSsid},
      {{ssid("Campus-Secure")}, noUser},
      {{ssid("Campus-Secure"), {"Username", true}}, noUser},
  };
  for (const auto& [args, text] : refused) EXPECT_EQ(helper.error("deleteprofilesforssid", args), text);
  // Letter case matters in this family.
  EXPECT_EQ(helper.error("DeleteProfilesForSSID", {ssid("Campus-Secure"), {"Username", "alex"}}),
            "Unknown/Invalid command!");

  // A name that ends at once is no name.
  EXPECT_TRUE(helper.fails("deleteprofilesforssid", {Arg::data("SSID", std::string(3, '\0')), {"Username", "alex"}}));
  EXPECT_TRUE(helper.logged(4, "No SSID was provided while attempting to delete profiles for the named SSID!"));
  EXPECT_TRUE(dumpRemoved());
}

}  // namespace
