#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include "ScopedTypeRef.h"

namespace xpc {

template <typename T>
struct CFRefTraits {
  static T retain(T object) { return reinterpret_cast<T>(const_cast<void*>(CFRetain(object))); }
  static void release(T object) { CFRelease(object); }
};

template <typename T>
using CFRef = ScopedTypeRef<T, CFRefTraits<T>>;

}  // namespace xpc
