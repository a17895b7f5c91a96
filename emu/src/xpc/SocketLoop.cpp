#include "SocketLoop.h"

#include <pthread.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace emu::xpc {
namespace {

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "xpc: %s: %s\n", what, std::strerror(errno));
  std::abort();
}

// Never destroyed: exit() may run while sockets are still watched. A forked
// child drops its copy: it has no loop thread, and the epoll instance is
// the parent's.
std::atomic<SocketLoop*> gShared{nullptr};
std::mutex gCreating;

void lockForFork() { gCreating.lock(); }
void unlockInParent() { gCreating.unlock(); }
void forgetInChild() {
  gShared.store(nullptr);
  gCreating.unlock();
}

}  // namespace

SocketLoop& SocketLoop::shared() {
  SocketLoop* loop = gShared.load(std::memory_order_acquire);
  if (loop != nullptr) return *loop;
  static const bool forkAware = pthread_atfork(lockForFork, unlockInParent, forgetInChild) == 0;
  (void)forkAware;
  std::lock_guard<std::mutex> lock(gCreating);
  loop = gShared.load(std::memory_order_acquire);
  if (loop == nullptr) {
    loop = new SocketLoop;
    gShared.store(loop, std::memory_order_release);
  }
  return *loop;
}

SocketLoop::SocketLoop() : epoll_(epoll_create1(EPOLL_CLOEXEC)) {
  if (epoll_ < 0) fail("cannot create the socket loop");
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
  pthread_t thread;
  int err = pthread_create(&thread, &attr, threadMain, this);
  pthread_attr_destroy(&attr);
  if (err != 0) {
    errno = err;
    fail("cannot start the socket loop");
  }
}

void SocketLoop::add(int fd, Watcher* watcher) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.ptr = watcher;
  if (epoll_ctl(epoll_, EPOLL_CTL_ADD, fd, &event) != 0) fail("cannot watch a socket");
}

void SocketLoop::wantOutput(int fd, Watcher* watcher, bool want) {
  epoll_event event{};
  event.events = want ? EPOLLIN | EPOLLOUT : EPOLLIN;
  event.data.ptr = watcher;
  if (epoll_ctl(epoll_, EPOLL_CTL_MOD, fd, &event) != 0) fail("cannot watch a socket");
}

void SocketLoop::pauseInput(int fd, Watcher* watcher, std::chrono::milliseconds pause) {
  epoll_event event{};
  event.data.ptr = watcher;  // hangups and errors still come
  if (epoll_ctl(epoll_, EPOLL_CTL_MOD, fd, &event) != 0) fail("cannot watch a socket");
  paused_.push_back({std::chrono::steady_clock::now() + pause, fd, watcher});
}

void SocketLoop::remove(int fd) {
  epoll_ctl(epoll_, EPOLL_CTL_DEL, fd, nullptr);
  paused_.erase(std::remove_if(paused_.begin(), paused_.end(), [fd](const Paused& p) { return p.fd == fd; }),
                paused_.end());
}

void* SocketLoop::threadMain(void* loop) { static_cast<SocketLoop*>(loop)->run(); }

void SocketLoop::run() {
  epoll_event events[64];
  for (;;) {
    int timeout = -1;
    auto now = std::chrono::steady_clock::now();
    for (auto it = paused_.begin(); it != paused_.end();) {
      if (it->until <= now) {
        wantOutput(it->fd, it->watcher, false);  // input again, as before the pause
        it = paused_.erase(it);
        continue;
      }
      auto wait = std::chrono::ceil<std::chrono::milliseconds>(it->until - now).count();
      timeout = timeout < 0 ? static_cast<int>(wait) : std::min(timeout, static_cast<int>(wait));
      ++it;
    }
    int n = epoll_wait(epoll_, events, 64, timeout);
    if (n < 0) {
      if (errno == EINTR) continue;
      fail("the socket loop failed");
    }
    for (int i = 0; i < n; ++i) static_cast<Watcher*>(events[i].data.ptr)->socketReady(events[i].events);
  }
}

}  // namespace emu::xpc
