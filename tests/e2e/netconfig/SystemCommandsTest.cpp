// The system commands through the built helper: preference files, and
// network locations in the network preferences and the live state.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "HelperSession.h"

namespace {

const char kFirewallPlist[] = "/Library/Preferences/com.apple.alf.plist";
const char kUpdatePlist[] = "/Library/Preferences/com.apple.SoftwareUpdate.plist";

// The locations in the network preferences: GUID by name.
std::map<std::string, std::string> locations() {
  Plist preferences(kPreferencesPlist);
  std::map<std::string, std::string> found;
  for (const std::string& guid : preferences.keysAt({"Sets"})) {
    found[preferences.stringAt({"Sets", guid, "UserDefinedName"})] = guid;
  }
  return found;
}

std::set<std::string> locationNames() {
  std::set<std::string> names;
  for (const auto& [name, guid] : locations()) names.insert(name);
  return names;
}

class SystemCommandsTest : public ::testing::Test {
 protected:
  HelperSession helper;
};

TEST_F(SystemCommandsTest, FirewallTakesZeroOrOneAndNothingElse) {
  EXPECT_TRUE(helper.succeeds("changefirewallstate", {{"Enabled", 1}}));
  EXPECT_EQ(Plist(kFirewallPlist).intAt({"globalstate"}), 1);
  EXPECT_EQ(fileBytes(kFirewallPlist).rfind("bplist00", 0), 0u) << "written back as binary";
  std::vector<LogLine> lines = helper.lines();
  EXPECT_TRUE(std::none_of(lines.begin(), lines.end(), [](const LogLine& l) {
    return l.text.rfind("Unable to notify the system", 0) == 0;
  })) << "cfprefsd took the hangup";
  EXPECT_EQ(Plist(kFirewallPlist).intAt({"stealthenabled"}), 0) << "other keys stay";

  std::string before = fileBytes(kFirewallPlist);
  for (long long refused : {2LL, -1LL, 1LL << 32}) {  // the last is not wrapped to 0
    EXPECT_TRUE(helper.fails("ChangeFirewallState", {{"Enabled", refused}})) << refused;
    EXPECT_TRUE(helper.logged(
        4, "The value provided to setFirewallState() wasn't 1 or 0.  Cannot change the state of the firewall!"));
  }
  EXPECT_EQ(fileBytes(kFirewallPlist), before);

  EXPECT_TRUE(helper.succeeds("changefirewallstate")) << "missing reads as 0";
  EXPECT_EQ(Plist(kFirewallPlist).intAt({"globalstate"}), 0);
}

TEST_F(SystemCommandsTest, UpdateChecksChangeTheFrequencyOnlyWhenAskedTo) {
  EXPECT_TRUE(helper.succeeds("changeupdatechecksettings",
                              {{"Enable", false}, {"SetFrequency", false}, {"Frequency", 7}}));
  Plist first(kUpdatePlist);
  EXPECT_EQ(first.at({"AutomaticCheckEnabled"}), kCFBooleanFalse);
  EXPECT_EQ(first.intAt({"ScheduleFrequency"}), 1);
  EXPECT_EQ(first.stringAt({"LastAttemptSystemVersion"}), "10.14.6 (18G84)");

  EXPECT_TRUE(
      helper.succeeds("ChangeUpdateCheckSettings", {{"Enable", true}, {"SetFrequency", true}, {"Frequency", 7}}));
  Plist second(kUpdatePlist);
  EXPECT_EQ(second.at({"AutomaticCheckEnabled"}), kCFBooleanTrue);
  EXPECT_EQ(second.intAt({"ScheduleFrequency"}), 7);
}

TEST_F(SystemCommandsTest, ANewLocationCopiesTheCurrentOneAndNamesAreUnique) {
  EXPECT_TRUE(helper.succeeds("addnetworklocation", {{"Location", "Travel"}}));
  EXPECT_EQ(locationNames(), (std::set<std::string>{"Automatic", "Office", "Travel"}));
  Plist preferences(kPreferencesPlist);
  std::string travel = locations()["Travel"];
  EXPECT_EQ(travel.size(), 36u);
  EXPECT_TRUE(CFEqual(preferences.at({"Sets", travel, "Network"}),
                      preferences.at({"Sets", kAutomatic, "Network"})));

  std::string before = fileBytes(kPreferencesPlist);
  for (const std::string existing : {"Travel", "Office"}) {
    EXPECT_EQ(helper.error("AddNetworkLocation", {{"Location", existing}}),
              "Unable to create the network location '" + existing + "'!");
    EXPECT_TRUE(helper.logged(4, "The location '" + existing + "' already exists!  Cannot create it!"));
  }
  EXPECT_EQ(fileBytes(kPreferencesPlist), before);
}

TEST_F(SystemCommandsTest, TheActiveLocationCannotBeDeletedOthersCan) {
  EXPECT_EQ(helper.error("deletenetworklocation", {{"Location", "Automatic"}}),
            "Unable to delete the network location 'Automatic'!");
  EXPECT_TRUE(helper.logged(4, "You cannot delete a network location that you are currently configured to use! (1)"));
  EXPECT_EQ(helper.error("deletenetworklocation", {{"Location", "Nowhere"}}),
            "Unable to delete the network location 'Nowhere'!");
  EXPECT_TRUE(helper.logged(4, "The location 'Nowhere' doesn't exist!  Cannot delete it!"));

  EXPECT_TRUE(helper.succeeds("deletenetworklocation", {{"Location", "Office"}}));
  EXPECT_EQ(locationNames(), std::set<std::string>{"Automatic"});
}

TEST_F(SystemCommandsTest, SwitchingLocationsReachesTheLiveState) {
  EXPECT_TRUE(helper.succeeds("changenetworklocation", {{"Location", "Office"}}));
  EXPECT_TRUE(helper.logged(5, "Network location data appears to have propigated properly."));
  EXPECT_EQ(Plist(kPreferencesPlist).stringAt({"CurrentSet"}), std::string("/Sets/") + kOffice);

  // Now Office is the one that cannot go, and Automatic can.
  EXPECT_EQ(helper.error("deletenetworklocation", {{"Location", "Office"}}),
            "Unable to delete the network location 'Office'!");
  EXPECT_TRUE(helper.succeeds("changenetworklocation", {{"Location", "Office"}}));
  EXPECT_EQ(helper.error("ChangeNetworkLocation", {{"Location", "office"}}),
            "Unable to change to the network location 'office'!");
  EXPECT_TRUE(helper.logged(4, "The location 'office' doesn't exist.  Cannot change the active location!"));
}

TEST_F(SystemCommandsTest, LocationCommandsNeedALocation) {
  for (const auto& [command, what] : {std::pair{"addnetworklocation", "add a network location"},
                                      {"deletenetworklocation", "delete a network location"},
                                      {"changenetworklocation", "change the active network location"}}) {
    const std::string error = std::string("Invalid data provided while attempting to ") + what + "!";
    EXPECT_EQ(helper.error(command), error);
    EXPECT_TRUE(helper.logged(4, "No location information provided in getLocation()!"));
    EXPECT_EQ(helper.error(command, {{"Location", ""}}), error);
  }
}

}  // namespace
