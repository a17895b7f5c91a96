#pragma once
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>

#include "DispatchObject.h"

namespace emu::dispatch {

// A FIFO of work items served by worker threads that come and go with the
// work: a serial queue has at most one, the global queue several, and the main
// queue none (the main thread serves it from dispatch_main()).
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

 private:
  struct Item {
    dispatch_function_t work;
    void* context;
  };

  ~Queue() override = default;
  int maxWorkers() const;
  void startWorker();
  static void* workerMain(void* queue);
  void serve(bool forever);
  void wakeForPendingLocked();

  const std::string label_;
  const Kind kind_;
  std::mutex mu_;
  std::condition_variable wake_;
  std::deque<Item> items_;
  int workers_ = 0;  // threads serving this queue
  int idle_ = 0;     // of those, how many wait for work
  bool running_ = false;  // a serial or main queue's item is running
};

}  // namespace emu::dispatch
