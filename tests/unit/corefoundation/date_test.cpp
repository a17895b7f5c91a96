#include <cstdlib>
#include <ctime>
#include <string>

#include "CFTestSupport.h"

namespace {

// US Pacific time, spelled out so no time zone database is needed.
constexpr const char *kPacific = "PST8PDT,M3.2.0,M11.1.0";
constexpr CFAbsoluteTime kSaturdayAfternoon = 816991500;  // 2026-11-21 14:05:00 PST
constexpr CFAbsoluteTime kJustAfterMidnight = 804841230;  // 2026-07-04 00:00:30 PDT

// Each test program runs in a fake Mac of its own, whose zone no other test reads.
class CFDateTest : public CFTest {
 protected:
  void SetUp() override {
    setenv("TZ", kPacific, 1);
    tzset();
  }

  std::string format(CFDateFormatterStyle dateStyle, CFDateFormatterStyle timeStyle, CFAbsoluteTime at) {
    auto formatter = adopt(CFDateFormatterCreate(nullptr, adopt(CFLocaleCopyCurrent()).get(), dateStyle, timeStyle));
    auto date = adopt(CFDateCreate(nullptr, at));
    return utf8(adopt(CFDateFormatterCreateStringWithDate(nullptr, formatter.get(), date.get())).get());
  }
};

TEST_F(CFDateTest, StylesAreUSEnglishInTheLocalZone) {
  const CFDateFormatterStyle none = kCFDateFormatterNoStyle, shortStyle = kCFDateFormatterShortStyle;
  const struct {
    CFDateFormatterStyle date, time;
    CFAbsoluteTime at;
    const char* text;
  } cases[] = {
      {shortStyle, shortStyle, kSaturdayAfternoon, "11/21/26, 2:05\u202FPM"},
      {shortStyle, shortStyle, kJustAfterMidnight, "7/4/26, 12:00\u202FAM"},
      {shortStyle, none, kSaturdayAfternoon, "11/21/26"},
      {none, shortStyle, kSaturdayAfternoon, "2:05\u202FPM"},
      {kCFDateFormatterMediumStyle, kCFDateFormatterMediumStyle, kJustAfterMidnight, "Jul 4, 2026, 12:00:30\u202FAM"},
      {kCFDateFormatterLongStyle, none, kSaturdayAfternoon, "November 21, 2026"},
      {kCFDateFormatterFullStyle, shortStyle, kSaturdayAfternoon, "Saturday, November 21, 2026 at 2:05\u202FPM"},
  };
  for (const auto& c : cases) EXPECT_EQ(format(c.date, c.time, c.at), c.text);
}

TEST_F(CFDateTest, DatesAndTheCurrentTime) {
  CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
  EXPECT_NEAR(now, static_cast<double>(std::time(nullptr)) - kCFAbsoluteTimeIntervalSince1970, 2.0);
  auto date = adopt(CFDateCreate(nullptr, 795173213.589793));
  EXPECT_EQ(CFDateGetAbsoluteTime(date.get()), 795173213.589793);
  EXPECT_TRUE(CFEqual(date.get(), adopt(CFDateCreate(nullptr, 795173213.589793)).get()));
}

}  // namespace

// %@ of a date prints as a Mac's Foundation prints it, in UTC whatever the
// local zone (here the Pacific one).
TEST_F(CFDateTest, FormatsInUtcThroughPercentAt) {
  auto date = adopt(CFDateCreate(nullptr, 816965360.5));
  auto text = adopt(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("changed %@"), date.get()));
  EXPECT_EQ(utf8(text.get()), "changed 2026-11-21 14:49:20 +0000");
}
