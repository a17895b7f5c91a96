#pragma once
// The fuzz input format of requests, both ways. Every byte string decodes to
// some request, so no mutation is wasted on a refusal: a flag byte (a command
// unless it is a multiple of 8), the command (a known word with its letter
// case chosen per letter, or any text), then arguments until the input ends,
// each a key chosen from the keys the families read, a type and a value.
// Encoding a real request gives an input that decodes back to it.
#include <xpc/xpc.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "XpcRef.h"

class RequestCodec {
 public:
  static xpc::XpcRef decode(const uint8_t* data, size_t size);
  // Empty if the request holds a command word or key the format does not
  // know, or a value of another type.
  static std::string encode(xpc_object_t request);
};
