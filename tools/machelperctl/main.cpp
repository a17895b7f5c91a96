// machelperctl: sends one request to the helper and prints its reply, with the
// log lines the helper streams during the request on standard error.
//
// Exit status: 0 pong, the version or Boolean true; 1 Boolean false; 2 an
// error reply; 3 no reply; 64 bad usage. A log line whose text has several
// lines is printed with its continuation lines indented by four blanks.

#include <dispatch/dispatch.h>
#include <xpc/xpc.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "RequestBuilder.h"
#include "XpcJson.h"

namespace {

constexpr int kExitTrue = 0;
constexpr int kExitFalse = 1;
constexpr int kExitErrorReply = 2;
constexpr int kExitNoReply = 3;
constexpr int kExitUsage = 64;

void usage(const char* problem) {
  if (problem != nullptr) fprintf(stderr, "machelperctl: %s\n", problem);
  fprintf(stderr,
          "usage: machelperctl [--service LABEL] [--json] COMMAND [KEY=VALUE ...]\n"
          "\n"
          "  KEY=text  KEY:int=N  KEY:uint=N  KEY:bool=true|false\n"
          "  KEY:data=HEX  KEY:data@=FILE  KEY:ssid=NAME\n"
          "\n"
          "Log lines go to standard error as they arrive; the reply to standard output.\n"
          "Exit status: 0 pong, version or true; 1 false; 2 error reply; 3 no reply.\n"
          "The default service is %s.\n",
          MACHELPER_SERVICE_LABEL);
}

struct Options {
  std::string service = MACHELPER_SERVICE_LABEL;
  bool json = false;
  std::string command;
  std::vector<std::string> arguments;
};

bool parseOptions(int argc, char* argv[], Options& options) {
  int i = 1;
  for (; i < argc && strncmp(argv[i], "--", 2) == 0; ++i) {
    if (strcmp(argv[i], "--json") == 0) {
      options.json = true;
    } else if (strcmp(argv[i], "--service") == 0 && i + 1 < argc) {
      options.service = argv[++i];
    } else if (strcmp(argv[i], "--help") == 0) {
      usage(nullptr);
      return false;
    } else {
      usage((std::string("unknown option ") + argv[i]).c_str());
      return false;
    }
  }
  if (i == argc) {
    usage("no command given");
    return false;
  }
  options.command = argv[i++];
  options.arguments.assign(argv + i, argv + argc);
  return true;
}

void printLogLine(xpc_object_t message, bool json) {
  if (json) {
    fprintf(stderr, "%s\n", XpcJson::render(message).c_str());
  } else {
    const char* line = xpc_dictionary_get_string(message, "LogLine");
    // A line whose text runs over several lines stays one record: its
    // continuation lines are indented under the level.
    std::string text = line != nullptr ? line : "";
    for (size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 5)) {
      text.insert(at + 1, "    ");
    }
    fprintf(stderr, "[%" PRId64 "] %s\n", xpc_dictionary_get_int64(message, "LogLevel"), text.c_str());
  }
}

// Prints the reply and answers the exit status it stands for.
int printReply(xpc_object_t reply, bool json) {
  if (xpc_get_type(reply) == XPC_TYPE_ERROR) {
    const char* description = xpc_dictionary_get_string(reply, XPC_ERROR_KEY_DESCRIPTION);
    fprintf(stderr, "machelperctl: no reply (%s)\n", description != nullptr ? description : "?");
    return kExitNoReply;
  }
  const char* response = xpc_dictionary_get_string(reply, "Response");
  std::string kind = response != nullptr ? response : "";
  int status = kExitTrue;
  std::string text = kind;
  if (kind == "error") {
    const char* error = xpc_dictionary_get_string(reply, "Error");
    text = std::string("error: ") + (error != nullptr ? error : "");
    status = kExitErrorReply;
  } else if (kind == "Boolean") {
    bool success = xpc_dictionary_get_bool(reply, "Success");
    text = success ? "true" : "false";
    status = success ? kExitTrue : kExitFalse;
  } else if (kind.empty()) {
    text = "unexpected reply: " + XpcJson::render(reply);
    status = kExitErrorReply;
  }
  printf("%s\n", json ? XpcJson::render(reply).c_str() : text.c_str());
  return status;
}

}  // namespace

int main(int argc, char* argv[]) {
  Options options;
  if (!parseOptions(argc, argv, options)) return kExitUsage;

  std::string error;
  xpc_object_t request = RequestBuilder::build(options.command, options.arguments, error);
  if (request == nullptr) {
    usage(error.c_str());
    return kExitUsage;
  }

  // Log lines and the reply are handled on one serial queue, so every line
  // sent before the reply is printed before it.
  dispatch_queue_t queue = dispatch_queue_create("machelperctl", DISPATCH_QUEUE_SERIAL);
  xpc_connection_t connection = xpc_connection_create_mach_service(options.service.c_str(), queue, 0);
  const bool json = options.json;
  xpc_connection_set_event_handler(connection, ^(xpc_object_t event) {
    if (xpc_get_type(event) == XPC_TYPE_DICTIONARY) printLogLine(event, json);
  });
  xpc_connection_resume(connection);

  dispatch_semaphore_t done = dispatch_semaphore_create(0);
  __block int status = kExitNoReply;
  xpc_connection_send_message_with_reply(connection, request, queue, ^(xpc_object_t reply) {
    status = printReply(reply, json);
    fflush(stdout);
    dispatch_semaphore_signal(done);
  });
  dispatch_semaphore_wait(done, DISPATCH_TIME_FOREVER);

  xpc_release(request);
  dispatch_release(done);
  xpc_connection_cancel(connection);
  xpc_release(connection);
  dispatch_release(queue);
  return status;
}
