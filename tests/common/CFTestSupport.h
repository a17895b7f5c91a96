#pragma once
// CoreFoundation for tests: the leak-checking fixture, owned references, and
// reading strings, dictionaries and property-list files.
#include <CoreFoundation/CoreFoundation.h>
#include <emu/ObjectCounts.h>
#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "CFRef.h"
#include "Files.h"

// Every test must leave as many CF objects alive as it found. Counted from
// before the derived fixture's members exist until after they are gone.
class CFTest : public ::testing::Test {
 protected:
  CFTest() : liveAtStart_(emu_cf_live_objects()) {}
  ~CFTest() override { EXPECT_EQ(emu_cf_live_objects(), liveAtStart_) << "CF objects leaked"; }

 private:
  long liveAtStart_;
};

template <typename T>
xpc::CFRef<T> adopt(T object) {
  return xpc::CFRef<T>(object, xpc::RefPolicy::Adopt);
}

// The text of a string, or "" for anything else.
inline std::string utf8(CFTypeRef string) {
  if (string == nullptr || CFGetTypeID(string) != CFStringGetTypeID()) return "";
  auto s = static_cast<CFStringRef>(string);
  CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(s), kCFStringEncodingUTF8) + 1;
  std::string buffer(static_cast<size_t>(size), '\0');
  if (!CFStringGetCString(s, buffer.data(), size, kCFStringEncodingUTF8)) return "<unconvertible>";
  buffer.resize(std::strlen(buffer.c_str()));
  return buffer;
}

inline std::string description(CFTypeRef cf) { return utf8(adopt(CFCopyDescription(cf)).get()); }

inline xpc::CFRef<CFStringRef> cfstring(const std::string& text) {
  return adopt(CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8));
}

inline xpc::CFRef<CFNumberRef> cfnumber(long long value) {
  return adopt(CFNumberCreate(nullptr, kCFNumberLongLongType, &value));
}

inline xpc::CFRef<CFNumberRef> cfnumber(double value) {
  return adopt(CFNumberCreate(nullptr, kCFNumberDoubleType, &value));
}

inline xpc::CFRef<CFDataRef> cfdata(const std::string& bytes) {
  return adopt(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
}

// A new mutable dictionary of CF types, holding `entries`.
using Entries = std::initializer_list<std::pair<std::string, CFTypeRef>>;
inline xpc::CFRef<CFMutableDictionaryRef> cfdictionary(Entries entries = {}) {
  auto result =
      adopt(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  for (const auto& [key, value] : entries) CFDictionarySetValue(result.get(), cfstring(key).get(), value);
  return result;
}

// The value under a path of dictionary keys; null where the path leaves the dictionaries.
inline CFTypeRef valueAt(CFTypeRef root, std::initializer_list<std::string> keys) {
  for (const std::string& key : keys) {
    if (root == nullptr || CFGetTypeID(root) != CFDictionaryGetTypeID()) return nullptr;
    root = CFDictionaryGetValue(static_cast<CFDictionaryRef>(root), cfstring(key).get());
  }
  return root;
}

inline CFTypeRef valueAt(CFTypeRef dictionary, const std::string& key) { return valueAt(dictionary, {key}); }

// The keys of a dictionary as strings, in the dictionary's own order.
inline std::vector<std::string> keysOf(CFTypeRef dictionary) {
  if (dictionary == nullptr || CFGetTypeID(dictionary) != CFDictionaryGetTypeID()) return {};
  std::vector<const void*> keys(static_cast<size_t>(CFDictionaryGetCount(static_cast<CFDictionaryRef>(dictionary))));
  CFDictionaryGetKeysAndValues(static_cast<CFDictionaryRef>(dictionary), keys.data(), nullptr);
  std::vector<std::string> names;
  for (const void* key : keys) names.push_back(utf8(key));
  return names;
}

// A property-list file as it is on disk now; null when it does not parse.
inline xpc::CFRef<CFPropertyListRef> readPropertyList(const std::string& path) {
  return adopt(CFPropertyListCreateWithData(nullptr, cfdata(fileBytes(path)).get(), kCFPropertyListImmutable, nullptr,
                                            nullptr));
}
