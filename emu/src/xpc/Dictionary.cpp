#include "Dictionary.h"

#include <cmath>
#include <cstring>

#include "Bytes.h"
#include "Scalar.h"

namespace emu::xpc {

Dictionary::~Dictionary() {
  for (auto& entry : entries_) entry.second->release();
  if (remote_) remote_->release();
}

Object* Dictionary::get(const char* key) const {
  auto it = entries_.find(key);
  return it == entries_.end() ? nullptr : it->second;
}

void Dictionary::set(const char* key, Object* value) {
  if (value) value->retain();
  auto it = entries_.find(key);
  if (it == entries_.end()) {
    if (value) entries_.emplace(key, value);
    return;
  }
  it->second->release();
  if (value) {
    it->second = value;
  } else {
    entries_.erase(it);
  }
}

void Dictionary::setOrigin(Object* connection, uint64_t awaitedReply) {
  connection->retain();
  if (remote_) remote_->release();
  remote_ = connection;
  awaitedReply_ = awaitedReply;
}

Dictionary* Dictionary::createReply() {
  uint64_t id = awaitedReply_.exchange(0);
  if (id == 0) return nullptr;
  auto* reply = new Dictionary;
  reply->setOrigin(remote_, 0);
  reply->inReplyTo_ = id;
  return reply;
}

bool Dictionary::equals(const Object& other) const {
  if (other.type() != type()) return false;
  const auto& theirs = static_cast<const Dictionary&>(other).entries_;
  if (theirs.size() != entries_.size()) return false;
  for (const auto& [key, value] : entries_) {
    auto it = theirs.find(key);
    if (it == theirs.end() || it->second->type() != value->type() || !value->equals(*it->second)) return false;
  }
  return true;
}

size_t Dictionary::hash() const {
  size_t h = entries_.size();
  for (const auto& [key, value] : entries_) h = h * 31 + (std::hash<std::string>{}(key) ^ value->hash());
  return h;
}

void Dictionary::describe(std::string& out, int depth) const {
  describeHeader(out);
  out += " { count = " + std::to_string(entries_.size()) + ", transaction: 0, voucher = 0x0, contents =\n";
  for (const auto& [key, value] : entries_) {
    out.append(depth + 1, '\t');
    out += '"' + key + "\" => ";
    value->describe(out, depth + 1);
    out += '\n';
  }
  out.append(depth, '\t');
  out += '}';
}

}  // namespace emu::xpc

using namespace emu::xpc;

namespace {

// Error objects read like dictionaries but cannot be changed.
Dictionary* readable(xpc_object_t xdict) {
  Object* object = Object::from(xdict);
  bool ok = object->type() == XPC_TYPE_DICTIONARY || object->type() == XPC_TYPE_ERROR;
  return ok ? static_cast<Dictionary*>(object) : nullptr;
}

Dictionary* writable(xpc_object_t xdict) {
  Dictionary* dict = objectAs<Dictionary>(xdict, XPC_TYPE_DICTIONARY);
  if (!dict) misuse("not a dictionary");
  return dict;
}

template <typename T>
T* lookup(xpc_object_t xdict, const char* key, xpc_type_t type) {
  Dictionary* dict = readable(xdict);
  Object* value = dict ? dict->get(key) : nullptr;
  return value && value->type() == type ? static_cast<T*>(value) : nullptr;
}

// Stores a freshly created value, which the dictionary now owns.
void adopt(xpc_object_t xdict, const char* key, Object* value) {
  writable(xdict)->set(key, value);
  value->release();
}

}  // namespace

