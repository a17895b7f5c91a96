// Any request a client can send reaches the router and the command families
// without crashing, leaking or reading out of bounds. The request is decoded
// from the input (see RequestCodec); each one runs against the same system,
// put back after every request. The router lives as long as the target, as
// in the helper: its families keep their preference sessions open between
// requests, and a fresh router for every input would read the network
// preferences anew each time, at a third of the speed.
#include <xpc/xpc.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "RequestCodec.h"
#include "StoreSnapshot.h"
#include "XpcCommandHandler.h"
#include "XpcRef.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static XpcCommandHandler* router = new XpcCommandHandler(nullptr);
  static StoreSnapshot* system = new StoreSnapshot(StoreSnapshot::ofSystemStores());
  xpc::XpcRef request = RequestCodec::decode(data, size);
  const char* name = xpc_dictionary_get_string(request.get(), "Command");
  if (name != nullptr && std::string(name) == "terminate") return 0;

  // A request made here expects no reply, so the router builds none; the
  // command still runs to its end.
  xpc::XpcRef reply(router->handleDictionaryCommand(nullptr, request.get()), xpc::RefPolicy::Adopt);
  system->restore();
  return 0;
}
