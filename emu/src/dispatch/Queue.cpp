#include "Queue.h"

#include "WorkerPool.h"

#include <Block.h>

namespace emu::dispatch {
namespace {

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

void Queue::async(dispatch_function_t work, void* context) {
  if (kind_ == Kind::Concurrent) {
    {
      std::lock_guard<std::mutex> lock(mu_);
      items_.push_back({work, context});
    }
    WorkerPool::shared().submit(this);
    return;
  }
  std::lock_guard<std::mutex> lock(mu_);
  items_.push_back({work, context});
  if (kind_ == Kind::Main) {
    wake_.notify_one();
  } else {
    scheduleLocked();
  }
}

void Queue::scheduleLocked() {
  if (scheduled_ || running_ || items_.empty()) return;
  scheduled_ = true;
  WorkerPool::shared().submit(this);
}

void Queue::runNext() {
  std::unique_lock<std::mutex> lock(mu_);
  if (items_.empty()) {
    scheduled_ = false;
    return;
  }
  Item item = items_.front();
  items_.pop_front();
  const bool serial = kind_ == Kind::Serial;
  if (serial) running_ = true;
  lock.unlock();
  item.work(item.context);
  if (!serial) return;
  lock.lock();
  running_ = false;
  // Back to the end of the pool's line, so that a busy queue does not keep
  // a worker from the others.
  scheduled_ = false;
  scheduleLocked();
}

bool Queue::runNowIfIdle(dispatch_function_t work, void* context) {
  {
    std::lock_guard<std::mutex> lock(mu_);
    if (kind_ != Kind::Serial || scheduled_ || running_ || !items_.empty()) return false;
    running_ = true;
  }
  work(context);
  std::lock_guard<std::mutex> lock(mu_);
  running_ = false;
  scheduleLocked();
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
  WorkerPool::willWait();
  {
    std::unique_lock<std::mutex> lock(call.mu);
    call.cv.wait(lock, [&] { return call.done; });
  }
  WorkerPool::didWait();
}

void Queue::serveForever() {
  std::unique_lock<std::mutex> lock(mu_);
  for (;;) {
    wake_.wait(lock, [this] { return !items_.empty(); });
    Item item = items_.front();
    items_.pop_front();
    running_ = true;
    lock.unlock();
    item.work(item.context);
    lock.lock();
    running_ = false;
  }
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
