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

#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
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

// User and system time the process has run, in clock ticks.
long cpuTicks(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
  std::string stat((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  size_t end = stat.rfind(')');  // the command name may hold blanks
  if (end == std::string::npos) return -1;
  std::istringstream fields(stat.substr(end + 2));
  std::string field;
  long utime = 0, stime = 0;
  for (int i = 3; i <= 15 && fields >> field; ++i) {
    if (i == 14) utime = std::stol(field);
    if (i == 15) stime = std::stol(field);
  }
  return utime + stime;
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
  auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kHolders; ++i) holders.push_back(holdConnections(kHeld / kHolders));
  // Until the helper has taken what it can and checked every client it took:
  // its open files and its CPU time stop growing.
  for (long files = -1, cpu = -1; files != openFiles(h.process.pid()) || cpu != cpuTicks(h.process.pid());) {
    files = openFiles(h.process.pid());
    cpu = cpuTicks(h.process.pid());
    usleep(500 * 1000);
  }
  std::printf("helper took and checked the connections in %.1f s\n",
              std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
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
