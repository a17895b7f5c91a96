#pragma once
#include <string>

namespace xpc {

// Escaping of text placed inside XML documents we edit as text. The two
// operations undo each other; that is all they promise (quotes stay as they
// are, and à travels as the HTML entity &agrave;).
class XmlUtils {
 public:
  static std::string toXmlSafe(std::string text);
  static std::string fromXmlSafe(std::string text);
};

}  // namespace xpc
