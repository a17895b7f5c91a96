/* CFDateFormatter.h: dates as text in the en_US styles, in the process's
   local time zone. */
#if !defined(__COREFOUNDATION_CFDATEFORMATTER__)
#define __COREFOUNDATION_CFDATEFORMATTER__ 1

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFLocale.h>

CF_EXTERN_C_BEGIN

typedef struct __CFDateFormatter *CFDateFormatterRef;

typedef CF_ENUM(CFIndex, CFDateFormatterStyle) {
  kCFDateFormatterNoStyle = 0,
  kCFDateFormatterShortStyle = 1,
  kCFDateFormatterMediumStyle = 2,
  kCFDateFormatterLongStyle = 3,
  kCFDateFormatterFullStyle = 4
};

CF_EXPORT CFTypeID CFDateFormatterGetTypeID(void);
/* Time styles beyond medium need time zone names and are not available. */
CF_EXPORT CFDateFormatterRef CFDateFormatterCreate(CFAllocatorRef allocator, CFLocaleRef locale,
                                                   CFDateFormatterStyle dateStyle,
                                                   CFDateFormatterStyle timeStyle);
CF_EXPORT CFStringRef CFDateFormatterCreateStringWithDate(CFAllocatorRef allocator, CFDateFormatterRef formatter,
                                                          CFDateRef date);
CF_EXPORT CFStringRef CFDateFormatterCreateStringWithAbsoluteTime(CFAllocatorRef allocator,
                                                                  CFDateFormatterRef formatter,
                                                                  CFAbsoluteTime at);

CF_EXTERN_C_END

#endif /* ! __COREFOUNDATION_CFDATEFORMATTER__ */
