// What a change costs through the helper against the way a script makes it
// today, one process started per change, in the same run:
//   - "proxysetmanualserver" (lock, write, commit, apply) on one service;
//   - a command that only reads: "setinterfaceadminstate" for an interface
//     already in the wanted state.
// Both sides run the same netconfig classes; the script side starts
// netconfig_once for every change. Run inside a fake Mac.
//
// Prints each ratio (script / helper).

#include <benchmark/benchmark.h>
#include <dispatch/dispatch.h>
#include <spawn.h>
#include <sys/wait.h>
#include <xpc/xpc.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "TimingReporter.h"

extern char** environ;

namespace {

const std::string kLabel = MACHELPER_SERVICE_LABEL;
const char kService[] = "38C9FE51-C1A3-4CC9-AD73-425D4F3C28A9";

struct Helper {
  ChildProcess process{{MACHELPER_HELPER_PATH}};
  dispatch_queue_t queue = dispatch_queue_create("bench.client", DISPATCH_QUEUE_SERIAL);
  xpc_connection_t connection = nullptr;

  Helper() {
    waitForService(kLabel);
    connection = xpc_connection_create_mach_service(kLabel.c_str(), queue, 0);
    // The streamed log lines are read and dropped, as a client would.
    xpc_connection_set_event_handler(connection, ^(xpc_object_t) {
    });
    xpc_connection_resume(connection);
  }

  bool send(xpc_object_t request) {
    xpc_object_t reply = xpc_connection_send_message_with_reply_sync(connection, request);
    bool success = xpc_get_type(reply) == XPC_TYPE_DICTIONARY &&
                   xpc_dictionary_get_bool(reply, "Success");
    xpc_release(reply);
    return success;
  }
};

Helper& helper() {
  static Helper* instance = new Helper;
  return *instance;
}

bool runOnce(const std::vector<std::string>& arguments) {
  std::vector<char*> argv;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  pid_t pid = 0;
  if (posix_spawn(&pid, NETCONFIG_ONCE_PATH, nullptr, nullptr, argv.data(), environ) != 0) {
    return false;
  }
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void BM_HelperSetManualProxy(benchmark::State& state) {
  Helper& h = helper();
  xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_string(request, "Command", "proxysetmanualserver");
  xpc_dictionary_set_string(request, "Uuid", kService);
  xpc_dictionary_set_string(request, "NewValue", "bench.example");
  int port = 1;
  for (auto _ : state) {
    // A new value each time, so every round really writes.
    xpc_dictionary_set_int64(request, "Port", port++);
    if (!h.send(request)) state.SkipWithError("the helper failed to set the proxy");
  }
  xpc_release(request);
}
BENCHMARK(BM_HelperSetManualProxy)->Unit(benchmark::kMillisecond);

void BM_ScriptSetManualProxy(benchmark::State& state) {
  int port = 1;
  for (auto _ : state) {
    if (!runOnce({"netconfig_once", "proxysetmanualserver", kService, "bench.example",
                  std::to_string(port++)})) {
      state.SkipWithError("the one-shot program failed to set the proxy");
    }
  }
}
BENCHMARK(BM_ScriptSetManualProxy)->Unit(benchmark::kMillisecond);

void BM_HelperReadOnly(benchmark::State& state) {
  Helper& h = helper();
  xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_string(request, "Command", "setinterfaceadminstate");
  xpc_dictionary_set_string(request, "InterfaceName", "en0");
  xpc_dictionary_set_bool(request, "DesiredState", true);
  for (auto _ : state) {
    if (!h.send(request)) state.SkipWithError("the helper failed to read en0");
  }
  xpc_release(request);
}
BENCHMARK(BM_HelperReadOnly)->Unit(benchmark::kMicrosecond);

void BM_ScriptReadOnly(benchmark::State& state) {
  for (auto _ : state) {
    if (!runOnce({"netconfig_once", "setinterfaceadminstate", "en0", "up"})) {
      state.SkipWithError("the one-shot program failed to read en0");
    }
  }
}
BENCHMARK(BM_ScriptReadOnly)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  TimingReporter reporter;
  reporter.runAll(argc, argv);
  printf("\n");
  printf("proxysetmanualserver (lock, write, commit, apply): script / helper = %.2fx\n",
         reporter.ratio("BM_ScriptSetManualProxy", "BM_HelperSetManualProxy"));
  printf("read-only setinterfaceadminstate: script / helper = %.2fx\n",
         reporter.ratio("BM_ScriptReadOnly", "BM_HelperReadOnly"));
  benchmark::Shutdown();
  return 0;
}
