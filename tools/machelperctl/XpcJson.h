#pragma once
#include <xpc/xpc.h>

#include <string>

// Renders an XPC object tree as one line of JSON, for scripts that read the
// client's output. Data becomes a hexadecimal string; keys come in the dictionary's own order.
class XpcJson {
 public:
  static std::string render(xpc_object_t object);

 private:
  static void append(std::string& out, xpc_object_t object);
  static void appendString(std::string& out, const char* text, size_t length);
};
