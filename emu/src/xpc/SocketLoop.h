#pragma once
#include <chrono>
#include <cstdint>
#include <vector>

namespace emu::dispatch {
template <typename T>
class PerProcess;
}

namespace emu::xpc {

// One thread that watches every connection's socket (epoll), as libdispatch
// watches them for XPC from its manager thread: a connection costs memory,
// not a thread. Callbacks run on that thread, so they never block: they
// read and write what the socket takes and hand everything else to queues.
// A forked child gets a loop of its own on first use.
class SocketLoop {
 public:
  class Watcher {
   public:
    // `events` are epoll's. Called on the loop's thread, one at a time.
    virtual void socketReady(uint32_t events) = 0;

   protected:
    ~Watcher() = default;
  };

  static SocketLoop& shared();

  // Watches `fd` for input (and output, when asked) until remove().
  void add(int fd, Watcher* watcher);
  void wantOutput(int fd, Watcher* watcher, bool want);
  // Stops reporting input on `fd` for a while (a listener out of files
  // lets pending clients wait rather than spin); on the loop's thread.
  void pauseInput(int fd, Watcher* watcher, std::chrono::milliseconds pause);
  // Stops watching; called on the loop's thread (or before `fd` was added
  // anywhere but here), before `fd` is closed.
  void remove(int fd);

 private:
  template <typename T>
  friend class dispatch::PerProcess;
  SocketLoop();
  static void* threadMain(void* loop);
  [[noreturn]] void run();

  struct Paused {
    std::chrono::steady_clock::time_point until;
    int fd;
    Watcher* watcher;
  };

  int epoll_;
  std::vector<Paused> paused_;  // the loop thread's alone
};

}  // namespace emu::xpc
