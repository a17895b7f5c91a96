#include "EchoService.h"

#include <cstdlib>
#include <functional>

#include "Eventually.h"

namespace {

void sendLines(xpc_connection_t peer, int64_t count, const char* key, int64_t sender) {
  for (int64_t i = 0; i < count; ++i) {
    xpc_object_t line = xpc_dictionary_create_empty();
    xpc_dictionary_set_int64(line, key, i);
    if (sender >= 0) xpc_dictionary_set_int64(line, "sender", sender);
    xpc_connection_send_message(peer, line);
    xpc_release(line);
  }
}

// Many queues sending on one connection at once, as the helper's logger does.
void burst(xpc_connection_t peer, int64_t senders, int64_t count) {
  dispatch_semaphore_t finished = dispatch_semaphore_create(0);
  for (int64_t s = 0; s < senders; ++s) {
    dispatch_queue_t queue = dispatch_queue_create("burst", DISPATCH_QUEUE_SERIAL);
    dispatch_async(queue, ^{
      sendLines(peer, count, "seq", s);
      dispatch_semaphore_signal(finished);
    });
    dispatch_release(queue);
  }
  for (int64_t s = 0; s < senders; ++s) waitFor(finished);
  dispatch_release(finished);
}

void handleMessage(xpc_connection_t peer, xpc_object_t message, EchoService::State& state) {
  const char* op = xpc_get_type(message) == XPC_TYPE_DICTIONARY ? xpc_dictionary_get_string(message, "op") : nullptr;
  std::string name = op ? op : "";
  xpc_object_t answer = xpc_dictionary_create_reply(message);  // null unless the sender waits for one
  if (!op) {
    std::lock_guard<std::mutex> lock(state.mu);
    state.strays.push_back(xpc_type_get_name(xpc_get_type(message)) + std::string(answer ? " awaiting reply" : ""));
    dispatch_semaphore_signal(state.changed);
  } else if (name == "stream") {
    sendLines(peer, xpc_dictionary_get_int64(message, "count"), "line", -1);
  } else if (name == "burst") {
    burst(peer, xpc_dictionary_get_int64(message, "senders"), xpc_dictionary_get_int64(message, "count"));
  } else if (name == "exit") {
    std::exit(0);
  }
  if (answer && (name == "echo" || name == "stream" || name == "burst")) {
    if (name == "echo") xpc_dictionary_set_value(answer, "value", xpc_dictionary_get_value(message, "value"));
    else xpc_dictionary_set_bool(answer, "done", true);
    xpc_connection_send_message(peer, answer);
  }
  if (answer) xpc_release(answer);
}

void acceptPeer(xpc_connection_t peer, std::shared_ptr<EchoService::State> state) {
  __block bool ended = false;
  xpc_connection_set_event_handler(peer, ^(xpc_object_t event) {
    std::unique_lock<std::mutex> lock(state->mu);
    if (ended) {
      ++state->eventsAfterEnd;
      return;
    }
    if (event == XPC_ERROR_CONNECTION_INVALID) {
      ended = true;
      ++state->peersEnded;
      dispatch_semaphore_signal(state->changed);
      return;
    }
    lock.unlock();
    handleMessage(peer, event, *state);
  });
  xpc_connection_resume(peer);
}

}  // namespace

EchoService::EchoService(const std::string& name, dispatch_queue_t queue) {
  listener_ = xpc_connection_create_mach_service(name.c_str(), queue, XPC_CONNECTION_MACH_SERVICE_LISTENER);
  if (!listener_) return;
  std::shared_ptr<State> state = state_;
  xpc_connection_set_event_handler(listener_, ^(xpc_object_t event) {
    if (xpc_get_type(event) == XPC_TYPE_CONNECTION) acceptPeer(static_cast<xpc_connection_t>(event), state);
  });
  xpc_connection_resume(listener_);
}

EchoService::~EchoService() {
  if (!listener_) return;
  xpc_connection_cancel(listener_);
  xpc_release(listener_);
}

bool EchoService::waitUntil(const std::function<bool(State&)>& done) {
  for (;;) {
    {
      std::lock_guard<std::mutex> lock(state_->mu);
      if (done(*state_)) return true;
    }
    if (!waitFor(state_->changed)) return false;
  }
}

bool EchoService::waitForPeersEnded(int count) {
  return waitUntil([&](State& s) { return s.peersEnded >= count; });
}

bool EchoService::waitForStrays(size_t count) {
  return waitUntil([&](State& s) { return s.strays.size() >= count; });
}

std::vector<std::string> EchoService::strays() {
  std::lock_guard<std::mutex> lock(state_->mu);
  return state_->strays;
}

int EchoService::eventsAfterEnd() {
  std::lock_guard<std::mutex> lock(state_->mu);
  return state_->eventsAfterEnd;
}
