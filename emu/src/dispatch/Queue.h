#pragma once
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>

#include "DispatchObject.h"

namespace emu::dispatch {

// A FIFO of work items. The main thread serves the main queue from
// dispatch_main(); every other queue is served by the shared worker pool: a
// serial queue one item at a time, the global queue several at once. A
// queue owns no thread, so a million idle queues cost memory only.
class Queue : public DispatchObject {
 public:
  enum class Kind { Serial, Concurrent, Main };

  Queue(const char* label, Kind kind, bool immortal);

  static Queue* from(dispatch_queue_t handle) {
    return static_cast<Queue*>(DispatchObject::from(handle));
  }
  dispatch_queue_t handle() { return reinterpret_cast<dispatch_queue_t>(static_cast<DispatchObject*>(this)); }

  static Queue* main();
  static Queue* global();

  void async(dispatch_function_t work, void* context);
  // Returns once `work` has run, after everything submitted before it.
  void sync(dispatch_function_t work, void* context);
  // Runs `work` on the calling thread if this serial queue has nothing to do
  // and nothing running, as the queue's own work; false (and nothing run)
  // otherwise. Saves a thread hand-off for callers that hold no locks.
  bool runNowIfIdle(dispatch_function_t work, void* context);
  [[noreturn]] void serveForever();
  // Runs the next item, on a pool worker.
  void runNext();

 private:
  struct Item {
    dispatch_function_t work;
    void* context;
  };

  ~Queue() override = default;
  // Hands the queue to the pool unless it is there already or running.
  void scheduleLocked();

  const std::string label_;
  const Kind kind_;
  std::mutex mu_;
  std::condition_variable wake_;
  std::deque<Item> items_;
  bool scheduled_ = false;  // a serial queue is with the pool, waiting or running
  bool running_ = false;    // a serial or main queue's item is running
};

}  // namespace emu::dispatch
