#pragma once
#include <condition_variable>
#include <mutex>

#include "DispatchObject.h"

namespace emu::dispatch {

// A counting semaphore whose waits take a dispatch_time_t deadline.
class Semaphore : public DispatchObject {
 public:
  explicit Semaphore(intptr_t value) : DispatchObject(false), value_(value) {}

  static Semaphore* from(dispatch_semaphore_t handle) {
    return static_cast<Semaphore*>(DispatchObject::from(handle));
  }
  dispatch_semaphore_t handle() {
    return reinterpret_cast<dispatch_semaphore_t>(static_cast<DispatchObject*>(this));
  }

  intptr_t wait(dispatch_time_t deadline);
  intptr_t signal();

 private:
  ~Semaphore() override = default;

  std::mutex mu_;
  std::condition_variable cv_;
  intptr_t value_;
  intptr_t waiters_ = 0;
};

}  // namespace emu::dispatch
