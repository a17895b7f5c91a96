#include "XpcJson.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

std::string XpcJson::render(xpc_object_t object) {
  std::string out;
  append(out, object);
  return out;
}

void XpcJson::append(std::string& out, xpc_object_t object) {
  char number[64];
  xpc_type_t type = xpc_get_type(object);
  if (type == XPC_TYPE_DICTIONARY || type == XPC_TYPE_ERROR) {
    out += '{';
    __block bool first = true;
    std::string* target = &out;
    xpc_dictionary_apply(object, ^bool(const char* key, xpc_object_t value) {
      if (!first) *target += ',';
      first = false;
      appendString(*target, key, strlen(key));
      *target += ':';
      append(*target, value);
      return true;
    });
    out += '}';
  } else if (type == XPC_TYPE_ARRAY) {
    out += '[';
    for (size_t i = 0; i < xpc_array_get_count(object); ++i) {
      if (i > 0) out += ',';
      append(out, xpc_array_get_value(object, i));
    }
    out += ']';
  } else if (type == XPC_TYPE_STRING) {
    appendString(out, xpc_string_get_string_ptr(object), xpc_string_get_length(object));
  } else if (type == XPC_TYPE_INT64) {
    snprintf(number, sizeof number, "%" PRId64, xpc_int64_get_value(object));
    out += number;
  } else if (type == XPC_TYPE_UINT64) {
    snprintf(number, sizeof number, "%" PRIu64, xpc_uint64_get_value(object));
    out += number;
  } else if (type == XPC_TYPE_DOUBLE) {
    snprintf(number, sizeof number, "%.17g", xpc_double_get_value(object));
    out += number;
  } else if (type == XPC_TYPE_BOOL) {
    out += xpc_bool_get_value(object) ? "true" : "false";
  } else if (type == XPC_TYPE_DATA) {
    const auto* bytes = static_cast<const unsigned char*>(xpc_data_get_bytes_ptr(object));
    out += '"';
    for (size_t i = 0; i < xpc_data_get_length(object); ++i) {
      snprintf(number, sizeof number, "%02X", bytes[i]);
      out += number;
    }
    out += '"';
  } else {
    out += "null";
  }
}

void XpcJson::appendString(std::string& out, const char* text, size_t length) {
  char escape[8];
  out += '"';
  for (size_t i = 0; i < length; ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (c < 0x20) {
          snprintf(escape, sizeof escape, "\\u%04x", c);
          out += escape;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  out += '"';
}
