// Single values at a preferences path: the readers no command reaches, the
// removal of a key and the address text.
#include <arpa/inet.h>

#include <algorithm>
#include <string>
#include <vector>

#include "NetconfigTestSupport.h"
#include "SysConfigPreferencesHelper.h"

namespace {

using xpc::SysConfigPreferencesHelper;

class SysConfigPreferencesHelperTest : public CFTest {
 protected:
  LogCapture log;
};

TEST_F(SysConfigPreferencesHelperTest, ValuesAreReadByPathKeyAndType) {
  SysConfigPreferencesHelper prefs(log.logger(), true);
  const std::string wifi = servicePath(kWiFi, "Interface");
  std::string text;
  int number = 0;
  ASSERT_TRUE(prefs.getStringFromConfigPath(wifi, "UserDefinedName", text));
  EXPECT_EQ(text, "Wi-Fi");
  ASSERT_TRUE(prefs.getIntFromConfigPath(servicePath(kOfficeEthernet, "Proxies"), "HTTPPort", number, true));
  EXPECT_EQ(number, 3128);

  EXPECT_FALSE(prefs.getStringFromConfigPath(wifi, "MTU", text));
  EXPECT_TRUE(log.saw(4, "The requested object was not found!"));
  EXPECT_FALSE(prefs.getIntFromConfigPath(wifi, "DeviceName", number, true));
  EXPECT_TRUE(log.saw(4, "Value returned from configuration query was not an integer value!"));
  EXPECT_FALSE(prefs.getStringFromConfigPath(servicePath(kOfficeEthernet, "Proxies"), "HTTPPort", text));
  EXPECT_TRUE(log.saw(4, "Configuration query returned a value that was not a string!"));

  // The last argument says whether a missing value is an error or an outcome.
  EXPECT_FALSE(prefs.getIntFromConfigPath(wifi, "MTU", number, true));
  EXPECT_TRUE(log.saw(4, "Desired value was not found!"));
  EXPECT_FALSE(prefs.getIntFromConfigPath(wifi, "MTU", number, false));
  EXPECT_TRUE(log.saw(5, "Desired value was not found!"));
  EXPECT_FALSE(prefs.getIntFromConfigPath(servicePath(kEthernet, "DNS"), "MTU", number, true));
  EXPECT_TRUE(log.saw(4, "Unable to get the requested value from the configuration provider."));

  // "/CurrentSet" holds a string, not a dictionary.
  EXPECT_FALSE(prefs.getStringFromConfigPath("/CurrentSet", "UserDefinedName", text));
  EXPECT_EQ(log.take(), (std::vector<LogLine>{{5, "Getting dictionary at path : /CurrentSet"},
                                              {4, "Didn't get the type of information back that we expected from "
                                                  "the configuration information provider!"},
                                              {4, "Unable to get the requested value from the configuration "
                                                  "provider!"}}));

  EXPECT_FALSE(prefs.getStringFromConfigPath(wifi, "", text));
  EXPECT_FALSE(prefs.getIntFromConfigPath("", "MTU", number, false));
  std::vector<LogLine> lines = log.take();
  EXPECT_EQ(std::count(lines.begin(), lines.end(),
                       LogLine{4, "One of the values passed to get a string from the system configuration store was "
                                  "empty!"}),
            2);
  EXPECT_EQ(prefs.getPrefsFromPath(""), nullptr);
  EXPECT_TRUE(log.saw(4, "The value passed to get information from the configuration provider was empty!"));
}

TEST_F(SysConfigPreferencesHelperTest, AKeyIsRemovedFromTheSessionOnly) {
  auto on = cfnumber(1LL);
  {
    auto prefs = adopt(SCPreferencesCreate(nullptr, CFSTR("test"), nullptr));
    ASSERT_TRUE(SCPreferencesSetValue(prefs.get(), CFSTR("Custom/Flag"), on.get()));
    ASSERT_TRUE(SCPreferencesCommitChanges(prefs.get()));
  }
  SysConfigPreferencesHelper prefs(log.logger(), false);
  ASSERT_TRUE(prefs.deleteKeyAtConfigPath("Custom", "Flag"));
  EXPECT_TRUE(log.saw(5, "Full path to key to be deleted : Custom/Flag"));
  EXPECT_NE(valueAt(readPropertyList(kPreferencesPlist).get(), "Custom/Flag"), nullptr) << "nothing is committed";
  ASSERT_TRUE(prefs.commitChanges());
  EXPECT_EQ(valueAt(readPropertyList(kPreferencesPlist).get(), "Custom/Flag"), nullptr);

  // The joined text is a key of the preferences, not a path into them.
  EXPECT_FALSE(prefs.deleteKeyAtConfigPath(servicePath(kWiFi, "Interface"), "UserDefinedName"));
  EXPECT_TRUE(log.saw(4, "Unable to remove a configuration setting!  Error : The operation couldn\u2019t be "
                         "completed. (com.apple.SystemConfiguration error 1004 - No such key)"));
  EXPECT_FALSE(prefs.deleteKeyAtConfigPath("Custom", ""));
  EXPECT_TRUE(log.saw(4, "The values passed to get information from the configuration provider was empty while "
                         "trying to delete a setting!"));
}

TEST_F(SysConfigPreferencesHelperTest, AddressesAreWrittenAsDottedQuads) {
  SysConfigPreferencesHelper prefs(nullptr, true);
  EXPECT_EQ(prefs.convertNetworkAddressToString(static_cast<int>(inet_addr("10.20.0.53"))), "10.20.0.53");
  EXPECT_EQ(prefs.convertNetworkAddressToString(-1), "255.255.255.255");
}

}  // namespace
