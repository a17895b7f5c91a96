#pragma once
#include <string>

namespace xpc {

// Carries a short text in a form that is not plainly readable: its base64
// form with each symbol substituted by a position-dependent shift between two
// 65-symbol alphabets. Any text without NUL bytes survives encode then decode.
class TextCodec {
 public:
  bool encode(std::string text, std::string& out);
  // The decoded bytes up to their first NUL.
  bool decode(std::string text, std::string& out);
};

}  // namespace xpc
