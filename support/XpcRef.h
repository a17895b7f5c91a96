#pragma once
#include <xpc/xpc.h>

#include "ScopedTypeRef.h"

namespace xpc {

struct XpcRefTraits {
  static xpc_object_t retain(xpc_object_t object) { return xpc_retain(object); }
  static void release(xpc_object_t object) { xpc_release(object); }
};

using XpcRef = ScopedTypeRef<xpc_object_t, XpcRefTraits>;

}  // namespace xpc
