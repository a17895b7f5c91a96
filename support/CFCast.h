#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>

namespace xpc {

// The type identifier of each CF type the helper reads.
template <typename T>
CFTypeID cfTypeId();
template <> inline CFTypeID cfTypeId<CFStringRef>() { return CFStringGetTypeID(); }
template <> inline CFTypeID cfTypeId<CFNumberRef>() { return CFNumberGetTypeID(); }
template <> inline CFTypeID cfTypeId<CFBooleanRef>() { return CFBooleanGetTypeID(); }
template <> inline CFTypeID cfTypeId<CFDataRef>() { return CFDataGetTypeID(); }
template <> inline CFTypeID cfTypeId<CFDateRef>() { return CFDateGetTypeID(); }
template <> inline CFTypeID cfTypeId<CFArrayRef>() { return CFArrayGetTypeID(); }
template <> inline CFTypeID cfTypeId<CFDictionaryRef>() { return CFDictionaryGetTypeID(); }
template <> inline CFTypeID cfTypeId<SecPolicyRef>() { return SecPolicyGetTypeID(); }
template <> inline CFTypeID cfTypeId<SecCertificateRef>() { return SecCertificateGetTypeID(); }
template <> inline CFTypeID cfTypeId<SecKeychainItemRef>() { return SecKeychainItemGetTypeID(); }

// A value read from a file, a store or a client as the type it must have, or
// null when it has another: such values are never handed to a function of the
// wrong type. No retain is transferred.
template <typename T>
T cfCast(CFTypeRef value) {
  return value != nullptr && CFGetTypeID(value) == cfTypeId<T>() ? static_cast<T>(const_cast<void*>(value)) : nullptr;
}

// Whether the value is of T's type; for code that passes the test around.
template <typename T>
bool isA(CFTypeRef value) {
  return cfCast<T>(value) != nullptr;
}

}  // namespace xpc
