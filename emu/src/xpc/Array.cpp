#include "Array.h"

#include <cstring>

#include "Bytes.h"

namespace emu::xpc {

Array::~Array() {
  for (Object* item : items_) item->release();
}

void Array::set(size_t index, Object* value) {
  if (index > items_.size()) misuse("array index out of bounds");
  value->retain();
  if (index == items_.size()) {
    items_.push_back(value);
  } else {
    items_[index]->release();
    items_[index] = value;
  }
}

bool Array::equals(const Object& other) const {
  if (other.type() != type()) return false;
  const auto& theirs = static_cast<const Array&>(other).items_;
  if (theirs.size() != items_.size()) return false;
  for (size_t i = 0; i < items_.size(); ++i) {
    if (items_[i]->type() != theirs[i]->type() || !items_[i]->equals(*theirs[i])) return false;
  }
  return true;
}

size_t Array::hash() const {
  size_t h = items_.size();
  for (Object* item : items_) h = h * 31 + item->hash();
  return h;
}

void Array::describe(std::string& out, int depth) const {
  describeHeader(out);
  out += " { count = " + std::to_string(items_.size()) + ", capacity = " + std::to_string(items_.capacity()) +
         ", contents =\n";
  for (size_t i = 0; i < items_.size(); ++i) {
    out.append(depth + 1, '\t');
    out += std::to_string(i) + ": ";
    items_[i]->describe(out, depth + 1);
    out += '\n';
  }
  out.append(depth, '\t');
  out += '}';
}

}  // namespace emu::xpc

using namespace emu::xpc;

namespace {

Array* checkedArray(xpc_object_t xarray) {
  Array* array = objectAs<Array>(xarray, XPC_TYPE_ARRAY);
  if (!array) misuse("not an array");
  return array;
}

size_t checkedIndex(Array* array, size_t index) {
  if (index == XPC_ARRAY_APPEND) return array->items().size();
  if (index >= array->items().size()) misuse("array index out of bounds");
  return index;
}

}  // namespace

extern "C" {

xpc_object_t xpc_array_create(const xpc_object_t* objects, size_t count) {
  auto* array = new Array;
  for (size_t i = 0; i < count; ++i) array->append(Object::from(objects[i]));
  return array->handle();
}

xpc_object_t xpc_array_create_empty(void) { return (new Array)->handle(); }

void xpc_array_set_value(xpc_object_t xarray, size_t index, xpc_object_t value) {
  Array* array = checkedArray(xarray);
  array->set(checkedIndex(array, index), Object::from(value));
}

void xpc_array_append_value(xpc_object_t xarray, xpc_object_t value) {
  checkedArray(xarray)->append(Object::from(value));
}

size_t xpc_array_get_count(xpc_object_t xarray) {
  Array* array = objectAs<Array>(xarray, XPC_TYPE_ARRAY);
  return array ? array->items().size() : 0;
}

xpc_object_t xpc_array_get_value(xpc_object_t xarray, size_t index) {
  Array* array = objectAs<Array>(xarray, XPC_TYPE_ARRAY);
  if (!array) return nullptr;
  if (index >= array->items().size()) misuse("array index out of bounds");
  return array->items()[index]->handle();
}

void xpc_array_set_string(xpc_object_t xarray, size_t index, const char* string) {
  Array* array = checkedArray(xarray);
  auto* value = new Bytes(XPC_TYPE_STRING, string, std::strlen(string));
  array->set(checkedIndex(array, index), value);
  value->release();
}

const char* xpc_array_get_string(xpc_object_t xarray, size_t index) {
  xpc_object_t value = xpc_array_get_value(xarray, index);
  auto* string = value ? objectAs<Bytes>(value, XPC_TYPE_STRING) : nullptr;
  return string ? string->bytes().c_str() : nullptr;
}

bool xpc_array_apply(xpc_object_t xarray, XPC_NOESCAPE xpc_array_applier_t applier) {
  Array* array = objectAs<Array>(xarray, XPC_TYPE_ARRAY);
  if (!array) return true;
  for (size_t i = 0; i < array->items().size(); ++i) {
    if (!applier(i, array->items()[i]->handle())) return false;
  }
  return true;
}

}  // extern "C"
