#include "Queue.h"

#include <Block.h>
#include <pthread.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace emu::dispatch {
namespace {

// An idle worker waits this long for more work before its thread ends, so a
// burst of small items does not create a thread per item.
constexpr std::chrono::milliseconds kLinger{200};
constexpr int kGlobalWorkers = 8;

struct SyncCall {
  dispatch_function_t work;
  void* context;
  std::mutex mu;
  std::condition_variable cv;
  bool done = false;
};

void runSyncCall(void* context) {
  auto* call = static_cast<SyncCall*>(context);
  call->work(call->context);
  std::lock_guard<std::mutex> lock(call->mu);
  call->done = true;
  call->cv.notify_one();
}

void runBlockOnce(void* block) {
  auto b = reinterpret_cast<dispatch_block_t>(block);
  b();
  Block_release(b);
}

void runBlock(void* block) { reinterpret_cast<dispatch_block_t>(block)(); }

}  // namespace

Queue::Queue(const char* label, Kind kind, bool immortal)
    : DispatchObject(immortal), label_(label ? label : ""), kind_(kind) {}

// Never destroyed: exit() may run while other threads still use them.
Queue* Queue::main() {
  static Queue* const queue = new Queue("com.apple.main-thread", Kind::Main, true);
  return queue;
}

Queue* Queue::global() {
  static Queue* const queue = new Queue("com.apple.root.default-qos", Kind::Concurrent, true);
  return queue;
}

int Queue::maxWorkers() const {
  switch (kind_) {
    case Kind::Serial: return 1;
    case Kind::Concurrent: return kGlobalWorkers;
    case Kind::Main: return 0;
  }
  return 0;
}

void Queue::async(dispatch_function_t work, void* context) {
  std::lock_guard<std::mutex> lock(mu_);
  items_.push_back({work, context});
  wakeForPendingLocked();
}

void Queue::wakeForPendingLocked() {
  if (items_.empty()) return;
  if (idle_ > 0) {
    wake_.notify_one();
  } else if (workers_ < maxWorkers()) {
    ++workers_;
    startWorker();
  }
}

bool Queue::runNowIfIdle(dispatch_function_t work, void* context) {
  {
    std::lock_guard<std::mutex> lock(mu_);
    if (kind_ != Kind::Serial || running_ || !items_.empty()) return false;
    running_ = true;
  }
  work(context);
  std::lock_guard<std::mutex> lock(mu_);
  running_ = false;
  wakeForPendingLocked();
  return true;
}

void Queue::sync(dispatch_function_t work, void* context) {
  if (kind_ == Kind::Concurrent) {
    work(context);
    return;
  }
  // As libdispatch does, an idle queue's synchronous work runs on the caller.
  if (runNowIfIdle(work, context)) return;
  SyncCall call{work, context, {}, {}};
  async(runSyncCall, &call);
  std::unique_lock<std::mutex> lock(call.mu);
  call.cv.wait(lock, [&] { return call.done; });
}

void Queue::startWorker() {
  retain();  // the worker's reference, dropped when its thread ends
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
  pthread_t thread;
  int err = pthread_create(&thread, &attr, workerMain, this);
  pthread_attr_destroy(&attr);
  if (err != 0) {
    std::fprintf(stderr, "dispatch: cannot start a worker thread for queue '%s': %s\n", label_.c_str(),
                 std::strerror(err));
    std::abort();
  }
}

void* Queue::workerMain(void* queue) {
  auto* self = static_cast<Queue*>(queue);
  self->serve(false);
  self->release();
  return nullptr;
}

void Queue::serve(bool forever) {
  const bool exclusive = kind_ != Kind::Concurrent;
  std::unique_lock<std::mutex> lock(mu_);
  for (;;) {
    while (items_.empty() || (exclusive && running_)) {
      ++idle_;
      bool timedOut = false;
      if (forever) {
        wake_.wait(lock);
      } else {
        timedOut = wake_.wait_for(lock, kLinger) == std::cv_status::timeout;
      }
      --idle_;
      if (timedOut && items_.empty()) {
        --workers_;
        return;
      }
    }
    Item item = items_.front();
    items_.pop_front();
    if (exclusive) running_ = true;
    lock.unlock();
    item.work(item.context);
    lock.lock();
    if (exclusive) running_ = false;
  }
}

void Queue::serveForever() {
  for (;;) serve(true);
}

}  // namespace emu::dispatch

using emu::dispatch::Queue;

extern "C" {

void dispatch_async(dispatch_queue_t queue, dispatch_block_t block) {
  Queue::from(queue)->async(emu::dispatch::runBlockOnce, reinterpret_cast<void*>(Block_copy(block)));
}

void dispatch_sync(dispatch_queue_t queue, DISPATCH_NOESCAPE dispatch_block_t block) {
  Queue::from(queue)->sync(emu::dispatch::runBlock, reinterpret_cast<void*>(block));
}

void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
  Queue::from(queue)->async(work, context);
}

void dispatch_sync_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
  Queue::from(queue)->sync(work, context);
}

dispatch_queue_main_t dispatch_get_main_queue(void) {
  return static_cast<dispatch_queue_main_t>(Queue::main()->handle());
}

dispatch_queue_global_t dispatch_get_global_queue(intptr_t identifier, uintptr_t flags) {
  // One pool serves every priority; priorities are advice, not semantics.
  bool known = identifier == DISPATCH_QUEUE_PRIORITY_HIGH || identifier == DISPATCH_QUEUE_PRIORITY_DEFAULT ||
               identifier == DISPATCH_QUEUE_PRIORITY_LOW || identifier == DISPATCH_QUEUE_PRIORITY_BACKGROUND;
  if (!known || flags != 0) return nullptr;
  return static_cast<dispatch_queue_global_t>(Queue::global()->handle());
}

dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t) {
  return (new Queue(label, Queue::Kind::Serial, false))->handle();
}

void dispatch_main(void) { Queue::main()->serveForever(); }

}  // extern "C"
