#pragma once
#include <dispatch/dispatch.h>

#include <atomic>

namespace emu::dispatch {

// Reference-counted base of queues and semaphores. The process-wide queues are
// immortal: retain and release leave them alone, as on macOS.
class DispatchObject {
 public:
  static DispatchObject* from(dispatch_object_t handle) {
    return reinterpret_cast<DispatchObject*>(handle);
  }

  void retain();
  void release();

 protected:
  explicit DispatchObject(bool immortal) : immortal_(immortal) {}
  virtual ~DispatchObject() = default;

 private:
  std::atomic<long> refs_{1};
  const bool immortal_;
};

}  // namespace emu::dispatch
