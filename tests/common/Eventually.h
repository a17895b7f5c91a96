#pragma once
// Bounded waits for tests. The bounds only keep a broken build from hanging;
// no test passes or fails on how long something took.
#include <dispatch/dispatch.h>

#include <chrono>
#include <functional>
#include <thread>

constexpr int64_t kPatience = 20 * NSEC_PER_SEC;

inline bool waitFor(dispatch_semaphore_t semaphore) {
  return dispatch_semaphore_wait(semaphore, dispatch_time(DISPATCH_TIME_NOW, kPatience)) == 0;
}

// Polls `condition` until it holds, for state that settles on other threads
// or processes after the event a test can observe.
inline bool eventually(const std::function<bool()>& condition) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::nanoseconds(kPatience);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}
