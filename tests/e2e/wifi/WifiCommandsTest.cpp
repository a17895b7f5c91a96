// The two Wi-Fi commands through the built helper: replies, log lines and
// the remembered networks the fake Mac keeps afterwards.
#include <gtest/gtest.h>

#include "HelperSession.h"

namespace {

// An SSID as clients send it: the name's bytes and a NUL.
Arg ssid(const std::string& name) { return Arg::data("SSID", name + std::string(1, '\0')); }

using Names = std::vector<std::string>;

class WifiCommandsTest : public ::testing::Test {
 protected:
  HelperSession helper;
};

TEST_F(WifiCommandsTest, ANetworkMovesTowardsTheFrontOnly) {
  EXPECT_TRUE(helper.succeeds("setssidpriority", {{"InterfaceName", "en1"}, ssid("Cafe Guest"), {"NewPriority", 0}}));
  EXPECT_EQ(rememberedNetworks(), (Names{"Cafe Guest", "Corp-Secure", "HomeNet"}));
  Plist known(kKnownNetworksPlist);
  EXPECT_EQ(known.intAt({"Version"}), 2200) << "the rest of the file stays";
  EXPECT_EQ(known.stringAt({"KnownNetworks", "wifi.ssid.<43616665 20477565 7374>", "SecurityType"}), "Open");

  // Either variant, any letter case; its own place is in range.
  EXPECT_TRUE(helper.succeeds("SetSSIDPriority",
                              {{"InterfaceName", "en1"}, ssid("HomeNet"), {"NewPriority", 2}, {"APILevel", 1ULL}}));
  EXPECT_EQ(rememberedNetworks(), (Names{"Cafe Guest", "Corp-Secure", "HomeNet"}));
  EXPECT_TRUE(helper.succeeds("setssidpriority",
                              {{"InterfaceName", "en1"}, ssid("HomeNet"), {"NewPriority", 1}, {"APILevel", 7ULL}}));
  EXPECT_EQ(rememberedNetworks(), (Names{"Cafe Guest", "HomeNet", "Corp-Secure"}));

  // Behind its place, and -1 (the index 4294967295), are out of range.
  std::string before = fileBytes(kKnownNetworksPlist);
  EXPECT_TRUE(helper.fails("setssidpriority", {{"InterfaceName", "en1"}, ssid("Corp-Secure"), {"NewPriority", 3}}));
  EXPECT_TRUE(helper.logged(
      4, "The priority 3 is out of range for the SSID 'Corp-Secure': it can move to a priority of at most 2."));
  EXPECT_TRUE(helper.fails("setssidpriority", {{"InterfaceName", "en1"}, ssid("Cafe Guest"), {"NewPriority", -1}}));
  EXPECT_TRUE(helper.fails("setssidpriority", {{"InterfaceName", "en1"}, ssid("cafe guest")}));
  EXPECT_TRUE(helper.logged(3, "The SSID 'cafe guest' was *NOT* found!  Cannot change the priority for it!"));
  EXPECT_TRUE(helper.fails("setssidpriority", {{"InterfaceName", "en9"}, ssid("HomeNet")}));
  EXPECT_TRUE(helper.logged(4, "Unable to find a system interface that matches 'en9'!"));
  EXPECT_EQ(fileBytes(kKnownNetworksPlist), before);
}

TEST_F(WifiCommandsTest, RemovingANetworkDropsItsEntryButNeverTheLast) {
  EXPECT_TRUE(helper.succeeds("deletessidconfiguration", {ssid("HomeNet"), {"Username", "alex"},
                                                          {"InterfaceName", "en1"}, {"WlanApiVersion", 1}}));
  EXPECT_EQ(rememberedNetworks(), (Names{"Corp-Secure", "Cafe Guest"}));
  EXPECT_EQ(Plist(kKnownNetworksPlist).keysAt({"KnownNetworks"}),
            (std::set<std::string>{"wifi.ssid.<436f7270 2d536563 757265>", "wifi.ssid.<43616665 20477565 7374>"}));

  // The housekeeping family knows its words in lower case only.
  const std::vector<Arg> cafe{ssid("Cafe Guest"), {"Username", "alex"}, {"InterfaceName", "en1"},
                              {"WlanApiVersion", 1LL << 32}};
  EXPECT_EQ(helper.error("DeleteSSIDConfiguration", cafe), "Unknown/Invalid command!");
  EXPECT_EQ(rememberedNetworks(), (Names{"Corp-Secure", "Cafe Guest"}));
  // The low 32 bits of this version are 0: the pre-10.10 variant.
  EXPECT_TRUE(helper.succeeds("deletessidconfiguration", cafe));
  EXPECT_EQ(rememberedNetworks(), Names{"Corp-Secure"});

  std::string before = fileBytes(kKnownNetworksPlist);
  const std::vector<Arg> last{ssid("Corp-Secure"), {"Username", "alex"}, {"InterfaceName", "en1"}};
  EXPECT_TRUE(helper.fails("deletessidconfiguration", last));
  EXPECT_TRUE(helper.logged(
      4, "Unable to update the in-memory configuration while deleting SSID 'Corp-Secure' from interface 'en1'."));
  EXPECT_TRUE(helper.fails("deletessidconfiguration", {ssid("HomeNet"), {"Username", "alex"}, {"InterfaceName", "en1"}}));
  EXPECT_TRUE(helper.logged(4, "Unable to locate the network configuration profile for SSID 'HomeNet'!"));
  EXPECT_TRUE(helper.fails("deletessidconfiguration", {ssid("HomeNet"), {"Username", "alex"}, {"InterfaceName", "en9"}}));
  EXPECT_TRUE(helper.logged(4, "Unable to locate the wireless interface 'en9' while attempting to delete a "
                               "configuration by SSID name!"));
  EXPECT_EQ(fileBytes(kKnownNetworksPlist), before) << "nothing written";
}

TEST_F(WifiCommandsTest, MissingOrMistypedArgumentsAreRefusedBeforeAnyChange) {
  const std::string noInterface = "Invalid data provided while trying to set the SSID priority!";
  const std::string noSsid = "Invalid data provided while trying to set the SSID priority! (2)";
  const std::vector<std::pair<std::vector<Arg>, std::string>> priority{
      {{ssid("HomeNet")}, noInterface},
      {{{"InterfaceName", 1}, ssid("HomeNet")}, noInterface},
      {{{"InterfaceName", "en1"}}, noSsid},
      {{{"InterfaceName", "en1"}, {"SSID", "HomeNet"}}, noSsid},
      {{{"InterfaceName", "en1"}, Arg::data("SSID", "")}, noSsid},
  };
  for (const auto& [args, text] : priority) EXPECT_EQ(helper.error("setssidpriority", args), text);

  const std::string noDeleteSsid = "No SSID was provided to delete!";
  const std::string noUser = "No user name was provided while attempting to delete the configuration for an SSID!";
  const std::string noName = "No interface name was provided while attempting to delete an SSID!";
  const std::string badVersion =
      "Invalid Wlan API version value provided while attempting to delete a network configuration for an SSID!";
  const Arg user{"Username", "alex"}, en1{"InterfaceName", "en1"};
  const std::vector<std::pair<std::vector<Arg>, std::string>> removal{
      {{user, en1}, noDeleteSsid},
      {{{"SSID", "HomeNet"}, user, en1}, noDeleteSsid},
      {{Arg::data("SSID", ""), user, en1}, noDeleteSsid},
      {{ssid("HomeNet"), en1}, noUser},
      {{ssid("HomeNet"), {"Username", true}, en1}, noUser},
      {{ssid("HomeNet"), user}, noName},
      {{ssid("HomeNet"), user, en1, {"WlanApiVersion", 2}}, badVersion},
      {{ssid("HomeNet"), user, en1, {"WlanApiVersion", -1}}, badVersion},
  };
  for (const auto& [args, text] : removal) EXPECT_EQ(helper.error("deletessidconfiguration", args), text);

  EXPECT_EQ(rememberedNetworks(), (Names{"Corp-Secure", "HomeNet", "Cafe Guest"}));
  EXPECT_TRUE(helper.running());
}

}  // namespace
