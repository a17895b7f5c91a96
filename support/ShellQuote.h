#pragma once
#include <string>

namespace xpc {

// Makes a value one word of a /bin/sh command line, whatever it holds. Every
// value that comes from a client, or from a file a client could write, goes
// into a shell line through here. Ordinary values come out unchanged, so the
// command lines (and the log lines that quote them) read as they always have.
class ShellQuote {
 public:
  // For a value placed between the double quotes a command line already has:
  // only `"`, `\`, `$` and the backquote are escaped.
  static std::string insideDoubleQuotes(const std::string& value);
  // For a value standing on its own: letters, digits and @%+=:,./_- stay as
  // they are; anything else (an empty value too) is single-quoted.
  static std::string word(const std::string& value);
};

}  // namespace xpc
