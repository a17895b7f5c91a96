#pragma once
// An owning holder for reference-counted platform handles (CF types, XPC
// objects). Every construction says at the call site whether the holder adopts
// a reference the caller already owns (a Create/Copy result) or retains one it
// borrows (a Get result). Out-parameters are filled through initializeInto().

#include <utility>

namespace xpc {

enum class RefPolicy { Adopt, Retain };

template <typename T, typename Traits>
class ScopedTypeRef {
 public:
  ScopedTypeRef() = default;
  ScopedTypeRef(T object, RefPolicy policy) : object_(object) {
    if (object_ && policy == RefPolicy::Retain) object_ = Traits::retain(object_);
  }
  ScopedTypeRef(const ScopedTypeRef& other) : object_(other.object_) {
    if (object_) object_ = Traits::retain(object_);
  }
  ScopedTypeRef(ScopedTypeRef&& other) noexcept : object_(other.release()) {}
  ScopedTypeRef& operator=(ScopedTypeRef other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~ScopedTypeRef() {
    if (object_) Traits::release(object_);
  }

  T get() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

  void reset(T object, RefPolicy policy) { *this = ScopedTypeRef(object, policy); }
  void reset() { *this = ScopedTypeRef(); }

  // Hands the reference to the caller, who now owns it.
  [[nodiscard]] T release() {
    T object = object_;
    object_ = nullptr;
    return object;
  }

  // For out-parameters of Copy-style functions: drops what is held and returns
  // the slot for the callee to fill with an owned reference.
  T* initializeInto() {
    reset();
    return &object_;
  }

 private:
  T object_ = nullptr;
};

}  // namespace xpc
