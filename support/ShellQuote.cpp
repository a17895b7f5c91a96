#include "ShellQuote.h"

#include <cstring>

namespace xpc {

namespace {

bool isPlain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         (c != '\0' && std::strchr("@%+=:,./_-", c) != nullptr);
}

}  // namespace

std::string ShellQuote::insideDoubleQuotes(const std::string& value) {
  std::string quoted;
  quoted.reserve(value.size());
  for (char c : value) {
    if (c == '"' || c == '\\' || c == '$' || c == '`') quoted += '\\';
    quoted += c;
  }
  return quoted;
}

std::string ShellQuote::word(const std::string& value) {
  bool plain = !value.empty();
  for (char c : value) plain = plain && isPlain(c);
  if (plain) return value;
  // Nothing is special between single quotes; a single quote itself closes
  // them, is escaped, and opens them again.
  std::string quoted = "'";
  for (char c : value) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

}  // namespace xpc
