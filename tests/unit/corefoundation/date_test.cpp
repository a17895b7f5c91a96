#include <cstdlib>
#include <ctime>
#include <string>

#include "CFTestSupport.h"

namespace {

// US Pacific time, spelled out so no time zone database is needed.
constexpr const char *kPacific = "PST8PDT,M3.2.0,M11.1.0";
constexpr CFAbsoluteTime kSaturdayAfternoon = 816991500;  // 2026-11-21 14:05:00 PST
constexpr CFAbsoluteTime kJustAfterMidnight = 804841230;  // 2026-07-04 00:00:30 PDT

class CFDateTest : public CFTest {
 protected:
  void SetUp() override {
    const char *zone = std::getenv("TZ");
    if (zone) savedZone_ = zone;
    hadZone_ = zone != nullptr;
    setenv("TZ", kPacific, 1);
    tzset();
  }
  void TearDown() override {
    if (hadZone_) {
      setenv("TZ", savedZone_.c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }

  std::string format(CFDateFormatterStyle dateStyle, CFDateFormatterStyle timeStyle, CFAbsoluteTime at) {
    auto locale = adopt(CFLocaleCopyCurrent());
    auto formatter = adopt(CFDateFormatterCreate(nullptr, locale.get(), dateStyle, timeStyle));
    auto date = adopt(CFDateCreate(nullptr, at));
    return utf8(adopt(CFDateFormatterCreateStringWithDate(nullptr, formatter.get(), date.get())).get());
  }

 private:
  std::string savedZone_;
  bool hadZone_ = false;
};

TEST_F(CFDateTest, ShortStyleIsUSEnglishInTheLocalZone) {
  EXPECT_EQ(format(kCFDateFormatterShortStyle, kCFDateFormatterShortStyle, kSaturdayAfternoon),
            "11/21/26, 2:05\u202FPM");
  EXPECT_EQ(format(kCFDateFormatterShortStyle, kCFDateFormatterShortStyle, kJustAfterMidnight),
            "7/4/26, 12:00\u202FAM");
  EXPECT_EQ(format(kCFDateFormatterShortStyle, kCFDateFormatterNoStyle, kSaturdayAfternoon), "11/21/26");
  EXPECT_EQ(format(kCFDateFormatterNoStyle, kCFDateFormatterShortStyle, kSaturdayAfternoon), "2:05\u202FPM");
}

TEST_F(CFDateTest, LongerStyles) {
  EXPECT_EQ(format(kCFDateFormatterMediumStyle, kCFDateFormatterMediumStyle, kJustAfterMidnight),
            "Jul 4, 2026, 12:00:30\u202FAM");
  EXPECT_EQ(format(kCFDateFormatterLongStyle, kCFDateFormatterNoStyle, kSaturdayAfternoon), "November 21, 2026");
  EXPECT_EQ(format(kCFDateFormatterFullStyle, kCFDateFormatterShortStyle, kSaturdayAfternoon),
            "Saturday, November 21, 2026 at 2:05\u202FPM");
}

TEST_F(CFDateTest, DatesAndTheCurrentTime) {
  CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
  EXPECT_NEAR(now, static_cast<double>(std::time(nullptr)) - kCFAbsoluteTimeIntervalSince1970, 2.0);
  auto earlier = adopt(CFDateCreate(nullptr, 795173213.589793));
  auto later = adopt(CFDateCreate(nullptr, now));
  EXPECT_EQ(CFDateGetAbsoluteTime(earlier.get()), 795173213.589793);
  EXPECT_EQ(CFDateCompare(earlier.get(), later.get(), nullptr), kCFCompareLessThan);
  EXPECT_DOUBLE_EQ(CFDateGetTimeIntervalSinceDate(later.get(), earlier.get()), now - 795173213.589793);
  EXPECT_TRUE(CFEqual(earlier.get(), adopt(CFDateCreate(nullptr, 795173213.589793)).get()));
  EXPECT_TRUE(CFEqual(CFLocaleGetIdentifier(adopt(CFLocaleCopyCurrent()).get()), CFSTR("en_US")));
}

}  // namespace

// %@ of a date prints as a Mac's Foundation prints it, in UTC whatever the
// local zone (here the Pacific one).
TEST_F(CFDateTest, FormatsInUtcThroughPercentAt) {
  auto date = adopt(CFDateCreate(nullptr, 816965360.5));
  auto text = adopt(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("changed %@"), date.get()));
  EXPECT_EQ(utf8(text.get()), "changed 2026-11-21 14:49:20 +0000");
}
