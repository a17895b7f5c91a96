#include "Semaphore.h"

#include "WorkerPool.h"

#include <chrono>
#include <cstdint>

namespace emu::dispatch {
namespace {

// What libdispatch returns for a wait that timed out (KERN_OPERATION_TIMED_OUT).
constexpr intptr_t kTimedOut = 49;

}  // namespace

intptr_t Semaphore::wait(dispatch_time_t deadline) {
  std::unique_lock<std::mutex> lock(mu_);
  auto available = [this] { return value_ > 0; };
  if (!available()) {
    ++waiters_;
    WorkerPool::willWait();
    bool ok = true;
    // dispatch_time() counts nanoseconds on CLOCK_MONOTONIC, steady_clock's clock.
    if (deadline > static_cast<dispatch_time_t>(INT64_MAX)) {
      cv_.wait(lock, available);
    } else {
      std::chrono::steady_clock::time_point until{std::chrono::nanoseconds(static_cast<int64_t>(deadline))};
      ok = cv_.wait_until(lock, until, available);
    }
    WorkerPool::didWait();
    --waiters_;
    if (!ok) return kTimedOut;
  }
  --value_;
  return 0;
}

intptr_t Semaphore::signal() {
  std::lock_guard<std::mutex> lock(mu_);
  ++value_;
  if (waiters_ == 0) return 0;
  cv_.notify_one();
  return 1;
}

}  // namespace emu::dispatch

using emu::dispatch::Semaphore;

extern "C" {

dispatch_semaphore_t dispatch_semaphore_create(intptr_t value) {
  if (value < 0) return nullptr;
  return (new Semaphore(value))->handle();
}

intptr_t dispatch_semaphore_wait(dispatch_semaphore_t dsema, dispatch_time_t timeout) {
  return Semaphore::from(dsema)->wait(timeout);
}

intptr_t dispatch_semaphore_signal(dispatch_semaphore_t dsema) { return Semaphore::from(dsema)->signal(); }

}  // extern "C"
