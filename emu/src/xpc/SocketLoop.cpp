#include "SocketLoop.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "../dispatch/PerProcess.h"

namespace emu::xpc {
namespace {

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "xpc: %s: %s\n", what, std::strerror(errno));
  std::abort();
}

}  // namespace

SocketLoop& SocketLoop::shared() { return dispatch::PerProcess<SocketLoop>::get(); }

SocketLoop::SocketLoop() : epoll_(epoll_create1(EPOLL_CLOEXEC)) {
  if (epoll_ < 0) fail("cannot create the socket loop");
  dispatch::startDetachedThread(threadMain, this, "the socket loop");
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
