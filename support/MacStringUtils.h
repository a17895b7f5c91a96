#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <string>

#ifdef __OBJC__
@class NSString;
#endif

namespace xpc {

// Conversions between our UTF-8 byte strings and the platform's string objects.
class MacStringUtils {
 public:
  // The text of a string; "" for null.
  static std::string cfStringRefToStdString(CFStringRef string);
  // A new string (the caller releases it), or null when the bytes are not
  // valid UTF-8.
  static CFStringRef stdStringToCfStringRef(std::string text);

#ifdef __OBJC__
  static std::string nsStringToStdString(NSString* string);
  static NSString* stdStringToNsString(std::string text);
#endif
};

}  // namespace xpc
