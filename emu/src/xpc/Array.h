#pragma once
#include <vector>

#include "Object.h"

namespace emu::xpc {

// An ordered list of retained objects, without gaps.
class Array : public Object {
 public:
  Array() : Object(XPC_TYPE_ARRAY) {}

  const std::vector<Object*>& items() const { return items_; }
  // Replaces the item at `index`, or appends when `index` is the count.
  void set(size_t index, Object* value);
  void append(Object* value) { set(items_.size(), value); }

  bool equals(const Object& other) const override;
  size_t hash() const override;
  void describe(std::string& out, int depth) const override;

 private:
  ~Array() override;

  std::vector<Object*> items_;
};

}  // namespace emu::xpc
