#include "MacStringUtils.h"

#include <vector>

#include "CFRef.h"

namespace xpc {

std::string MacStringUtils::cfStringRefToStdString(CFStringRef string) {
  if (string == nullptr) return "";
  // Through "%@" so that whatever object we are handed comes out as text.
  CFRef<CFStringRef> text(CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR("%@"), string),
                          RefPolicy::Adopt);
  if (!text) return "";
  CFIndex length = CFStringGetLength(text.get());
  CFIndex size = CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8) + 1;
  std::vector<char> buffer(static_cast<size_t>(size));
  if (!CFStringGetCString(text.get(), buffer.data(), size, kCFStringEncodingUTF8)) return "";
  return buffer.data();
}

CFStringRef MacStringUtils::stdStringToCfStringRef(std::string text) {
  return CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                 static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false);
}

}  // namespace xpc