extern "C" {

xpc_object_t xpc_dictionary_create(const char* const* keys, const xpc_object_t* values, size_t count) {
  auto* dict = new Dictionary;
  for (size_t i = 0; i < count; ++i) {
    if (values[i]) dict->set(keys[i], Object::from(values[i]));
  }
  return dict->handle();
}

xpc_object_t xpc_dictionary_create_empty(void) { return (new Dictionary)->handle(); }

xpc_object_t xpc_dictionary_create_reply(xpc_object_t original) {
  Dictionary* dict = objectAs<Dictionary>(original, XPC_TYPE_DICTIONARY);
  Dictionary* reply = dict ? dict->createReply() : nullptr;
  return reply ? reply->handle() : nullptr;
}

void xpc_dictionary_set_value(xpc_object_t xdict, const char* key, xpc_object_t value) {
  writable(xdict)->set(key, value ? Object::from(value) : nullptr);
}

xpc_object_t xpc_dictionary_get_value(xpc_object_t xdict, const char* key) {
  Dictionary* dict = readable(xdict);
  Object* value = dict ? dict->get(key) : nullptr;
  return value ? value->handle() : nullptr;
}

size_t xpc_dictionary_get_count(xpc_object_t xdict) {
  Dictionary* dict = readable(xdict);
  return dict ? dict->entries().size() : 0;
}

bool xpc_dictionary_apply(xpc_object_t xdict, XPC_NOESCAPE xpc_dictionary_applier_t applier) {
  Dictionary* dict = readable(xdict);
  if (!dict) return true;
  for (const auto& [key, value] : dict->entries()) {
    if (!applier(key.c_str(), value->handle())) return false;
  }
  return true;
}

xpc_connection_t xpc_dictionary_get_remote_connection(xpc_object_t xdict) {
  Dictionary* dict = objectAs<Dictionary>(xdict, XPC_TYPE_DICTIONARY);
  Object* remote = dict ? dict->remoteConnection() : nullptr;
  return remote ? static_cast<xpc_connection_t>(remote->handle()) : nullptr;
}

void xpc_dictionary_set_bool(xpc_object_t xdict, const char* key, bool value) {
  writable(xdict)->set(key, Object::from(xpc_bool_create(value)));
}

void xpc_dictionary_set_int64(xpc_object_t xdict, const char* key, int64_t value) {
  adopt(xdict, key, new Int64(XPC_TYPE_INT64, value));
}

void xpc_dictionary_set_uint64(xpc_object_t xdict, const char* key, uint64_t value) {
  adopt(xdict, key, new Uint64(XPC_TYPE_UINT64, value));
}

void xpc_dictionary_set_double(xpc_object_t xdict, const char* key, double value) {
  adopt(xdict, key, new Double(XPC_TYPE_DOUBLE, value));
}

void xpc_dictionary_set_data(xpc_object_t xdict, const char* key, const void* bytes, size_t length) {
  adopt(xdict, key, new Bytes(XPC_TYPE_DATA, length ? bytes : "", length));
}

void xpc_dictionary_set_string(xpc_object_t xdict, const char* key, const char* string) {
  adopt(xdict, key, new Bytes(XPC_TYPE_STRING, string, std::strlen(string)));
}

bool xpc_dictionary_get_bool(xpc_object_t xdict, const char* key) {
  Bool* value = lookup<Bool>(xdict, key, XPC_TYPE_BOOL);
  return value && value->value();
}

int64_t xpc_dictionary_get_int64(xpc_object_t xdict, const char* key) {
  Int64* value = lookup<Int64>(xdict, key, XPC_TYPE_INT64);
  return value ? value->value() : 0;
}

uint64_t xpc_dictionary_get_uint64(xpc_object_t xdict, const char* key) {
  Uint64* value = lookup<Uint64>(xdict, key, XPC_TYPE_UINT64);
  return value ? value->value() : 0;
}

double xpc_dictionary_get_double(xpc_object_t xdict, const char* key) {
  Double* value = lookup<Double>(xdict, key, XPC_TYPE_DOUBLE);
  return value ? value->value() : NAN;
}

const void* xpc_dictionary_get_data(xpc_object_t xdict, const char* key, size_t* length) {
  Bytes* value = lookup<Bytes>(xdict, key, XPC_TYPE_DATA);
  if (length) *length = value ? value->bytes().size() : 0;
  return value ? value->bytes().data() : nullptr;
}

const char* xpc_dictionary_get_string(xpc_object_t xdict, const char* key) {
  Bytes* value = lookup<Bytes>(xdict, key, XPC_TYPE_STRING);
  return value ? value->bytes().c_str() : nullptr;
}

xpc_object_t xpc_dictionary_get_dictionary(xpc_object_t xdict, const char* key) {
  Dictionary* value = lookup<Dictionary>(xdict, key, XPC_TYPE_DICTIONARY);
  return value ? value->handle() : nullptr;
}

xpc_object_t xpc_dictionary_get_array(xpc_object_t xdict, const char* key) {
  Object* value = lookup<Object>(xdict, key, XPC_TYPE_ARRAY);
  return value ? value->handle() : nullptr;
}

}  // extern "C"
