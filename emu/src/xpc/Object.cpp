#include "Object.h"

#include <emu/ObjectCounts.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>

#include "Immortals.h"

extern "C" {

const struct _xpc_type_s _xpc_type_connection = {"connection"};
const struct _xpc_type_s _xpc_type_null = {"null"};
const struct _xpc_type_s _xpc_type_bool = {"bool"};
const struct _xpc_type_s _xpc_type_int64 = {"int64"};
const struct _xpc_type_s _xpc_type_uint64 = {"uint64"};
const struct _xpc_type_s _xpc_type_double = {"double"};
const struct _xpc_type_s _xpc_type_data = {"data"};
const struct _xpc_type_s _xpc_type_string = {"string"};
const struct _xpc_type_s _xpc_type_array = {"array"};
const struct _xpc_type_s _xpc_type_dictionary = {"dictionary"};
const struct _xpc_type_s _xpc_type_error = {"error"};

}  // extern "C"

namespace emu::xpc {
namespace {

std::atomic<long> liveCount{0};

}  // namespace

Object::Object(xpc_type_t type) : type_(type), handle_(this) { liveCount.fetch_add(1, std::memory_order_relaxed); }

Object::~Object() { liveCount.fetch_sub(1, std::memory_order_relaxed); }

Object* Object::from(const void* handle) {
  if (Object* immortal = Immortals::lookup(handle)) return immortal;
  return static_cast<Object*>(const_cast<void*>(handle));
}

void Object::retain() {
  if (!immortal_) refs_.fetch_add(1, std::memory_order_relaxed);
}

void Object::release() {
  if (immortal_) return;
  long before = refs_.fetch_sub(1, std::memory_order_acq_rel);
  if (before == 1) {
    delete this;
  } else if (before <= 0) {
    misuse("over-release of an object");
  }
}

void Object::makeImmortal(const void* symbol) {
  immortal_ = true;
  handle_ = symbol;
  liveCount.fetch_sub(1, std::memory_order_relaxed);
}

bool Object::equals(const Object& other) const { return this == &other; }

size_t Object::hash() const { return std::hash<const void*>{}(this); }

void Object::describe(std::string& out, int) const { describeHeader(out); }

void Object::describeHeader(std::string& out) const {
  char header[64];
  std::snprintf(header, sizeof header, "<%s: %p>", type_ == XPC_TYPE_ERROR ? "dictionary" : type_->name, handle_);
  out += header;
}

void misuse(const char* what) {
  std::fprintf(stderr, "XPC API Misuse: %s\n", what);
  std::abort();
}

}  // namespace emu::xpc

using emu::xpc::Object;

extern "C" {

long emu_xpc_live_objects(void) { return emu::xpc::liveCount.load(std::memory_order_relaxed); }

xpc_object_t xpc_retain(xpc_object_t object) {
  Object::from(object)->retain();
  return object;
}

void xpc_release(xpc_object_t object) { Object::from(object)->release(); }

xpc_type_t xpc_get_type(xpc_object_t object) { return Object::from(object)->type(); }

const char* xpc_type_get_name(xpc_type_t type) { return type->name; }

bool xpc_equal(xpc_object_t object1, xpc_object_t object2) {
  Object* a = Object::from(object1);
  Object* b = Object::from(object2);
  return a->type() == b->type() && a->equals(*b);
}

size_t xpc_hash(xpc_object_t object) { return Object::from(object)->hash(); }

char* xpc_copy_description(xpc_object_t object) {
  std::string out;
  Object::from(object)->describe(out, 0);
  return strdup(out.c_str());
}

}  // extern "C"
