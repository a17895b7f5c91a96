// The NSString half of MacStringUtils, built only where Foundation exists.
#import <Foundation/Foundation.h>

#include "MacStringUtils.h"

namespace xpc {

std::string MacStringUtils::nsStringToStdString(NSString* string) {
  const char* text = [string UTF8String];
  return text != nullptr ? std::string(text) : std::string();
}

NSString* MacStringUtils::stdStringToNsString(std::string text) {
  // A factory method, so the result is autoreleased with or without ARC.
  return [NSString stringWithUTF8String:text.c_str()];
}

}  // namespace xpc
