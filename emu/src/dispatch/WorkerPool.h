#pragma once
#include <condition_variable>
#include <deque>
#include <mutex>

namespace emu::dispatch {

class Queue;

// The threads that serve every queue but the main one, as libdispatch's
// root queues do: about as many running at once as the machine has cores,
// more only while some of them wait (in a dispatch call, a semaphore or a
// sync on a busy queue, known at once; anywhere else, noticed when queued
// work has made no progress for a moment, as the kernel notices a blocked
// workqueue thread), and never more than a fixed limit. A queue with work is
// handed to the pool; a worker takes it and runs its next item. Idle workers
// linger briefly, then end. A forked child gets a pool of its own.
class WorkerPool {
 public:
  static WorkerPool& shared();

  // `queue` has an item to run; the pool holds a reference until it has.
  void submit(Queue* queue);
  // Around a wait inside a dispatch call: while a worker waits, the pool may
  // start another so that the work it waits for gets a thread.
  static void willWait();
  static void didWait();

 private:
  template <typename T>
  friend class PerProcess;
  WorkerPool();
  void startWorkerLocked();
  static void* workerMain(void* pool);
  static void* monitorMain(void* pool);
  void serve();
  [[noreturn]] void monitor();
  bool mayStartLocked() const;

  const int width_;  // workers running at once
  std::mutex mu_;
  std::condition_variable wake_;
  std::condition_variable queued_;  // wakes the monitor
  std::deque<Queue*> ready_;
  int workers_ = 0;
  int idle_ = 0;
  int waiting_ = 0;
  unsigned long taken_ = 0;  // items taken by workers so far
};

}  // namespace emu::dispatch
