#include "WorkerPool.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "PerProcess.h"
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

thread_local bool tIsWorker = false;

}  // namespace

WorkerPool& WorkerPool::shared() { return PerProcess<WorkerPool>::get(); }

WorkerPool::WorkerPool() : width_(std::max(2L, sysconf(_SC_NPROCESSORS_ONLN))) {
  startDetachedThread(monitorMain, this, "the dispatch monitor thread");
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
  startDetachedThread(workerMain, this, "a dispatch worker thread");
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
