#include "Request.h"

#include <climits>

#include "CommandHandlerBase.h"

std::string Request::string(const char* key) const {
  return CommandHandlerBase::getStringFromXpc(message, key);
}

bool Request::boolean(const char* key) const { return xpc_dictionary_get_bool(message, key); }

int64_t Request::int64(const char* key) const { return xpc_dictionary_get_int64(message, key); }

uint64_t Request::uint64(const char* key) const { return xpc_dictionary_get_uint64(message, key); }

int Request::integer(const char* key) const {
  int64_t value = int64(key);
  return (value < INT_MIN || value > INT_MAX) ? -1 : static_cast<int>(value);
}

std::string Request::bytes(const char* key) const {
  size_t length = 0;
  const void* data = xpc_dictionary_get_data(message, key, &length);
  return data == nullptr ? std::string() : std::string(static_cast<const char*>(data), length);
}

std::string Request::missing() const {
  for (const Required& argument : required) {
    bool present = argument.kind == Required::Bytes   ? !bytes(argument.key).empty()
                   : argument.kind == Required::AnyText ? xpc_dictionary_get_string(message, argument.key) != nullptr
                                                        : !string(argument.key).empty();
    if (!present) return argument.missingText;
  }
  return "";
}
