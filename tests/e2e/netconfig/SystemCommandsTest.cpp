// The system commands through the built helper: preference files, and
// network locations in the network preferences and the live state.
#include <gtest/gtest.h>

#include <algorithm>

#include "HelperSession.h"

namespace {

const char kFirewallPlist[] = "/Library/Preferences/com.apple.alf.plist";
const char kUpdatePlist[] = "/Library/Preferences/com.apple.SoftwareUpdate.plist";

// Names of the locations in the network preferences, sorted.
std::set<std::string> locationNames() {
  Plist preferences(kPreferencesPlist);
  std::set<std::string> names;
  for (const std::string& guid : preferences.keysAt({"Sets"})) {
    names.insert(preferences.stringAt({"Sets", guid, "UserDefinedName"}));
  }
  return names;
}

std::string guidOf(const std::string& name) {
  Plist preferences(kPreferencesPlist);
  for (const std::string& guid : preferences.keysAt({"Sets"})) {
    if (preferences.stringAt({"Sets", guid, "UserDefinedName"}) == name) return guid;
  }
  return "";
}

class SystemCommandsTest : public ::testing::Test {
 protected:
  HelperSession helper;
};

TEST_F(SystemCommandsTest, FirewallTakesZeroOrOneAndNothingElse) {
  EXPECT_TRUE(isSuccess(helper.send("changefirewallstate", {{"Enabled", 1}}).get()));
  EXPECT_EQ(Plist(kFirewallPlist).intAt({"globalstate"}), 1);
  EXPECT_EQ(fileBytes(kFirewallPlist).rfind("bplist00", 0), 0u) << "written back as binary";
  std::vector<LogLine> lines = helper.lines();
  EXPECT_TRUE(contains(lines, {5, "Set firewall state to : 1"}));
  EXPECT_TRUE(contains(lines, {5, "Notifying the system of the configuration changes..."}));
  EXPECT_TRUE(std::none_of(lines.begin(), lines.end(), [](const LogLine& l) {
    return l.text.rfind("Unable to notify the system", 0) == 0;
  })) << "cfprefsd took the hangup";
  EXPECT_EQ(Plist(kFirewallPlist).intAt({"stealthenabled"}), 0) << "other keys stay";

  std::string before = fileBytes(kFirewallPlist);
  for (int refused : {2, -1}) {
    EXPECT_TRUE(isFailure(helper.send("ChangeFirewallState", {{"Enabled", refused}}).get()));
    EXPECT_TRUE(contains(helper.lines(), {4, "The value provided to setFirewallState() wasn't 1 or "
                                             "0.  Cannot change the state of the firewall!"}));
  }
  xpc::XpcRef wide = makeRequest("changefirewallstate", {});
  xpc_dictionary_set_int64(wide.get(), "Enabled", 1LL << 32);
  EXPECT_TRUE(isFailure(helper.client().send(wide.get()).get())) << "not wrapped to 0";
  EXPECT_EQ(fileBytes(kFirewallPlist), before);

  EXPECT_TRUE(isSuccess(helper.send("changefirewallstate").get())) << "missing reads as 0";
  EXPECT_EQ(Plist(kFirewallPlist).intAt({"globalstate"}), 0);
}

TEST_F(SystemCommandsTest, UpdateChecksChangeTheFrequencyOnlyWhenAskedTo) {
  EXPECT_TRUE(isSuccess(helper.send("changeupdatechecksettings",
                                    {{"Enable", false}, {"SetFrequency", false}, {"Frequency", 7}})
                            .get()));
  Plist first(kUpdatePlist);
  EXPECT_EQ(first.at({"AutomaticCheckEnabled"}), kCFBooleanFalse);
  EXPECT_EQ(first.intAt({"ScheduleFrequency"}), 1);
  EXPECT_EQ(first.stringAt({"LastAttemptSystemVersion"}), "12.7.6 (21H1320)");
  std::vector<LogLine> lines = helper.lines();
  EXPECT_TRUE(contains(lines, {5, "Disabled the software update checks."}));
  EXPECT_FALSE(contains(lines, {5, "Updating the frequency that we check for updates!"}));

  EXPECT_TRUE(isSuccess(helper.send("ChangeUpdateCheckSettings",
                                    {{"Enable", true}, {"SetFrequency", true}, {"Frequency", 7}})
                            .get()));
  Plist second(kUpdatePlist);
  EXPECT_EQ(second.at({"AutomaticCheckEnabled"}), kCFBooleanTrue);
  EXPECT_EQ(second.intAt({"ScheduleFrequency"}), 7);
  EXPECT_TRUE(contains(helper.lines(), {5, "Set software update frequency to : 7 day(s)."}));
}

TEST_F(SystemCommandsTest, ANewLocationCopiesTheCurrentOneAndNamesAreUnique) {
  EXPECT_TRUE(isSuccess(helper.send("addnetworklocation", {{"Location", "Travel"}}).get()));
  EXPECT_TRUE(contains(helper.lines(), {5, "Created the location 'Travel'!"}));
  EXPECT_EQ(locationNames(), (std::set<std::string>{"Automatic", "Office", "Travel"}));
  Plist preferences(kPreferencesPlist);
  std::string travel = guidOf("Travel");
  EXPECT_EQ(travel.size(), 36u);
  EXPECT_TRUE(CFEqual(preferences.at({"Sets", travel, "Network"}),
                      preferences.at({"Sets", "55F5F3EB-CA2D-46D6-82AC-BF4B034A965C", "Network"})));

  std::string before = fileBytes(kPreferencesPlist);
  for (const char* existing : {"Travel", "Office"}) {
    EXPECT_EQ(errorText(helper.send("AddNetworkLocation", {{"Location", existing}}).get()),
              std::string("Unable to create the network location '") + existing + "'!");
    EXPECT_TRUE(contains(helper.lines(), {4, std::string("The location '") + existing +
                                                 "' already exists!  Cannot create it!"}));
  }
  EXPECT_EQ(fileBytes(kPreferencesPlist), before);
}

TEST_F(SystemCommandsTest, TheActiveLocationCannotBeDeletedOthersCan) {
  EXPECT_EQ(errorText(helper.send("deletenetworklocation", {{"Location", "Automatic"}}).get()),
            "Unable to delete the network location 'Automatic'!");
  EXPECT_TRUE(contains(helper.lines(), {4, "You cannot delete a network location that you are "
                                           "currently configured to use! (1)"}));
  EXPECT_EQ(errorText(helper.send("deletenetworklocation", {{"Location", "Nowhere"}}).get()),
            "Unable to delete the network location 'Nowhere'!");
  EXPECT_TRUE(contains(helper.lines(),
                       {4, "The location 'Nowhere' doesn't exist!  Cannot delete it!"}));

  EXPECT_TRUE(isSuccess(helper.send("deletenetworklocation", {{"Location", "Office"}}).get()));
  EXPECT_EQ(locationNames(), std::set<std::string>{"Automatic"});
}

TEST_F(SystemCommandsTest, SwitchingLocationsReachesTheLiveState) {
  EXPECT_TRUE(isSuccess(helper.send("changenetworklocation", {{"Location", "Office"}}).get()));
  std::vector<LogLine> lines = helper.lines();
  EXPECT_TRUE(contains(lines, {5, "Changing to network location 'Office'."}));
  EXPECT_TRUE(contains(lines, {5, "Network location data appears to have propigated properly."}));
  EXPECT_FALSE(contains(lines, {4, "The new network location didn't propigate to the active "
                                   "configuration correctly!!"}));
  EXPECT_EQ(Plist(kPreferencesPlist).stringAt({"CurrentSet"}), kOfficeSetPath);

  // Now Office is the one that cannot go, and Automatic can.
  EXPECT_EQ(errorText(helper.send("deletenetworklocation", {{"Location", "Office"}}).get()),
            "Unable to delete the network location 'Office'!");
  EXPECT_TRUE(isSuccess(helper.send("changenetworklocation", {{"Location", "Office"}}).get()));
  EXPECT_EQ(errorText(helper.send("ChangeNetworkLocation", {{"Location", "office"}}).get()),
            "Unable to change to the network location 'office'!");
  EXPECT_TRUE(contains(helper.lines(),
                       {4, "The location 'office' doesn't exist.  Cannot change the active location!"}));
}

TEST_F(SystemCommandsTest, LocationCommandsNeedALocation) {
  const std::pair<const char*, const char*> cases[] = {
      {"addnetworklocation", "Invalid data provided while attempting to add a network location!"},
      {"deletenetworklocation",
       "Invalid data provided while attempting to delete a network location!"},
      {"changenetworklocation",
       "Invalid data provided while attempting to change the active network location!"},
  };
  for (const auto& [command, error] : cases) {
    EXPECT_EQ(errorText(helper.send(command).get()), error);
    EXPECT_TRUE(contains(helper.lines(), {4, "No location information provided in getLocation()!"}));
    EXPECT_EQ(errorText(helper.send(command, {{"Location", ""}}).get()), error);
  }
}

}  // namespace
