// The second process of the connection tests.
//   xpc_test_peer claim NAME   exit 0 if listening for NAME is refused, 1 if granted
//   xpc_test_peer serve NAME   serve an EchoService for NAME on the main queue
#include <dispatch/dispatch.h>
#include <xpc/xpc.h>

#include <cstring>

#include "EchoService.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  if (std::strcmp(argv[1], "claim") == 0) {
    return xpc_connection_create_mach_service(argv[2], nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER) ? 1 : 0;
  }
  if (std::strcmp(argv[1], "serve") == 0) {
    auto* service = new EchoService(argv[2], dispatch_get_main_queue());
    if (!service->listening()) return 1;
    dispatch_main();
  }
  return 2;
}
