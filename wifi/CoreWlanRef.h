#pragma once
#include "CoreWlanPlatform.h"
#include "ScopedTypeRef.h"

namespace xpc {

struct CoreWlanRefTraits {
  static CoreWlanObject* retain(CoreWlanObject* object) { return CoreWlanPlatform::retain(object); }
  static void release(CoreWlanObject* object) { CoreWlanPlatform::release(object); }
};

using CoreWlanRef = ScopedTypeRef<CoreWlanObject*, CoreWlanRefTraits>;

}  // namespace xpc
