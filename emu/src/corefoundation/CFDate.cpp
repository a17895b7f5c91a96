// CFDate, the current locale and date formatters. Every emulated Mac runs
// with the en_US locale; formatting uses the process's local time zone and
// the en_US patterns of current macOS (which separate the time from AM/PM
// with a narrow no-break space, U+202F).

#include <cmath>
#include <ctime>

#include "CFInternal.h"

struct __CFDate {
  CFRuntimeBase base;
  CFAbsoluteTime time;
};

struct __CFLocale {
  CFRuntimeBase base;
};

struct __CFDateFormatter {
  CFRuntimeBase base;
  CFLocaleRef locale;
  CFDateFormatterStyle dateStyle;
  CFDateFormatterStyle timeStyle;
};

namespace emu {
namespace {

const __CFDate *dateArg(CFDateRef date, const char *function) {
  requireType(date, kDateTypeID, function);
  return date;
}

Boolean dateEqual(CFTypeRef a, CFTypeRef b) {
  return static_cast<CFDateRef>(a)->time == static_cast<CFDateRef>(b)->time;
}

CFHashCode dateHash(CFTypeRef cf) {
  double time = static_cast<CFDateRef>(cf)->time;
  return static_cast<CFHashCode>(static_cast<int64_t>(std::floor(time))) ^
         static_cast<CFHashCode>((time - std::floor(time)) * 1e9);
}

CFStringRef dateCopyDebugDesc(CFTypeRef cf) {
  return stringCreateUTF8(descriptionPrefix(cf) + strprintf("{time = %0.09g}", static_cast<CFDateRef>(cf)->time));
}

// What %@ prints. The helper links Foundation on a Mac, where a CFDate is an
// NSDate and formats as one: "2026-11-21 14:09:20 +0000", in UTC.
CFStringRef dateCopyFormattingDesc(CFTypeRef cf, CFDictionaryRef) {
  time_t seconds = static_cast<time_t>(std::floor(static_cast<CFDateRef>(cf)->time + kCFAbsoluteTimeIntervalSince1970));
  tm utc;
  gmtime_r(&seconds, &utc);
  char text[40];
  strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S +0000", &utc);
  return stringCreateUTF8(text);
}

CFStringRef localeCopyDebugDesc(CFTypeRef cf) {
  return stringCreateUTF8(descriptionPrefix(cf) + "{type = current, identifier = 'en_US'}");
}

void formatterFinalize(CFTypeRef cf) { CFRelease(static_cast<const __CFDateFormatter *>(cf)->locale); }

const char *const kMonths[] = {"January", "February", "March",     "April",   "May",      "June",
                               "July",    "August",   "September", "October", "November", "December"};
const char *const kWeekdays[] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};

std::string formatDate(const struct tm &t, CFDateFormatterStyle style) {
  int year = t.tm_year + 1900;
  switch (style) {
    case kCFDateFormatterShortStyle:
      return strprintf("%d/%d/%02d", t.tm_mon + 1, t.tm_mday, year % 100);
    case kCFDateFormatterMediumStyle:
      return strprintf("%.3s %d, %d", kMonths[t.tm_mon], t.tm_mday, year);
    case kCFDateFormatterLongStyle:
      return strprintf("%s %d, %d", kMonths[t.tm_mon], t.tm_mday, year);
    case kCFDateFormatterFullStyle:
      return strprintf("%s, %s %d, %d", kWeekdays[t.tm_wday], kMonths[t.tm_mon], t.tm_mday, year);
    default:
      return "";
  }
}

std::string formatTime(const struct tm &t, CFDateFormatterStyle style) {
  int hour = t.tm_hour % 12 == 0 ? 12 : t.tm_hour % 12;
  const char *period = t.tm_hour < 12 ? "\u202F" "AM" : "\u202F" "PM";
  switch (style) {
    case kCFDateFormatterShortStyle:
      return strprintf("%d:%02d%s", hour, t.tm_min, period);
    case kCFDateFormatterMediumStyle:
      return strprintf("%d:%02d:%02d%s", hour, t.tm_min, t.tm_sec, period);
    default:
      return "";
  }
}

}  // namespace

const CFRuntimeClass kDateClass = {"CFDate", nullptr, dateEqual, dateHash, dateCopyFormattingDesc,
                                   dateCopyDebugDesc};
const CFRuntimeClass kLocaleClass = {"CFLocale", nullptr, nullptr, nullptr, nullptr, localeCopyDebugDesc};
const CFRuntimeClass kDateFormatterClass = {"CFDateFormatter", formatterFinalize, nullptr, nullptr, nullptr, nullptr};

}  // namespace emu

