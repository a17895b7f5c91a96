#include "Immortals.h"

#include <cstring>

#include "Bytes.h"
#include "Dictionary.h"
#include "Scalar.h"

struct _xpc_bool_s {
  char placeholder;
};
struct _xpc_dictionary_s {
  char placeholder;
};

extern "C" {

const struct _xpc_bool_s _xpc_bool_true = {0};
const struct _xpc_bool_s _xpc_bool_false = {0};
const struct _xpc_dictionary_s _xpc_error_connection_interrupted = {0};
const struct _xpc_dictionary_s _xpc_error_connection_invalid = {0};
const struct _xpc_dictionary_s _xpc_error_termination_imminent = {0};
const struct _xpc_dictionary_s _xpc_error_peer_code_signing_requirement = {0};
const char* const _xpc_error_key_description = "XPCErrorDescription";

}  // extern "C"

namespace emu::xpc {
namespace {

struct Table {
  static constexpr int kSymbols = 6;
  const void* symbols[kSymbols];
  Object* objects[kSymbols];
};

Object* immortal(Object* object, const void* symbol) {
  object->makeImmortal(symbol);
  return object;
}

// macOS's own descriptions of its errors.
Object* error(const _xpc_dictionary_s& symbol, const char* description) {
  auto* dict = new Dictionary(XPC_TYPE_ERROR);
  auto* text = new Bytes(XPC_TYPE_STRING, description, std::strlen(description));
  dict->set(XPC_ERROR_KEY_DESCRIPTION, immortal(text, text));
  return immortal(dict, &symbol);
}

const Table& table() {
  static const Table* const instance = new Table{
      {&_xpc_bool_true, &_xpc_bool_false, &_xpc_error_connection_interrupted, &_xpc_error_connection_invalid,
       &_xpc_error_termination_imminent, &_xpc_error_peer_code_signing_requirement},
      {immortal(new Bool(XPC_TYPE_BOOL, true), &_xpc_bool_true),
       immortal(new Bool(XPC_TYPE_BOOL, false), &_xpc_bool_false),
       error(_xpc_error_connection_interrupted, "Connection interrupted"),
       error(_xpc_error_connection_invalid, "Connection invalid"),
       error(_xpc_error_termination_imminent, "Termination imminent"),
       error(_xpc_error_peer_code_signing_requirement, "Peer Forbidden")}};
  return *instance;
}

}  // namespace

Object* Immortals::lookup(const void* handle) {
  const Table& t = table();
  for (int i = 0; i < Table::kSymbols; ++i) {
    if (t.symbols[i] == handle) return t.objects[i];
  }
  return nullptr;
}

Object* Immortals::null() {
  static Object* const instance = [] {
    auto* object = new Object(XPC_TYPE_NULL);
    return immortal(object, object);
  }();
  return instance;
}

}  // namespace emu::xpc
