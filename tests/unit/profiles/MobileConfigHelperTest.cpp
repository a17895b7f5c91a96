// Profile documents as the helper reads and edits them: real .mobileconfig
// files, signed and unsigned, the exact reach of the cut-out's searches, and
// the credentials and name written into the text.
#include <algorithm>

#include "CFTestSupport.h"
#include "LogCapture.h"
#include "MobileConfigHelper.h"

namespace {

const std::string kFixtures = MACHELPER_SOURCE_DIR "/tests/fixtures/";
const std::string kCampusSecure = kFixtures + "support/Campus-Secure.mobileconfig";
const std::string kGuestOtp = kFixtures + "profiles/Guest-OTP.mobileconfig";
const std::string kRootCa = kFixtures + "profiles/Root-CA.mobileconfig";
const std::string kSignedCampusSecure =
    MACHELPER_BINARY_DIR "/tests/fixtures/profiles/Campus-Secure-signed.mobileconfig";

constexpr size_t npos = static_cast<size_t>(-1);

// A file's text up to the end of its first "</plist>".
std::string documentOf(const std::string& path) {
  std::string bytes = fileBytes(path);
  return bytes.substr(0, bytes.find("</plist>") + 8);
}

class MobileConfigHelperTest : public CFTest {
 protected:
  // The document cut out of the file's bytes.
  std::string cutOut(const std::string& path) {
    EXPECT_TRUE(helper.loadMobileConfig(path));
    EXPECT_TRUE(helper.stripMobileconfigData());
    return helper.getMobileconfigText();
  }
  // Bytes written to a file and loaded.
  void loadBytes(const std::string& bytes) {
    writeFile("/tmp/document.mobileconfig", bytes);
    ASSERT_TRUE(helper.loadMobileConfig("/tmp/document.mobileconfig"));
  }

