// Any request a client can send reaches the router and the command families
// without crashing, leaking or reading out of bounds. The request is decoded
// from the input (see RequestCodec); each one runs against the same system,
// put back after every request, and a fresh router: the command families
// keep handles and the last item found from one request to the next.
#include <xpc/xpc.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "RequestCodec.h"
#include "StoreSnapshot.h"
#include "XpcCommandHandler.h"
#include "XpcRef.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static StoreSnapshot* system = new StoreSnapshot(StoreSnapshot::ofSystemStores());
  xpc::XpcRef request = RequestCodec::decode(data, size);
  const char* name = xpc_dictionary_get_string(request.get(), "Command");
  if (name != nullptr && std::string(name) == "terminate") return 0;

  // A request made here expects no reply, so the router builds none; the
  // command still runs to its end.
  XpcCommandHandler router(nullptr);
  xpc::XpcRef reply(router.handleDictionaryCommand(nullptr, request.get()), xpc::RefPolicy::Adopt);
  system->restore();
  return 0;
}
