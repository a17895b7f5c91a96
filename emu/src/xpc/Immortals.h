#pragma once
#include "Object.h"

namespace emu::xpc {

// The objects that exist once per process and are never freed: the two
// Booleans, the error dictionaries and null. Apple exports most of them as
// symbols; here those symbols are placeholders whose addresses stand for heap
// objects, created on first use and never destroyed (exit() may run while
// other threads still hold them).
class Immortals {
 public:
  // The object behind an exported symbol's address, or null for any other.
  static Object* lookup(const void* handle);
  static Object* null();
};

}  // namespace emu::xpc