using namespace emu;

extern "C" {

const CFTimeInterval kCFAbsoluteTimeIntervalSince1970 = kAbsoluteTimeSince1970;
const CFTimeInterval kCFAbsoluteTimeIntervalSince1904 = 3061152000.0;

CFAbsoluteTime CFAbsoluteTimeGetCurrent(void) {
  struct timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<double>(now.tv_sec) - kAbsoluteTimeSince1970 + static_cast<double>(now.tv_nsec) * 1e-9;
}

CFTypeID CFDateGetTypeID(void) { return kDateTypeID; }

CFDateRef CFDateCreate(CFAllocatorRef, CFAbsoluteTime at) {
  auto *date = static_cast<__CFDate *>(
      const_cast<void *>(_CFRuntimeCreateInstance(nullptr, kDateTypeID, sizeof(__CFDate) - sizeof(CFRuntimeBase))));
  date->time = at;
  return date;
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate) { return dateArg(theDate, "CFDateGetAbsoluteTime")->time; }

CFTimeInterval CFDateGetTimeIntervalSinceDate(CFDateRef theDate, CFDateRef otherDate) {
  return dateArg(theDate, "CFDateGetTimeIntervalSinceDate")->time -
         dateArg(otherDate, "CFDateGetTimeIntervalSinceDate")->time;
}

CFComparisonResult CFDateCompare(CFDateRef theDate, CFDateRef otherDate, void *) {
  CFTimeInterval difference = CFDateGetTimeIntervalSinceDate(theDate, otherDate);
  return difference < 0 ? kCFCompareLessThan : difference > 0 ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

CFTypeID CFLocaleGetTypeID(void) { return kLocaleTypeID; }

CFLocaleRef CFLocaleCopyCurrent(void) {
  return static_cast<CFLocaleRef>(_CFRuntimeCreateInstance(nullptr, kLocaleTypeID, 0));
}

CFLocaleIdentifier CFLocaleGetIdentifier(CFLocaleRef locale) {
  requireType(locale, kLocaleTypeID, "CFLocaleGetIdentifier");
  return CFSTR("en_US");
}

CFTypeID CFDateFormatterGetTypeID(void) { return kDateFormatterTypeID; }

CFDateFormatterRef CFDateFormatterCreate(CFAllocatorRef, CFLocaleRef locale, CFDateFormatterStyle dateStyle,
                                         CFDateFormatterStyle timeStyle) {
  if (dateStyle < kCFDateFormatterNoStyle || dateStyle > kCFDateFormatterFullStyle)
    fatal("CFDateFormatterCreate() called with unknown date style %ld", dateStyle);
  if (timeStyle < kCFDateFormatterNoStyle || timeStyle > kCFDateFormatterMediumStyle)
    fatal("CFDateFormatterCreate(): time style %ld is not available here", timeStyle);
  auto *formatter = static_cast<__CFDateFormatter *>(const_cast<void *>(_CFRuntimeCreateInstance(
      nullptr, kDateFormatterTypeID, sizeof(__CFDateFormatter) - sizeof(CFRuntimeBase))));
  formatter->locale = locale ? static_cast<CFLocaleRef>(CFRetain(locale)) : CFLocaleCopyCurrent();
  formatter->dateStyle = dateStyle;
  formatter->timeStyle = timeStyle;
  return formatter;
}

CFStringRef CFDateFormatterCreateStringWithAbsoluteTime(CFAllocatorRef, CFDateFormatterRef formatter,
                                                        CFAbsoluteTime at) {
  requireType(formatter, kDateFormatterTypeID, "CFDateFormatterCreateStringWithAbsoluteTime");
  time_t seconds = static_cast<time_t>(std::floor(at + kAbsoluteTimeSince1970));
  struct tm local;
  localtime_r(&seconds, &local);
  std::string date = formatDate(local, formatter->dateStyle), time = formatTime(local, formatter->timeStyle);
  // Long and full dates read "<date> at <time>"; shorter ones use a comma.
  const char *glue = formatter->dateStyle >= kCFDateFormatterLongStyle ? " at " : ", ";
  return stringCreateUTF8(date.empty() || time.empty() ? date + time : date + glue + time);
}

CFStringRef CFDateFormatterCreateStringWithDate(CFAllocatorRef allocator, CFDateFormatterRef formatter,
                                                CFDateRef date) {
  return CFDateFormatterCreateStringWithAbsoluteTime(allocator, formatter,
                                                     dateArg(date, "CFDateFormatterCreateStringWithDate")->time);
}

}  // extern "C"
