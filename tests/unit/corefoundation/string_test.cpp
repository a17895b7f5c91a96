#include "CFTestSupport.h"

namespace {

using CFStringTest = CFTest;

CFStringRef fromBytes(const char *bytes, size_t length, CFStringEncoding encoding, bool external = false) {
  return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8 *>(bytes), static_cast<CFIndex>(length),
                                 encoding, external);
}

TEST_F(CFStringTest, DecodingFailsOnBytesTheEncodingCannotHold) {
  const char cafe[] = "caf\xE9";
  EXPECT_EQ(fromBytes(cafe, 4, kCFStringEncodingASCII), nullptr);
  EXPECT_EQ(fromBytes(cafe, 4, kCFStringEncodingUTF8), nullptr) << "a lone lead byte is not UTF-8";
  EXPECT_EQ(CFStringCreateWithCString(nullptr, "\xC0\xAF", kCFStringEncodingUTF8), nullptr) << "overlong form";
  EXPECT_EQ(CFStringCreateWithCString(nullptr, "\xED\xA0\x80", kCFStringEncodingUTF8), nullptr) << "surrogate";
  EXPECT_EQ(utf8(adopt(fromBytes("\xEF\xBB\xBFok", 5, kCFStringEncodingUTF8, true)).get()), "ok");
}

TEST_F(CFStringTest, LengthsAreUTF16UnitsAndConversionChecksTheBuffer) {
  auto text = cfstring("a\U0001F600\u00E9");  // 1 + 2 + 1 units; 1 + 4 + 2 UTF-8 bytes
  EXPECT_EQ(CFStringGetLength(text.get()), 4);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(4, kCFStringEncodingUTF8), 12);

  char buffer[16];
  EXPECT_FALSE(CFStringGetCString(text.get(), buffer, 7, kCFStringEncodingUTF8)) << "no room for the terminator";
  ASSERT_TRUE(CFStringGetCString(text.get(), buffer, 8, kCFStringEncodingUTF8));
  EXPECT_STREQ(buffer, "a\U0001F600\u00E9");
  EXPECT_FALSE(CFStringGetCString(text.get(), buffer, sizeof buffer, kCFStringEncodingASCII));
}

TEST_F(CFStringTest, CompareAndPrefixes) {
  EXPECT_EQ(CFStringCompare(CFSTR("Wi-Fi"), CFSTR("wi-fi"), 0), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(CFSTR("Wi-Fi"), CFSTR("wi-fi"), kCFCompareCaseInsensitive), kCFCompareEqualTo);
  EXPECT_EQ(CFStringCompare(cfstring("\u00C9COLE").get(), cfstring("\u00E9cole").get(), kCFCompareCaseInsensitive),
            kCFCompareEqualTo);
  EXPECT_EQ(CFStringCompare(CFSTR("en0"), CFSTR("en10"), 0), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(CFSTR("en1"), CFSTR("en"), 0), kCFCompareGreaterThan);
  EXPECT_EQ(CFStringCompare(CFSTR("b"), CFSTR("A"), kCFCompareCaseInsensitive), kCFCompareGreaterThan);
  EXPECT_TRUE(CFStringHasPrefix(CFSTR("/Sets/6A1C"), CFSTR("/Sets/")));
  EXPECT_TRUE(CFStringHasPrefix(CFSTR("x"), CFSTR("")));
  EXPECT_FALSE(CFStringHasPrefix(CFSTR("/Se"), CFSTR("/Sets/")));
}

TEST_F(CFStringTest, MutableStringsAndTheirCopiesAreIndependent) {
  auto name = adopt(CFStringCreateMutable(nullptr, 0));
  CFStringAppend(name.get(), CFSTR("Net"));
  auto snapshot = adopt(CFStringCreateCopy(nullptr, name.get()));
  CFStringAppendCString(name.get(), "work \u2014 ", kCFStringEncodingUTF8);
  CFStringAppend(name.get(), name.get());
  EXPECT_EQ(utf8(name.get()), "Network \u2014 Network \u2014 ");
  EXPECT_EQ(utf8(snapshot.get()), "Net");

  auto fromLiteral = adopt(CFStringCreateMutableCopy(nullptr, 0, CFSTR("en")));
  CFStringAppendFormat(fromLiteral.get(), nullptr, CFSTR("%d"), 0);
  EXPECT_EQ(utf8(fromLiteral.get()), "en0");
  EXPECT_EQ(utf8(CFSTR("en")), "en");
}

std::string format(CFStringRef format, ...) {
  va_list args;
  va_start(args, format);
  auto result = adopt(CFStringCreateWithFormatAndArguments(nullptr, nullptr, format, args));
  va_end(args);
  return utf8(result.get());
}

TEST_F(CFStringTest, FormatShowsObjectsThroughTheirDescriptions) {
  EXPECT_EQ(format(CFSTR("%@:%@"), cfstring("proxy.corp.example").get(), cfnumber(8080LL).get()),
            "proxy.corp.example:8080");
  EXPECT_EQ(format(CFSTR("%@ %@ %@"), cfnumber(0.5).get(), cfnumber(-2.0).get(), kCFBooleanTrue), "0.5 -2 true");
  EXPECT_EQ(format(CFSTR("%@ %@"), nullptr, kCFNull), "(null) <null>");
  EXPECT_EQ(format(CFSTR("%2$@ before %1$@"), CFSTR("B"), CFSTR("A")), "A before B");
  EXPECT_EQ(format(CFSTR("[%8@|%-4@]"), CFSTR("right"), CFSTR("l")), "[   right|l   ]");
}

TEST_F(CFStringTest, FormatHandlesPrintfConversions) {
  EXPECT_EQ(format(CFSTR("%d|%5.1f|%-4s|%x|%lld|%zu|%%|%c"), -7, 2.25, "ab", 255, 1LL << 40, sizeof(int), 'z'),
            "-7|  2.2|ab  |ff|1099511627776|4|%|z");
  EXPECT_EQ(format(CFSTR("%*d|%.*s|%hhd|%p"), 4, 7, 2, "abc", 300, nullptr), "   7|ab|44|0x0");
  EXPECT_EQ(format(CFSTR("%C%S"), 0x2014, u"ok"), "\u2014ok");
  // %s is read in the system encoding, MacRoman, not UTF-8: the Mac's known pitfall.
  EXPECT_EQ(format(CFSTR("%s"), "\xC3\xA9"), "\u221A\u00A9");
}

}  // namespace
