// The real helper with 20,000 clients holding a connection that says
// nothing: how many threads and how much memory it has before and after,
// and how long a ping takes meanwhile. Run inside a fake Mac.
//
// The held connections come from two forked processes (a process here may
// open 20,000 files at most, the helper included, which can therefore hold a
// few less than 20,000: it takes the rest when some go).

#include <benchmark/benchmark.h>
#include <dirent.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "RunningHelper.h"
#include "TimingReporter.h"

namespace {

constexpr int kHeld = 20000;
constexpr int kHolders = 2;

long openFiles(pid_t pid) {
  long count = 0;
  DIR* dir = opendir(("/proc/" + std::to_string(pid) + "/fd").c_str());
  if (dir == nullptr) return -1;
  while (readdir(dir) != nullptr) ++count;
  closedir(dir);
  return count - 2;
}

// A process that connects `count` sockets to the helper, says so on `ready`,
// and holds them until it is killed.
pid_t holdConnections(int count) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "/var/run/xpc/%s", MACHELPER_SERVICE_LABEL);
  int ready[2];
  if (pipe(ready) != 0) return -1;
  pid_t pid = fork();
  if (pid == 0) {
    close(ready[0]);
    int held = 0;
    for (int i = 0; i < count; ++i) {
      int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
      if (fd < 0 || connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) break;
      ++held;
    }
    if (write(ready[1], &held, sizeof held) != sizeof held) _exit(1);
    for (;;) pause();
  }
  close(ready[1]);
  int held = 0;
  if (read(ready[0], &held, sizeof held) != sizeof held) held = 0;
  close(ready[0]);
  std::printf("holder %d connected %d sockets\n", pid, held);
  return pid;
}

struct Helper : RunningHelper {
  void report(const char* when) {
    std::printf("helper %s: %ld threads, %ld kB resident, %ld open files\n", when, status("Threads:"),
                status("VmRSS:"), openFiles(process.pid()));
  }
};

Helper& helper() {
  static Helper* instance = new Helper;
  return *instance;
}

void BM_PingWithConnectionsHeld(benchmark::State& state) {
  for (auto _ : state) {
    if (!helper().roundTrip()) state.SkipWithError("no pong");
  }
}
BENCHMARK(BM_PingWithConnectionsHeld);

}  // namespace

int main(int argc, char** argv) {
  Helper& h = helper();
  if (!h.roundTrip()) {
    std::printf("the helper does not answer ping\n");
    return 1;
  }
  h.report("after its first ping");
  std::vector<pid_t> holders;
  for (int i = 0; i < kHolders; ++i) holders.push_back(holdConnections(kHeld / kHolders));
  // Until the helper has taken what it can (its open files stop growing).
  for (long before = -1, now = openFiles(h.process.pid()); now != before; now = openFiles(h.process.pid())) {
    before = now;
    usleep(500 * 1000);
  }
  h.report("with the connections held");
  std::printf("ping answered: %s\n", h.roundTrip() ? "yes" : "no");

  TimingReporter reporter;
  reporter.runAll(argc, argv);
  h.report("after the benchmark");
  for (pid_t pid : holders) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }
  benchmark::Shutdown();
  return 0;
}
