#include "DispatchObject.h"

namespace emu::dispatch {

void DispatchObject::retain() {
  if (!immortal_) refs_.fetch_add(1, std::memory_order_relaxed);
}

void DispatchObject::release() {
  if (!immortal_ && refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

}  // namespace emu::dispatch

extern "C" {

void dispatch_retain(dispatch_object_t object) {
  emu::dispatch::DispatchObject::from(object)->retain();
}

void dispatch_release(dispatch_object_t object) {
  emu::dispatch::DispatchObject::from(object)->release();
}

}  // extern "C"
