#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <CFRef.h>
#include <emu/ObjectCounts.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

// Every test must leave as many CF objects alive as it found.
class CFTest : public ::testing::Test {
 protected:
  void SetUp() override { liveAtStart_ = emu_cf_live_objects(); }
  void TearDown() override { EXPECT_EQ(emu_cf_live_objects(), liveAtStart_) << "CF objects leaked"; }

 private:
  long liveAtStart_ = 0;
};

template <typename T>
xpc::CFRef<T> adopt(T object) {
  return xpc::CFRef<T>(object, xpc::RefPolicy::Adopt);
}

inline std::string utf8(CFStringRef string) {
  CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
  std::string buffer(static_cast<size_t>(size), '\0');
  if (!CFStringGetCString(string, buffer.data(), size, kCFStringEncodingUTF8)) return "<unconvertible>";
  buffer.resize(std::strlen(buffer.c_str()));
  return buffer;
}

inline std::string description(CFTypeRef cf) { return utf8(adopt(CFCopyDescription(cf)).get()); }

inline xpc::CFRef<CFStringRef> cfstring(const char *text) {
  return adopt(CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8));
}

inline xpc::CFRef<CFNumberRef> cfnumber(long long value) {
  return adopt(CFNumberCreate(nullptr, kCFNumberLongLongType, &value));
}

inline xpc::CFRef<CFNumberRef> cfnumber(double value) {
  return adopt(CFNumberCreate(nullptr, kCFNumberDoubleType, &value));
}
