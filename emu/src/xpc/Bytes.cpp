#include "Bytes.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>

namespace emu::xpc {
namespace {

// Long data is abbreviated in descriptions, as on macOS.
constexpr size_t kDescribedDataBytes = 32;

}  // namespace

bool Bytes::equals(const Object& other) const {
  return other.type() == type() && static_cast<const Bytes&>(other).bytes_ == bytes_;
}

size_t Bytes::hash() const { return std::hash<std::string>{}(bytes_); }

void Bytes::describe(std::string& out, int) const {
  describeHeader(out);
  if (type() == XPC_TYPE_STRING) {
    out += " { length = " + std::to_string(bytes_.size()) + ", contents = \"" + bytes_ + "\" }";
    return;
  }
  out += " { length = " + std::to_string(bytes_.size()) + " bytes, contents = 0x";
  char hex[3];
  for (size_t i = 0; i < bytes_.size() && i < kDescribedDataBytes; ++i) {
    std::snprintf(hex, sizeof hex, "%02x", static_cast<unsigned char>(bytes_[i]));
    out += hex;
  }
  if (bytes_.size() > kDescribedDataBytes) out += "...";
  out += " }";
}

}  // namespace emu::xpc

using emu::xpc::Bytes;
using emu::xpc::objectAs;

extern "C" {

xpc_object_t xpc_data_create(const void* bytes, size_t length) {
  return (new Bytes(XPC_TYPE_DATA, length ? bytes : "", length))->handle();
}

size_t xpc_data_get_length(xpc_object_t xdata) {
  Bytes* data = objectAs<Bytes>(xdata, XPC_TYPE_DATA);
  return data ? data->bytes().size() : 0;
}

const void* xpc_data_get_bytes_ptr(xpc_object_t xdata) {
  Bytes* data = objectAs<Bytes>(xdata, XPC_TYPE_DATA);
  return data ? data->bytes().data() : nullptr;
}

size_t xpc_data_get_bytes(xpc_object_t xdata, void* buffer, size_t off, size_t length) {
  Bytes* data = objectAs<Bytes>(xdata, XPC_TYPE_DATA);
  if (!data || off >= data->bytes().size()) return 0;
  size_t n = std::min(length, data->bytes().size() - off);
  std::memcpy(buffer, data->bytes().data() + off, n);
  return n;
}

xpc_object_t xpc_string_create(const char* string) {
  return (new Bytes(XPC_TYPE_STRING, string, std::strlen(string)))->handle();
}

xpc_object_t xpc_string_create_with_format(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  char* text = nullptr;
  int length = vasprintf(&text, fmt, args);
  va_end(args);
  if (length < 0) emu::xpc::misuse("cannot format string");
  xpc_object_t string = (new Bytes(XPC_TYPE_STRING, text, static_cast<size_t>(length)))->handle();
  std::free(text);
  return string;
}

size_t xpc_string_get_length(xpc_object_t xstring) {
  Bytes* string = objectAs<Bytes>(xstring, XPC_TYPE_STRING);
  return string ? string->bytes().size() : 0;
}

const char* xpc_string_get_string_ptr(xpc_object_t xstring) {
  Bytes* string = objectAs<Bytes>(xstring, XPC_TYPE_STRING);
  return string ? string->bytes().c_str() : nullptr;
}

}  // extern "C"
