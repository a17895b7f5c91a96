// A ping's round trip through the emulated XPC to the real helper process —
// request, the log lines streamed during it, reply — against a raw Unix-socket
// exchange of the same traffic: the same messages, as frames of the same
// sizes, each way. Run inside a fake Mac.
//
// Prints the ratio of the two, and the helper's resident memory when idle and
// after 100,000 pings.

#include <benchmark/benchmark.h>
#include <dispatch/dispatch.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xpc/xpc.h>

#include <cstdio>
#include <string>
#include <vector>

#include "RunningHelper.h"
#include "TimingReporter.h"
#include "xpc/Wire.h"

namespace {

struct Helper : RunningHelper {
  long idleRss = 0;

  Helper() {
    roundTrip();
    idleRss = status("VmRSS:");
  }
};

Helper& helper() {
  static Helper* instance = new Helper;
  return *instance;
}

// The frames of one ping as the emulation writes them: the request, then the
// log lines the helper streams and its reply, in order.
struct Traffic {
  size_t requestBytes = 0;
  std::vector<size_t> answerBytes;
};

size_t frameSize(xpc_object_t message, bool reply) {
  emu::xpc::Wire::Header header;
  header.id = 1;
  header.replyTo = reply ? 1 : 0;
  header.wantsReply = !reply;
  std::string frame;
  emu::xpc::Wire::encode(header, *emu::xpc::Object::from(message), frame);
  return frame.size();
}

size_t logFrameSize(const char* text) {
  xpc_object_t line = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_string(line, "LogLine", text);
  xpc_dictionary_set_int64(line, "LogLevel", 5);
  size_t size = frameSize(line, false);
  xpc_release(line);
  return size;
}

Traffic pingTraffic() {
  Traffic traffic;
  traffic.requestBytes = frameSize(helper().ping, false);
  for (const char* text : {"Got peer event..", "Got a dictionary...", "Got command : ping",
                           "Handling ping..", "Created ping result."}) {
    traffic.answerBytes.push_back(logFrameSize(text));
  }
  xpc_object_t pong = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_string(pong, "Response", "pong");
  traffic.answerBytes.push_back(frameSize(pong, true));
  xpc_release(pong);
  for (const char* text : {"Sent response.", "Freed memory."}) {
    traffic.answerBytes.push_back(logFrameSize(text));
  }
  return traffic;
}

void BM_PingThroughXpc(benchmark::State& state) {
  Helper& h = helper();
  for (auto _ : state) h.roundTrip();
}
BENCHMARK(BM_PingThroughXpc);

// The same traffic over a bare socket pair to a forked process that answers
// each request with the same frames, one write each; the client waits for
// all of them, as the XPC client's next request waits for the closing lines.
void BM_PingRawSocket(benchmark::State& state) {
  static const Traffic traffic = pingTraffic();
  size_t answerTotal = 0;
  for (size_t bytes : traffic.answerBytes) answerTotal += bytes;
  int fds[2];
  socketpair(AF_UNIX, SOCK_STREAM, 0, fds);
  std::vector<char> request(traffic.requestBytes, 'q');
  pid_t server = fork();
  if (server == 0) {
    close(fds[0]);
    std::vector<char> in(request.size()), out(answerTotal, 'r');
    for (;;) {
      size_t got = 0;
      while (got < in.size()) {
        ssize_t n = read(fds[1], in.data() + got, in.size() - got);
        if (n <= 0) _exit(0);
        got += n;
      }
      for (size_t bytes : traffic.answerBytes) {
        if (write(fds[1], out.data(), bytes) < 0) _exit(0);
      }
    }
  }
  close(fds[1]);
  std::vector<char> answer(answerTotal);
  for (auto _ : state) {
    if (write(fds[0], request.data(), request.size()) < 0) break;
    size_t got = 0;
    while (got < answer.size()) {
      ssize_t n = read(fds[0], answer.data() + got, answer.size() - got);
      if (n <= 0) break;
      got += n;
    }
  }
  close(fds[0]);
  waitpid(server, nullptr, 0);
  state.counters["messages"] = 1 + traffic.answerBytes.size();
  state.counters["bytes"] = traffic.requestBytes + answerTotal;
}
BENCHMARK(BM_PingRawSocket);

}  // namespace

int main(int argc, char** argv) {
  TimingReporter reporter;
  reporter.runAll(argc, argv);
  printf("\nXPC ping / raw socket exchange: %.2fx (target: within 3x)\n",
         reporter.ratio("BM_PingThroughXpc", "BM_PingRawSocket"));

  Helper& h = helper();
  long afterBenchmarks = h.status("VmRSS:");
  for (int i = 0; i < 100000; ++i) h.roundTrip();
  long after = h.status("VmRSS:");
  printf("helper resident memory: %ld kB idle after its first ping, %ld kB after the benchmarks, "
         "%ld kB after 100,000 more pings\n",
         h.idleRss, afterBenchmarks, after);
  benchmark::Shutdown();
  return 0;
}
