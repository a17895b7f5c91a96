#pragma once
// CoreFoundation conveniences for the emulated frameworks built on it.

#include <CoreFoundation/CoreFoundation.h>

#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace emu {

struct CFReleaser {
  void operator()(const void *cf) const { CFRelease(cf); }
};
// Holds one reference that it releases.
template <typename Ref>
using Owned = std::unique_ptr<std::remove_pointer_t<Ref>, CFReleaser>;

inline bool isA(CFTypeRef cf, CFTypeID type) { return cf != nullptr && CFGetTypeID(cf) == type; }
inline bool isString(CFTypeRef cf) { return isA(cf, CFStringGetTypeID()); }
inline bool isDictionary(CFTypeRef cf) { return isA(cf, CFDictionaryGetTypeID()); }

// The instance behind a reference of one of our types, or null for another type.
template <typename T>
T *instance(CFTypeRef cf, CFTypeID type) {
  return isA(cf, type) ? static_cast<T *>(const_cast<void *>(cf)) : nullptr;
}

inline std::string utf8(CFStringRef string) {
  CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
  std::string text(static_cast<size_t>(size), '\0');
  if (!CFStringGetCString(string, text.data(), size, kCFStringEncodingUTF8)) return std::string();
  text.resize(std::strlen(text.c_str()));
  return text;
}

inline CFStringRef createString(const std::string &text) {
  return CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8);
}

inline CFMutableDictionaryRef createMutableDictionary() {
  return CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
}

// The entries of a dictionary in its own order, as borrowed references.
inline std::vector<std::pair<CFTypeRef, CFTypeRef>> entries(CFDictionaryRef dictionary) {
  CFIndex count = CFDictionaryGetCount(dictionary);
  std::vector<const void *> keys(static_cast<size_t>(count)), values(static_cast<size_t>(count));
  CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
  std::vector<std::pair<CFTypeRef, CFTypeRef>> result;
  for (CFIndex i = 0; i < count; ++i) result.emplace_back(keys[i], values[i]);
  return result;
}

}  // namespace emu
