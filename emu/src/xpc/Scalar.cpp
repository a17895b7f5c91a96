#include "Scalar.h"

#include <cmath>
#include <cstdio>

#include "Immortals.h"

namespace emu::xpc {

void appendValue(std::string& out, bool value) { out += value ? "true" : "false"; }

void appendValue(std::string& out, int64_t value) { out += std::to_string(value); }

void appendValue(std::string& out, uint64_t value) { out += std::to_string(value); }

void appendValue(std::string& out, double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%f", value);
  out += text;
}

}  // namespace emu::xpc

using namespace emu::xpc;

extern "C" {

xpc_object_t xpc_null_create(void) { return Immortals::null()->handle(); }

// Every Boolean is one of the two exported constants, so callers may compare.
xpc_object_t xpc_bool_create(bool value) {
  return const_cast<void*>(static_cast<const void*>(value ? XPC_BOOL_TRUE : XPC_BOOL_FALSE));
}

bool xpc_bool_get_value(xpc_object_t xbool) {
  Bool* b = objectAs<Bool>(xbool, XPC_TYPE_BOOL);
  return b && b->value();
}

xpc_object_t xpc_int64_create(int64_t value) { return (new Int64(XPC_TYPE_INT64, value))->handle(); }

int64_t xpc_int64_get_value(xpc_object_t xint) {
  Int64* i = objectAs<Int64>(xint, XPC_TYPE_INT64);
  return i ? i->value() : 0;
}

xpc_object_t xpc_uint64_create(uint64_t value) { return (new Uint64(XPC_TYPE_UINT64, value))->handle(); }

uint64_t xpc_uint64_get_value(xpc_object_t xuint) {
  Uint64* u = objectAs<Uint64>(xuint, XPC_TYPE_UINT64);
  return u ? u->value() : 0;
}

xpc_object_t xpc_double_create(double value) { return (new Double(XPC_TYPE_DOUBLE, value))->handle(); }

double xpc_double_get_value(xpc_object_t xdouble) {
  Double* d = objectAs<Double>(xdouble, XPC_TYPE_DOUBLE);
  return d ? d->value() : NAN;
}

}  // extern "C"
