#pragma once
#include <CoreFoundation/CoreFoundation.h>

namespace xpc {

template <typename T>
struct CFTypeOf;
template <>
struct CFTypeOf<CFDictionaryRef> {
  static CFTypeID id() { return CFDictionaryGetTypeID(); }
};
template <>
struct CFTypeOf<CFArrayRef> {
  static CFTypeID id() { return CFArrayGetTypeID(); }
};
template <>
struct CFTypeOf<CFNumberRef> {
  static CFTypeID id() { return CFNumberGetTypeID(); }
};

// A value read from a file or a client as the type it must have, or null
// when it has another: such values are never handed to a function of the
// wrong type. No retain is transferred.
template <typename T>
T cfCast(CFTypeRef value) {
  return value != nullptr && CFGetTypeID(value) == CFTypeOf<T>::id() ? static_cast<T>(value) : nullptr;
}

}  // namespace xpc
