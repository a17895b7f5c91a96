#include "ServiceLoopback.h"

#include <Block.h>

ServiceLoopback::ServiceLoopback(const std::string& name, MessageHandler onMessage)
    : queue_(dispatch_queue_create("test.listener", DISPATCH_QUEUE_SERIAL)),
      listener_(xpc_connection_create_mach_service(name.c_str(), queue_,
                                                   XPC_CONNECTION_MACH_SERVICE_LISTENER)),
      onMessage_(Block_copy(onMessage)) {
  xpc_connection_set_event_handler(listener_, ^(xpc_object_t event) {
    if (xpc_get_type(event) != XPC_TYPE_CONNECTION) return;
    xpc_connection_t peer = static_cast<xpc_connection_t>(event);
    {
      std::lock_guard<std::mutex> lock(mutex_);
      peers_.push_back(peer);
    }
    xpc_connection_set_event_handler(peer, ^(xpc_object_t message) {
      if (xpc_get_type(message) == XPC_TYPE_DICTIONARY) onMessage_(peer, message);
    });
    xpc_connection_resume(peer);
  });
  xpc_connection_resume(listener_);
}

ServiceLoopback::~ServiceLoopback() {
  xpc_connection_cancel(listener_);
  dispatch_sync(queue_, ^{
                });
  xpc_release(listener_);
  dispatch_release(queue_);
  Block_release(onMessage_);
}

std::vector<xpc_connection_t> ServiceLoopback::peers() {
  std::lock_guard<std::mutex> lock(mutex_);
  return peers_;
}
