// Bytes no one checked, sent as a CA certificate to install: they reach the
// framework's certificate parser through the command, and nothing crashes,
// leaks or reads out of bounds whatever they hold. Every input meets the
// same keychain and trust settings, put back after each one (the command
// writes nothing else), and a fresh router: the helper's command families
// keep keychain handles and the last item found from one request to the
// next, which would make each input depend on those before it.
#include <xpc/xpc.h>

#include <cstddef>
#include <cstdint>

#include "StoreSnapshot.h"
#include "XpcCommandHandler.h"
#include "XpcRef.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static StoreSnapshot* system = new StoreSnapshot(StoreSnapshot::ofCertificateStores());
  xpc::XpcRef request(xpc_dictionary_create(nullptr, nullptr, 0), xpc::RefPolicy::Adopt);
  xpc_dictionary_set_string(request.get(), "Command", "installsystemcacert");
  xpc_dictionary_set_data(request.get(), "CertificateData", data, size);
  // A request made here expects no reply, so the router builds none; the
  // command still runs to its end.
  XpcCommandHandler router(nullptr);
  xpc::XpcRef reply(router.handleDictionaryCommand(nullptr, request.get()), xpc::RefPolicy::Adopt);
  system->restore();
  return 0;
}
