#include "ServiceLoopback.h"

#include <Block.h>

#include <chrono>

ServiceLoopback::ServiceLoopback(const std::string& name, MessageHandler onMessage)
    : queue_(dispatch_queue_create("test.listener", DISPATCH_QUEUE_SERIAL)),
      listener_(xpc_connection_create_mach_service(name.c_str(), queue_,
                                                   XPC_CONNECTION_MACH_SERVICE_LISTENER)),
      onMessage_(Block_copy(onMessage)) {
  // The invalid event is a connection's last; after it no handler runs.
  auto noteEnd = ^(xpc_object_t event) {
    if (event != XPC_ERROR_CONNECTION_INVALID) return;
    std::lock_guard<std::mutex> lock(mutex_);
    ++endedConnections_;
    ended_.notify_all();
  };
  xpc_connection_set_event_handler(listener_, ^(xpc_object_t event) {
    if (xpc_get_type(event) != XPC_TYPE_CONNECTION) return noteEnd(event);
    xpc_connection_t peer = static_cast<xpc_connection_t>(xpc_retain(event));
    {
      std::lock_guard<std::mutex> lock(mutex_);
      peers_.push_back(peer);
    }
    xpc_connection_set_event_handler(peer, ^(xpc_object_t message) {
      if (xpc_get_type(message) == XPC_TYPE_DICTIONARY) return onMessage_(peer, message);
      noteEnd(message);
    });
    xpc_connection_resume(peer);
  });
  xpc_connection_resume(listener_);
}

ServiceLoopback::~ServiceLoopback() {
  xpc_connection_cancel(listener_);
  std::unique_lock<std::mutex> lock(mutex_);
  for (xpc_connection_t peer : peers_) xpc_connection_cancel(peer);
  // Only a guard against a hang.
  ended_.wait_for(lock, std::chrono::seconds(30), [&] { return endedConnections_ == peers_.size() + 1; });
  for (xpc_connection_t peer : peers_) xpc_release(peer);
  lock.unlock();
  xpc_release(listener_);
  dispatch_release(queue_);
  Block_release(onMessage_);
}

std::vector<xpc_connection_t> ServiceLoopback::peers() {
  std::lock_guard<std::mutex> lock(mutex_);
  return peers_;
}
