#include "CFTestSupport.h"
#include "MacStringUtils.h"
#include "StringTools.h"
#include "XmlUtils.h"

namespace {

using xpc::StringTools;
using Pieces = std::vector<std::string>;

TEST(StringTools, EmptinessIsWhitespaceOnlyAndTruthIsTrueOrOne) {
  for (const char* empty : {"", "\n", "   \t", "\r\n"}) EXPECT_TRUE(StringTools::stringIsEmpty(empty)) << empty;
  // A non-breaking space and a vertical tab are not whitespace here.
  for (const char* text : {"\xC2\xA0", "\v", " x "}) EXPECT_FALSE(StringTools::stringIsEmpty(text)) << text;

  for (const char* yes : {"True", "true", "1"}) EXPECT_TRUE(StringTools::boolFromString(yes)) << yes;
  for (const char* no : {" 1", "yes", "  "}) EXPECT_FALSE(StringTools::boolFromString(no)) << no;
  EXPECT_EQ(StringTools::boolStringFromString("TRUE"), "true");
  EXPECT_EQ(StringTools::boolStringFromString("on"), "false");
}

TEST(StringTools, ReplaceNeverRescansItsReplacement) {
  EXPECT_EQ(StringTools::replaceInString("aaa", "a", "aa", true, false), "aaaaaa");
  EXPECT_EQ(StringTools::replaceInString("aaa", "a", "b", false, false), "baa");
  EXPECT_EQ(StringTools::replaceInString("Proxy PROXY proxy", "proxy", "x", true, true), "x x x");
  EXPECT_EQ(StringTools::replaceInString("Proxy PROXY proxy", "proxy", "x", true, false), "Proxy PROXY x");
  EXPECT_EQ(StringTools::replaceInString("abc", " ", "x", true, false), "abc");
}

TEST(StringTools, FindingIsBoundedAndOptionallyCaseInsensitive) {
  const std::string text = "<key>SSID_STR</key><string>Campus</string>";
  EXPECT_EQ(StringTools::findNextStringMatch(text, "<string>", 0, false), 19u);
  EXPECT_EQ(StringTools::findNextStringMatch(text, "<STRING>", 0, false), StringTools::npos);
  EXPECT_EQ(StringTools::findNextStringMatch(text, "<STRING>", 0, true), 19u);
  EXPECT_EQ(StringTools::findNextStringMatch(text, "<string>", 20, false), StringTools::npos);
  EXPECT_EQ(StringTools::findNextStringMatch(text, "key", text.size(), false), StringTools::npos);
  EXPECT_EQ(StringTools::findNextStringMatch(text, "", 0, false), StringTools::npos);
  EXPECT_EQ(StringTools::findInsensitiveInString(text, "campus"), 27u);
}

TEST(StringTools, SplitKeepsInnerEmptyPiecesOnly) {
  const std::pair<const char*, Pieces> byComma[] = {
      {"a,b", {"a", "b"}}, {"a,,b", {"a", "", "b"}}, {",a", {"", "a"}}, {"a,", {"a"}}, {" \t", {}}};
  for (const auto& [text, pieces] : byComma) EXPECT_EQ(StringTools::split(text, ','), pieces) << text;
  EXPECT_EQ(StringTools::split("en0 :: en1 :: ", " :: "), (Pieces{"en0", "en1"}));
  EXPECT_EQ(StringTools::split("en0::::en1", "::"), (Pieces{"en0", "", "en1"}));
  EXPECT_EQ(StringTools::splitWithQuotes("profiles -R -p \"My Profile\" \"\""),
            (Pieces{"profiles", "-R", "-p", "My Profile", ""}));
}

TEST(StringTools, PathsAndFileNames) {
  EXPECT_EQ(StringTools::stripInvalidPathnameCharacters("/Users/me/Work: 2024/a?b.txt"),
            "/Users/me/Work 2024/ab.txt");
  EXPECT_EQ(StringTools::stripInvalidFilenameCharacters("a<b>c:d\"e|f?g*h!i[j]k;l=m,n/o\\p"),
            "abcdefghijklmnop");
  EXPECT_EQ(StringTools::normalizeSlashes("C:\\tmp\\x"), "C:/tmp/x");
  EXPECT_EQ(StringTools::getFilenameFromPath("/tmp/profiles/wifi.mobileconfig"), "wifi.mobileconfig");
  EXPECT_EQ(StringTools::getFilenameFromPath("wifi.mobileconfig"), "wifi.mobileconfig");
  EXPECT_EQ(StringTools::getPathWithoutFilename("/tmp/profiles/wifi.mobileconfig"), "/tmp/profiles/");
  EXPECT_EQ(StringTools::getPathWithoutFilename("wifi.mobileconfig"), "");
  EXPECT_EQ(StringTools::concatenateFileAndPath("x", "/tmp"), "/tmp/x");
  EXPECT_EQ(StringTools::concatenateFileAndPath("x", "/tmp/"), "/tmp/x");
}

// Text that is not a number reads as 0 rather than throwing.
TEST(StringTools, NumbersMacAddressesAndNames) {
  EXPECT_EQ(StringTools::toInt("junk"), 0);
  EXPECT_FALSE(StringTools::stringIsNumeric("-1"));
  EXPECT_FALSE(StringTools::stringIsNumeric(""));

  const unsigned char mac[6] = {0x00, 0x1b, 0x63, 0xaa, 0x0f, 0xfe};
  EXPECT_EQ(StringTools::macAddressToString(mac), "00:1B:63:AA:0F:FE");
  EXPECT_EQ(StringTools::adaptMacAddress("00-1b-63-aa-0f-fe"), "00:1B:63:AA:0F:FE");
  EXPECT_EQ(StringTools::adaptMacAddress("00:1b:63:aa:0f"), "");
  EXPECT_FALSE(StringTools::checkSeparators("00-1B-63-AA-0F-FE"));
  EXPECT_EQ(StringTools::hexOctetStringToByte("fE"), 254);
  EXPECT_EQ(StringTools::hexOctetStringToByte("G0"), -1);

  EXPECT_EQ(StringTools::eapMethodIdToString(25), "PEAP");
  EXPECT_EQ(StringTools::eapMethodIdToString(17), "Unknown EAP method : 17");
}

TEST(StringTools, HexDumpStaysInsideItsBuffer) {
  const unsigned char bytes[18] = {'M', 'a', 'c', 0x00, 0xff};
  std::string dump = StringTools::dumpHex(bytes, sizeof(bytes));
  EXPECT_EQ(dump,
            "4D 61 63 00 FF 00 00 00 00 00 00 00 00 00 00 00  | Mac.............\n"
            "00 00                                            | ..\n");
}

TEST(XmlUtils, EscapingRoundTrips) {
  const std::string text = "Tom & Jerry <b> \xC3\xA0 la carte \"quoted\"";
  std::string safe = xpc::XmlUtils::toXmlSafe(text);
  EXPECT_EQ(safe, "Tom &amp; Jerry &lt;b&gt; &agrave; la carte \"quoted\"");
  EXPECT_EQ(xpc::XmlUtils::fromXmlSafe(safe), text);
  // Undone in a fixed order, so an escaped entity name comes back as the letter.
  EXPECT_EQ(xpc::XmlUtils::fromXmlSafe("&amp;agrave;"), "\xC3\xA0");
}

class MacStringUtilsTest : public CFTest {};

TEST_F(MacStringUtilsTest, ConvertsUtf8BothWays) {
  const std::string text = "Caf\xC3\xA9 Wi-Fi \xE2\x9C\x93";
  auto string = adopt(xpc::MacStringUtils::stdStringToCfStringRef(text));
  ASSERT_TRUE(string);
  EXPECT_EQ(CFStringGetLength(string.get()), 12);
  EXPECT_EQ(xpc::MacStringUtils::cfStringRefToStdString(string.get()), text);
  EXPECT_EQ(xpc::MacStringUtils::stdStringToCfStringRef("\xC3"), nullptr);
  EXPECT_EQ(xpc::MacStringUtils::cfStringRefToStdString(nullptr), "");
}

}  // namespace
