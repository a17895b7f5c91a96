#include "WorkerPool.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "Queue.h"

namespace emu::dispatch {
namespace {

// An idle worker waits this long for more work before its thread ends, so a
// burst of small items does not create a thread per item.
constexpr std::chrono::milliseconds kLinger{200};
// libdispatch stops adding threads for blocked work at 64 as well.
constexpr int kMaxWorkers = 64;
// How long queued work may wait without any worker taking an item before the
// pool takes its workers for blocked and adds one.
constexpr std::chrono::milliseconds kStall{50};

void startThread(void* (*main)(void*), void* argument) {
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
  pthread_t thread;
  int err = pthread_create(&thread, &attr, main, argument);
  pthread_attr_destroy(&attr);
  if (err != 0) {
    std::fprintf(stderr, "dispatch: cannot start a worker thread: %s\n", std::strerror(err));
    std::abort();
  }
}

thread_local bool tIsWorker = false;

// Never destroyed: exit() may run while workers still use it. A forked child
// drops its copy: the threads it counts are not there.
std::atomic<WorkerPool*> gShared{nullptr};
std::mutex gCreating;

void lockForFork() { gCreating.lock(); }
void unlockInParent() { gCreating.unlock(); }
void forgetInChild() {
  gShared.store(nullptr);
  gCreating.unlock();
}

}  // namespace

WorkerPool& WorkerPool::shared() {
  WorkerPool* pool = gShared.load(std::memory_order_acquire);
  if (pool != nullptr) return *pool;
  static const bool forkAware = pthread_atfork(lockForFork, unlockInParent, forgetInChild) == 0;
  (void)forkAware;
  std::lock_guard<std::mutex> lock(gCreating);
  pool = gShared.load(std::memory_order_acquire);
  if (pool == nullptr) {
    pool = new WorkerPool;
    gShared.store(pool, std::memory_order_release);
  }
  return *pool;
}

WorkerPool::WorkerPool() : width_(std::max(2L, sysconf(_SC_NPROCESSORS_ONLN))) {
  startThread(monitorMain, this);
}

bool WorkerPool::mayStartLocked() const { return workers_ - waiting_ < width_ && workers_ < kMaxWorkers; }

void WorkerPool::submit(Queue* queue) {
  queue->retain();
  std::lock_guard<std::mutex> lock(mu_);
  ready_.push_back(queue);
  if (ready_.size() == 1) queued_.notify_one();
  if (idle_ > 0) {
    wake_.notify_one();
  } else if (mayStartLocked()) {
    startWorkerLocked();
  }
}

void WorkerPool::willWait() {
  if (!tIsWorker) return;
  WorkerPool& pool = shared();
  std::lock_guard<std::mutex> lock(pool.mu_);
  ++pool.waiting_;
  if (!pool.ready_.empty() && pool.idle_ == 0 && pool.mayStartLocked()) pool.startWorkerLocked();
}

void WorkerPool::didWait() {
  if (!tIsWorker) return;
  WorkerPool& pool = shared();
  std::lock_guard<std::mutex> lock(pool.mu_);
  --pool.waiting_;
}

void WorkerPool::startWorkerLocked() {
  ++workers_;
  startThread(workerMain, this);
}

void* WorkerPool::workerMain(void* pool) {
  tIsWorker = true;
  static_cast<WorkerPool*>(pool)->serve();
  return nullptr;
}

void WorkerPool::serve() {
  std::unique_lock<std::mutex> lock(mu_);
  for (;;) {
    while (ready_.empty()) {
      ++idle_;
      bool timedOut = wake_.wait_for(lock, kLinger) == std::cv_status::timeout;
      --idle_;
      if (timedOut && ready_.empty()) {
        --workers_;
        return;
      }
    }
    Queue* queue = ready_.front();
    ready_.pop_front();
    // More ready queues than awake workers: wake or start one more.
    if (!ready_.empty()) {
      if (idle_ > 0) {
        wake_.notify_one();
      } else if (mayStartLocked()) {
        startWorkerLocked();
      }
    }
    ++taken_;
    lock.unlock();
    queue->runNext();
    queue->release();
    lock.lock();
  }
}

void* WorkerPool::monitorMain(void* pool) { static_cast<WorkerPool*>(pool)->monitor(); }

void WorkerPool::monitor() {
  std::unique_lock<std::mutex> lock(mu_);
  for (;;) {
    queued_.wait(lock, [this] { return !ready_.empty(); });
    unsigned long seen = taken_;
    auto until = std::chrono::steady_clock::now() + kStall;
    queued_.wait_until(lock, until, [] { return false; });
    if (!ready_.empty() && idle_ == 0 && taken_ == seen && workers_ < kMaxWorkers) startWorkerLocked();
  }
}

}  // namespace emu::dispatch
