#pragma once
#include <cstdint>
#include <functional>

#include "Object.h"

namespace emu::xpc {

void appendValue(std::string& out, bool value);
void appendValue(std::string& out, int64_t value);
void appendValue(std::string& out, uint64_t value);
void appendValue(std::string& out, double value);

// An immutable boxed number or Boolean.
template <typename T>
class Scalar : public Object {
 public:
  Scalar(xpc_type_t type, T value) : Object(type), value_(value) {}

  T value() const { return value_; }

  bool equals(const Object& other) const override {
    return other.type() == type() && static_cast<const Scalar&>(other).value_ == value_;
  }
  size_t hash() const override { return std::hash<T>{}(value_); }
  void describe(std::string& out, int) const override {
    describeHeader(out);
    out += ": ";
    appendValue(out, value_);
  }

 private:
  const T value_;
};

using Bool = Scalar<bool>;
using Int64 = Scalar<int64_t>;
using Uint64 = Scalar<uint64_t>;
using Double = Scalar<double>;

}  // namespace emu::xpc
