#pragma once
// The fake Mac's network state as a test sets it up: entities of the stored
// preferences and keys of the dynamic store, written as another process would.
#include <SystemConfiguration/SystemConfiguration.h>

#include <string>

#include "CFTestSupport.h"
#include "FakeMac.h"
#include "LogCapture.h"

inline std::string servicePath(const char* service, const char* entity) {
  return std::string("/NetworkServices/") + service + "/" + entity;
}

// Replaces the dictionary at a preferences path and commits it.
inline void storePreferences(const std::string& path, CFDictionaryRef value) {
  auto prefs = adopt(SCPreferencesCreate(nullptr, CFSTR("test"), nullptr));
  ASSERT_TRUE(SCPreferencesPathSetValue(prefs.get(), cfstring(path).get(), value)) << path;
  ASSERT_TRUE(SCPreferencesCommitChanges(prefs.get())) << path;
}

inline void storeDynamic(const std::string& key, CFPropertyListRef value) {
  auto store = adopt(SCDynamicStoreCreate(nullptr, CFSTR("test"), nullptr, nullptr));
  ASSERT_TRUE(SCDynamicStoreSetValue(store.get(), cfstring(key).get(), value)) << key;
}