  LogCapture log;
  xpc::MobileConfigHelper helper{log.logger()};
};

TEST_F(MobileConfigHelperTest, AProfileSignedOrNotYieldsItsDocumentAndItsNetwork) {
  std::string document = cutOut(kCampusSecure);
  EXPECT_EQ(document, documentOf(kCampusSecure));
  EXPECT_TRUE(log.saw(5, "Loading secondary configuration file from : " + kCampusSecure));

  // The envelope's bytes before and after the document are left behind.
  EXPECT_EQ(cutOut(kSignedCampusSecure), document);

  ASSERT_TRUE(helper.loadMobileConfigFromString(helper.getMobileconfigText()));
  std::vector<LogLine> lines = log.take();
  EXPECT_TRUE(contains(lines, {5, "Mobileconfig data looks valid."}));
  EXPECT_TRUE(contains(lines, {5, "--- Found a network profile block.. Getting data..."}));
  EXPECT_TRUE(contains(lines, {5, "Adding EAP method 25 to our EAP type list."}));
  // The certificate payload has no EAP configuration and makes no record.
  ASSERT_EQ(helper.getProfiles().size(), 1u);
  const ConfigurationProfileData& network = helper.getProfiles()[0];
  EXPECT_EQ(network.getSsidName(), "Campus-Secure");
  EXPECT_EQ(network.getPayloadUuid(), "0D9C8B7A-6E5F-4D3C-B2A1-0F9E8D7C6B5A");
  EXPECT_EQ(network.getIdentifier(), "com.apple.wifi.managed.0D9C8B7A-6E5F-4D3C-B2A1-0F9E8D7C6B5A");
  EXPECT_EQ(network.getProfileName(), "Wi-Fi");
  EXPECT_EQ(network.get80211AuthenticationType(), "WPA2");
  EXPECT_EQ(network.getEapTypes(), std::vector<int>{25});
}

TEST_F(MobileConfigHelperTest, CredentialsGoEscapedIntoTheEapConfiguration) {
  ASSERT_TRUE(helper.loadMobileConfigFromString(cutOut(kCampusSecure)));
  ASSERT_TRUE(helper.applyUsernameAndPassword("jdoe&co<1>", "p&ss<word>"));
  std::string text = helper.getMobileconfigText();
  EXPECT_NE(text.find("<key>UserName</key>\n<string>jdoe&amp;co&lt;1&gt;</string>\n"
                      "<key>UserPassword</key>\n<string>p&amp;ss&lt;word&gt;</string>\n</dict>"),
            std::string::npos);
  // Still a property list, holding the password as it was given.
  auto edited = adopt(CFPropertyListCreateWithData(nullptr, cfdata(text).get(), kCFPropertyListImmutable, nullptr,
                                                   nullptr));
  auto payloads = static_cast<CFArrayRef>(valueAt(edited.get(), "PayloadContent"));
  ASSERT_NE(payloads, nullptr);
  EXPECT_EQ(utf8(valueAt(CFArrayGetValueAtIndex(payloads, 1), {"EAPClientConfiguration", "UserPassword"})),
            "p&ss<word>");

  // Only the document's first display name changes: here the certificate's.
  ASSERT_TRUE(helper.applyNetworkName("Voil\xC3\xA0 & <Lab>"));
  text = helper.getMobileconfigText();
  EXPECT_NE(text.find("<key>PayloadDisplayName</key>\n\t\t\t<string>Voil&agrave; &amp; &lt;Lab&gt;</string>"),
            std::string::npos);
  EXPECT_NE(text.find("<string>Campus-Secure Wi-Fi</string>"), std::string::npos);
  EXPECT_NE(text.find("<string>Wi-Fi</string>"), std::string::npos);
}

TEST_F(MobileConfigHelperTest, AOneTimePasswordConfigurationGetsNoPassword) {
  ASSERT_TRUE(helper.loadMobileConfigFromString(cutOut(kGuestOtp)));
  ASSERT_TRUE(helper.applyUsernameAndPassword("guest-0042", "from the front desk"));
  std::vector<LogLine> lines = log.take();
  EXPECT_TRUE(contains(lines, {5, "Configuration appears to use OTP.  Will discard user password value."}));
  EXPECT_TRUE(contains(lines, {4, "No password is available while trying to update credentials in our profile!"}));
  std::string text = helper.getMobileconfigText();
  EXPECT_NE(text.find("<key>UserName</key>\n<string>guest-0042</string>\n</dict>"), std::string::npos);
  EXPECT_EQ(text.find("<key>UserPassword</key>"), std::string::npos);
  EXPECT_EQ(helper.getProfiles().at(0).getEapTypes(), std::vector<int>{21});

  ASSERT_TRUE(helper.applyUsernameAndPassword("", ""));
  EXPECT_TRUE(log.saw(4, "No user name is available while trying to update credentials in our profile!"));
  EXPECT_FALSE(helper.applyNetworkName(""));
  EXPECT_TRUE(log.saw(4, "No network name was provided to applyNetworkName()!"));
}

TEST_F(MobileConfigHelperTest, EditsNeedTheKeysTheyChange) {
  ASSERT_TRUE(helper.loadMobileConfigFromString(cutOut(kRootCa)));
  EXPECT_TRUE(helper.getProfiles().empty());
  EXPECT_FALSE(helper.applyUsernameAndPassword("jdoe", "secret"));
  EXPECT_TRUE(log.saw(4, "There didn't appear to be an EAP client configuration setting in our mobileconfig!"));

  const char kBare[] = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>PayloadContent</key><array/>"
                       "<key>EAPClientConfiguration</key><key>PayloadDisplayName</key><string>x</plist>";
  ASSERT_FALSE(helper.loadMobileConfigFromString(kBare));  // not a property list, still the text
  EXPECT_FALSE(helper.applyUsernameAndPassword("jdoe", "secret"));
  EXPECT_TRUE(log.saw(4, "Unable to locate the closing dictionary tag in the EAP client configuration data!"));
  EXPECT_FALSE(helper.applyNetworkName("Lab"));
  EXPECT_TRUE(log.saw(4, "Unable to locate the closing dictionary tag for the user defined name in the "
                         "configuration data!"));
  EXPECT_EQ(helper.getMobileconfigText(), kBare);
}

TEST_F(MobileConfigHelperTest, TheCutOutLooksExactlyWhereItShould) {
  const std::string header = "<?xml version";
  // The header is looked for at positions 0 to size - 14.
  loadBytes(header);
  EXPECT_EQ(helper.findStartingOffset(), npos);
  loadBytes("x" + header);
  EXPECT_EQ(helper.findStartingOffset(), npos);
  loadBytes(header + "x");
  EXPECT_EQ(helper.findStartingOffset(), 0u);

  // The end at positions up to size - 9, from a start before size - 8.
  loadBytes(header + "</plist>");
  EXPECT_EQ(helper.findEndingOffset(0), npos);
  EXPECT_FALSE(helper.stripMobileconfigData());
  EXPECT_TRUE(log.saw(4, "Unable to locate the ending of our secondary configuration data!"));
  loadBytes(header + "</plist>\n");  // 22 bytes
  EXPECT_EQ(helper.findEndingOffset(0), 21u);
  EXPECT_EQ(helper.findEndingOffset(13), 21u);
  EXPECT_EQ(helper.findEndingOffset(14), npos) << "start at size - 8";
  EXPECT_TRUE(helper.stripMobileconfigData());
  EXPECT_EQ(helper.getMobileconfigText(), header + "</plist>");

  // Bytes around the document, of any length, are left out; the first end wins.
  std::string document = documentOf(kCampusSecure);
  loadBytes(std::string(100000, '\0') + "\x30\x82" + document + "\n\xA0\x82</plist>\n");
  ASSERT_TRUE(helper.stripMobileconfigData());
  EXPECT_EQ(helper.getMobileconfigText(), document);

  loadBytes("no document here at all");
  EXPECT_FALSE(helper.stripMobileconfigData());
  EXPECT_TRUE(log.saw(4, "Unable to locate the starting of our secondary configuration data!"));
  writeFile("/tmp/empty.mobileconfig", "");
  EXPECT_FALSE(helper.loadMobileConfig("/tmp/empty.mobileconfig"));
  EXPECT_TRUE(log.saw(4, "There was no secondary configuration data found in the secondary configuration file!"));
  EXPECT_FALSE(helper.stripMobileconfigData());
  EXPECT_TRUE(log.saw(4, "No secondary configuration data was provided to strip of binary data!"));
  EXPECT_FALSE(helper.loadMobileConfig("/tmp/none.mobileconfig"));
  EXPECT_TRUE(log.saw(4, "Unable to open the secondary configuration file!"));
}

TEST_F(MobileConfigHelperTest, ValidationFollowsThePartsInOrder) {
  const std::pair<std::string, std::string> invalid[] = {
      {"<plist version=\"1.0\"><key>PayloadContent</key></plist>",
       "Mobileconfig data doesn't appear to be valid!  It doesn't start with an XML header!"},
      {"</plist><?xml version=\"1.0\"?><key>PayloadContent</key>", "Missing plist opening tag in mobileconfig file!"},
      {"<?xml version=\"1.0\"?><key>PayloadContent</key><plist version=\"1.0\"></plist>",
       "Missing payload content key!"},
      {"<?xml version=\"1.0\"?></plist><plist version=\"1.0\"><key>PayloadContent</key>", "Missing closing plist tag!"},
  };
  for (const auto& [text, missing] : invalid) {
    EXPECT_FALSE(helper.validateMobileconfig(text));
    std::vector<LogLine> lines = log.take();
    EXPECT_TRUE(contains(lines, {4, missing})) << text;
    EXPECT_TRUE(contains(lines, {5, "Mobileconfig data : " + text}));
  }

  EXPECT_FALSE(helper.loadMobileConfigFromString(""));
  EXPECT_TRUE(log.saw(4, "The string passed in to MobileConfigHelper was empty!"));
  EXPECT_FALSE(helper.loadMobileConfigFromString(
      "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>PayloadContent</key></plist>"));
  EXPECT_TRUE(log.saw(4, "Unable to parse the secondary configuration data in to a plist!"));
  EXPECT_FALSE(helper.loadMobileConfigFromString(
      "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>PayloadContent</key><string>x</string></dict>"
      "</plist>"));
  std::vector<LogLine> lines = log.take();
  EXPECT_TRUE(contains(lines, {4, "Unable to locate the content in the secondary configuration file!"}));
  EXPECT_TRUE(contains(lines, {4, "Unable to locate the configuration data from our secondary configuration file!"}));
}

TEST_F(MobileConfigHelperTest, PayloadsThatCannotBeReadAreSkipped) {
  const char kDocument[] =
      "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>PayloadContent</key><array>"
      "<string>not a payload</string>"
      "<dict><key>EAPClientConfiguration</key><dict><key>AcceptEAPTypes</key><array/></dict>"
      "<key>SSID_STR</key><string>Lab-Guest</string></dict>"
      "<dict><key>EAPClientConfiguration</key><dict><key>AcceptEAPTypes</key><array><integer>13</integer>"
      "<string>25</string></array></dict><key>SSID_STR</key><string>Lab-5G</string>"
      "<key>PayloadUUID</key><string>U</string><key>PayloadIdentifier</key><string>I</string></dict>"
      "</array></dict></plist>";
  ASSERT_TRUE(helper.loadMobileConfigFromString(kDocument));
  std::vector<LogLine> lines = log.take();
  EXPECT_TRUE(contains(lines, {4, "The dictionary provided to extractBaseLevelInformation() was NULL!"}));
  EXPECT_TRUE(contains(lines, {4, "Got an invalid node while processing our secondary configuration file!  Will try "
                                  "to continue!"}));
  EXPECT_TRUE(contains(lines, {4, "Unable to get the payload UUID for a network in the secondary configuration "
                                  "file!  We may not be able to connect!"}));
  EXPECT_TRUE(contains(lines, {4, "An empty array of EAP methods was returned from our secondary configuration "
                                  "file!"}));
  EXPECT_TRUE(contains(lines, {4, "Unable to read the EAP method from our secondary configuration file!"}));
  // Both networks are kept, with the EAP methods read before the bad one.
  ASSERT_EQ(helper.getProfiles().size(), 2u);
  EXPECT_EQ(helper.getProfiles()[0].getSsidName(), "Lab-Guest");
  EXPECT_EQ(helper.getProfiles()[1].getEapTypes(), std::vector<int>{13});
  EXPECT_EQ(helper.getProfiles()[1].getIdentifier(), "I");
}

}  // namespace
