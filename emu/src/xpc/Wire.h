#pragma once
#include <cstdint>
#include <string>

#include "Object.h"

namespace emu::xpc {

// The byte format of messages on a connection's socket. A frame is a 32-bit
// little-endian body length, then the body: message id, id of the message it
// answers (0 if none), flags, and the message as a type-tagged tree.
class Wire {
 public:
  static constexpr size_t kPrefixSize = 4;

  struct Header {
    uint64_t id = 0;
    uint64_t replyTo = 0;
    bool wantsReply = false;
  };

  // Appends one whole frame to `frame`. False if `message` holds something
  // that cannot travel (connections, errors) or nests too deeply.
  static bool encode(const Header& header, const Object& message, std::string& frame);
  // The body length a prefix announces; 0 if no valid frame has it.
  static uint32_t bodyLength(const unsigned char (&prefix)[kPrefixSize]);
  // The message in a frame body, owned by the caller; null if the body is
  // malformed in any way.
  static Object* decode(const std::string& body, Header& header);
};

}  // namespace emu::xpc
