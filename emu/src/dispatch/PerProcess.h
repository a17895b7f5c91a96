#pragma once
#include <pthread.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace emu::dispatch {

// The one T of this process that serves everyone from threads of its own
// (the worker pool, the socket loop): made on first use and never destroyed,
// since exit() may run while those threads still use it. A forked child has
// none of the parent's threads, so it drops its copy and makes its own.
template <typename T>
class PerProcess {
 public:
  static T& get() {
    T* object = instance_.load(std::memory_order_acquire);
    if (object != nullptr) return *object;
    static const bool forkAware = pthread_atfork(lockForFork, unlockInParent, forgetInChild) == 0;
    (void)forkAware;
    std::lock_guard<std::mutex> lock(creating_);
    object = instance_.load(std::memory_order_acquire);
    if (object == nullptr) {
      object = new T;
      instance_.store(object, std::memory_order_release);
    }
    return *object;
  }

 private:
  static void lockForFork() { creating_.lock(); }
  static void unlockInParent() { creating_.unlock(); }
  static void forgetInChild() {
    instance_.store(nullptr);
    creating_.unlock();
  }

  static inline std::atomic<T*> instance_{nullptr};
  static inline std::mutex creating_;
};

// Starts a thread nobody joins; there is no way on without it.
inline void startDetachedThread(void* (*main)(void*), void* argument, const char* what) {
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
  pthread_t thread;
  int err = pthread_create(&thread, &attr, main, argument);
  pthread_attr_destroy(&attr);
  if (err != 0) {
    std::fprintf(stderr, "emu: cannot start %s: %s\n", what, std::strerror(err));
    std::abort();
  }
}

}  // namespace emu::dispatch
