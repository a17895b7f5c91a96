#pragma once
#include <xpc/xpc.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// The arguments of one request dictionary, read by type. A missing value, or
// one of another type, reads as empty, false or 0: every value is the
// client's, and a wrong type is no more than a missing value.
class Request {
 public:
  // An argument a command cannot do without, and the text of the error reply
  // when it is missing or empty.
  struct Required {
    enum Kind { Text, Bytes, AnyText };  // AnyText: present, even if empty
    const char* key;
    const char* missingText;
    Kind kind = Text;
  };

  explicit Request(xpc_object_t message, std::vector<Required> required = {})
      : message(message), required(std::move(required)) {}

  std::string string(const char* key) const;
  bool boolean(const char* key) const;
  int64_t int64(const char* key) const;
  uint64_t uint64(const char* key) const;
  // The int64 as an int: -1 beyond int's range, so that such a value is
  // refused rather than wrapped into a valid choice.
  int integer(const char* key) const;
  // The bytes of a data value (an SSID's bytes keep their NUL).
  std::string bytes(const char* key) const;

  // The text of the first required argument that is missing, in table
  // order; empty when all are there.
  std::string missing() const;

  xpc_object_t const message;
  // What the command cannot do without, from its row of the family's table.
  const std::vector<Required> required;
};
