// The NSString half of MacStringUtils, built only where Foundation exists.
#import <Foundation/Foundation.h>

#include "MacStringUtils.h"

namespace xpc {

std::string MacStringUtils::nsStringToStdString(NSString* string) {
  const char* text = [string UTF8String];
  return text != nullptr ? std::string(text) : std::string();
}

NSString* MacStringUtils::stdStringToNsString(std::string text) {
  return [[NSString alloc] initWithBytes:text.data() length:text.size() encoding:NSUTF8StringEncoding];
}

}  // namespace xpc
