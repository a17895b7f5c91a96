#pragma once
#include <string>

#include "Object.h"

namespace emu::xpc {

// An immutable byte string: the payload of XPC_TYPE_STRING (which never holds
// a NUL) and of XPC_TYPE_DATA.
class Bytes : public Object {
 public:
  Bytes(xpc_type_t type, const void* bytes, size_t length)
      : Object(type), bytes_(static_cast<const char*>(bytes), length) {}

  // NUL-terminated, which strings rely on.
  const std::string& bytes() const { return bytes_; }

  bool equals(const Object& other) const override;
  size_t hash() const override;
  void describe(std::string& out, int depth) const override;

 private:
  const std::string bytes_;
};

}  // namespace emu::xpc
