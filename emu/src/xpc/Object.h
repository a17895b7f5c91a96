#pragma once
#include <xpc/xpc.h>

#include <atomic>
#include <cstddef>
#include <string>

// What XPC_TYPE_* point at.
struct _xpc_type_s {
  const char* name;
};

namespace emu::xpc {

// Base of every XPC object: a type and a reference count. The handle callers
// see is the object's address, except for the immortal objects Apple exports
// as symbols (XPC_BOOL_TRUE, XPC_ERROR_*), whose handle is the symbol's
// address so that callers can compare against them.
class Object {
 public:
  explicit Object(xpc_type_t type);
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  static Object* from(const void* handle);
  xpc_object_t handle() const { return const_cast<void*>(handle_); }
  xpc_type_t type() const { return type_; }

  void retain();
  void release();

  // Never freed and not counted as live; `symbol` becomes its handle.
  void makeImmortal(const void* symbol);

  // Identity, unless a value type knows better.
  virtual bool equals(const Object& other) const;
  virtual size_t hash() const;
  // Appends a description in macOS's shape; nested lines get `depth` tabs.
  virtual void describe(std::string& out, int depth) const;

 protected:
  virtual ~Object();
  void describeHeader(std::string& out) const;

 private:
  const xpc_type_t type_;
  std::atomic<long> refs_{1};
  bool immortal_ = false;
  const void* handle_;
};

// `handle` as a T when it has type `type`, else null.
template <typename T>
T* objectAs(const void* handle, xpc_type_t type) {
  Object* object = Object::from(handle);
  return object->type() == type ? static_cast<T*>(object) : nullptr;
}

// macOS crashes on these programming errors; so do we, saying why.
[[noreturn]] void misuse(const char* what);

}  // namespace emu::xpc
