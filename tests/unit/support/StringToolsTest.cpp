#include "CFTestSupport.h"
#include "MacStringUtils.h"
#include "StringTools.h"
#include "XmlUtils.h"

namespace {

using xpc::StringTools;
using Pieces = std::vector<std::string>;

TEST(StringTools, EmptinessIsWhitespaceOnly) {
  for (const char* empty : {"", "\n", "   \t", "\r\n"}) EXPECT_TRUE(StringTools::stringIsEmpty(empty)) << empty;
  // A non-breaking space and a vertical tab are not whitespace here.
  for (const char* text : {"\xC2\xA0", "\v", " x "}) EXPECT_FALSE(StringTools::stringIsEmpty(text)) << text;
}

TEST(StringTools, FindingIsBoundedAndOptionallyCaseInsensitive) {
  const std::string text = "<key>SSID_STR</key><string>Campus</string>";
  EXPECT_EQ(StringTools::findNextStringMatch(text, "<string>", 0, false), 19u);
  EXPECT_EQ(StringTools::findNextStringMatch(text, "<STRING>", 0, false), StringTools::npos);
  EXPECT_EQ(StringTools::findNextStringMatch(text, "<STRING>", 0, true), 19u);
  EXPECT_EQ(StringTools::findNextStringMatch(text, "<string>", 20, false), StringTools::npos);
  EXPECT_EQ(StringTools::findNextStringMatch(text, "key", text.size(), false), StringTools::npos);
  EXPECT_EQ(StringTools::findNextStringMatch(text, "", 0, false), StringTools::npos);
}

TEST(StringTools, SplitKeepsInnerEmptyPiecesOnly) {
  const std::pair<const char*, Pieces> byComma[] = {
      {"a,b", {"a", "b"}}, {"a,,b", {"a", "", "b"}}, {",a", {"", "a"}}, {"a,", {"a"}}, {" \t", {}}};
  for (const auto& [text, pieces] : byComma) EXPECT_EQ(StringTools::split(text, ','), pieces) << text;
  EXPECT_EQ(StringTools::split("en0 :: en1 :: ", " :: "), (Pieces{"en0", "en1"}));
  EXPECT_EQ(StringTools::split("en0::::en1", "::"), (Pieces{"en0", "", "en1"}));
}

TEST(StringTools, PathsAndFileNames) {
  EXPECT_EQ(StringTools::stripInvalidPathnameCharacters("/Users/me/Work: 2024/a?b.txt"),
            "/Users/me/Work 2024/ab.txt");
  EXPECT_EQ(StringTools::stripInvalidFilenameCharacters("a<b>c:d\"e|f?g*h!i[j]k;l=m,n/o\\p"),
            "abcdefghijklmnop");
  EXPECT_EQ(StringTools::normalizeSlashes("C:\\tmp\\x"), "C:/tmp/x");
  EXPECT_EQ(StringTools::concatenateFileAndPath("x", "/tmp"), "/tmp/x");
  EXPECT_EQ(StringTools::concatenateFileAndPath("x", "/tmp/"), "/tmp/x");
}

TEST(XmlUtils, Escaping) {
  EXPECT_EQ(xpc::XmlUtils::toXmlSafe("Tom & Jerry <b> \xC3\xA0 la carte \"quoted\""),
            "Tom &amp; Jerry &lt;b&gt; &agrave; la carte \"quoted\"");
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
