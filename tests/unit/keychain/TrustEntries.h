#pragma once
// A trust-settings array as the keychain tests compare it: each entry's
// policy name and result, the result -1 when absent or not a number.
#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <utility>
#include <vector>

#include "CFTestSupport.h"

using TrustEntries = std::vector<std::pair<std::string, long long>>;

// Empty for anything but an array.
inline TrustEntries trustEntries(CFTypeRef settings) {
  TrustEntries entries;
  if (settings == nullptr || CFGetTypeID(settings) != CFArrayGetTypeID()) return entries;
  for (CFIndex i = 0; i < CFArrayGetCount(static_cast<CFArrayRef>(settings)); ++i) {
    CFTypeRef entry = CFArrayGetValueAtIndex(static_cast<CFArrayRef>(settings), i);
    CFTypeRef number = valueAt(entry, "kSecTrustSettingsResult");
    long long result = -1;
    if (number != nullptr && CFGetTypeID(number) == CFNumberGetTypeID()) {
      CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberLongLongType, &result);
    }
    entries.emplace_back(utf8(valueAt(entry, "kSecTrustSettingsPolicyName")), result);
  }
  return entries;
}
