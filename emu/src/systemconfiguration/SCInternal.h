#pragma once
// Shared by the SystemConfiguration sources.

#include <SystemConfiguration/SystemConfiguration.h>
#include <sys/stat.h>

#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "../corefoundation/CFRuntimeInternal.h"
#include "SCErrorState.h"

namespace emu::sc {

// The network preferences: the file configd publishes to the Setup: keys.
constexpr char kNetworkPreferencesPath[] = "/Library/Preferences/SystemConfiguration/preferences.plist";

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

// The contents of a file and its status at the time (SCFiles.cpp). False,
// with no bytes, when it cannot be read; the status is zeroed when the file
// cannot be opened.
bool readFile(const std::string &path, std::vector<UInt8> &bytes, struct stat &status);
// Replaces a file whole: writes path-new, flushes it and renames it over
// path, so that readers and a crash see the old file or the new one. Answers
// 0 or the errno of the step that failed.
int replaceFile(const std::string &path, CFDataRef contents, mode_t mode);

// The session's values, read from the file if the session has not yet
// (SCPreferences.cpp). Null when prefs is not a preferences session.
CFMutableDictionaryRef preferencesValues(SCPreferencesRef prefs);
// Replaces all of the session's values (SCPreferences.cpp).
void replacePreferencesValues(SCPreferencesRef prefs, CFDictionaryRef values);

// The dynamic store (SCDynamicStore.cpp). Makes sure the store holds what
// configd publishes when the system starts, before the preferences change.
void primeStore();
// Publishes the stored network preferences to the Setup: keys, as configd
// does when they are applied.
bool publishSetup();
// Whether the running system has a network interface of that name.
bool interfaceExists(CFStringRef bsdName);

}  // namespace emu::sc
