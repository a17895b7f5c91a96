#include "XmlUtils.h"

#include <utility>

#include "StringTools.h"

namespace xpc {

namespace {

using Replacement = std::pair<const char*, const char*>;

// "&" goes first on the way in so the entities added later stay intact.
const Replacement kToXml[] = {{"&", "&amp;"}, {"<", "&lt;"}, {">", "&gt;"}, {"\xC3\xA0", "&agrave;"}};
const Replacement kFromXml[] = {{"&lt;", "<"}, {"&gt;", ">"}, {"&amp;", "&"}, {"&agrave;", "\xC3\xA0"}};

template <size_t N>
std::string replaceAll(std::string text, const Replacement (&table)[N]) {
  for (const Replacement& entry : table) {
    text = StringTools::replaceInString(text, entry.first, entry.second, true, false);
  }
  return text;
}

}  // namespace

std::string XmlUtils::toXmlSafe(std::string text) { return replaceAll(text, kToXml); }

std::string XmlUtils::fromXmlSafe(std::string text) { return replaceAll(text, kFromXml); }

}  // namespace xpc
