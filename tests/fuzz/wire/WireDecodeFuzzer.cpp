// Whatever bytes a peer writes, decoding a frame either yields a message or
// refuses the frame: it never crashes, reads out of bounds or leaks. A
// decoded message encodes to a frame that decodes and encodes to the same
// bytes again (bytes, not xpc_equal: a NaN is not equal to itself), and can
// be described, hashed and compared, as a service that logs what arrived does.
#include <xpc/xpc.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "xpc/Wire.h"

using emu::xpc::Object;
using emu::xpc::Wire;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string body(reinterpret_cast<const char*>(data), size);
  Wire::Header header;
  Object* message = Wire::decode(body, header);
  if (message == nullptr) return 0;

  std::string frame;
  if (Wire::encode(header, *message, frame)) {
    Wire::Header again;
    Object* copy = Wire::decode(frame.substr(Wire::kPrefixSize), again);
    std::string reframed;
    if (copy == nullptr || !Wire::encode(again, *copy, reframed) || reframed != frame) abort();
    if (xpc_equal(copy->handle(), message->handle()) && xpc_hash(copy->handle()) != xpc_hash(message->handle())) {
      abort();
    }
    copy->release();
  }
  free(xpc_copy_description(message->handle()));
  message->release();
  return 0;
}
