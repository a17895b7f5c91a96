#pragma once
// The built helper, started in this fake Mac, with one client connection to
// it; each benchmark program defines MACHELPER_HELPER_PATH and
// MACHELPER_SERVICE_LABEL.
#include <dispatch/dispatch.h>
#include <xpc/xpc.h>

#include <cstring>
#include <fstream>
#include <string>

#include "ChildProcess.h"

// A number from /proc/<pid>/status ("VmRSS:", "Threads:"), -1 if absent.
inline long procStatus(pid_t pid, const std::string& field) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/status");
  std::string key;
  long value = 0;
  while (in >> key) {
    if (key == field) {
      in >> value;
      return value;
    }
    in.ignore(1 << 16, '\n');
  }
  return -1;
}

struct RunningHelper {
  ChildProcess process{{MACHELPER_HELPER_PATH}};
  dispatch_queue_t queue = dispatch_queue_create("bench.client", DISPATCH_QUEUE_SERIAL);
  xpc_connection_t connection = nullptr;
  xpc_object_t ping = nullptr;

  RunningHelper() {
    waitForService(MACHELPER_SERVICE_LABEL);
    connection = xpc_connection_create_mach_service(MACHELPER_SERVICE_LABEL, queue, 0);
    xpc_connection_set_event_handler(connection, ^(xpc_object_t) {
    });
    xpc_connection_resume(connection);
    ping = xpc_dictionary_create(nullptr, nullptr, 0);
    xpc_dictionary_set_string(ping, "Command", "ping");
  }

  // One ping's round trip; true if the answer was "pong".
  bool roundTrip() {
    xpc_object_t reply = xpc_connection_send_message_with_reply_sync(connection, ping);
    bool pong = xpc_get_type(reply) == XPC_TYPE_DICTIONARY &&
                std::strcmp(xpc_dictionary_get_string(reply, "Response") ?: "", "pong") == 0;
    xpc_release(reply);
    return pong;
  }

  long status(const std::string& field) { return procStatus(process.pid(), field); }
};
