#include "StringTools.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace xpc {

namespace {

const char kInvalidFilenameCharacters[] = "<>:\"|?*![];=,/\\";
const std::size_t kHexLineWidth = 16;

// ASCII-only on purpose: UTF-8 sequences must pass through untouched.
char lowerAscii(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }
char upperAscii(char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }

bool isHexDigit(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }

}  // namespace

bool StringTools::charIsWhitespace(char c) { return c == '\t' || c == '\n' || c == '\r' || c == ' '; }

bool StringTools::stringIsEmpty(std::string text) {
  return std::all_of(text.begin(), text.end(), charIsWhitespace);
}

bool StringTools::boolFromString(std::string text) {
  if (stringIsEmpty(text)) return false;
  return stringToUpper(text) == "TRUE" || text == "1";
}

std::string StringTools::stringFromBool(bool value) { return value ? "true" : "false"; }

std::string StringTools::boolStringFromString(std::string text) {
  return stringFromBool(boolFromString(text));
}

std::string StringTools::fromInt(int value) {
  char buffer[16];
  std::snprintf(buffer, sizeof(buffer), "%d", value);
  return buffer;
}

int StringTools::toInt(std::string text) { return static_cast<int>(longFromString(text)); }

unsigned long StringTools::ulongFromString(std::string text) {
  if (stringIsEmpty(text)) return 0;
  return std::strtoul(text.c_str(), nullptr, 10);
}

long StringTools::longFromString(std::string text) {
  if (stringIsEmpty(text)) return 0;
  return std::strtol(text.c_str(), nullptr, 10);
}

long long StringTools::longlongFromString(std::string text) {
  if (stringIsEmpty(text)) return 0;
  return std::strtoll(text.c_str(), nullptr, 10);
}

std::string StringTools::stringFromUlong(unsigned long value) { return std::to_string(value); }
std::string StringTools::stringFromLong(long value) { return std::to_string(value); }
std::string StringTools::stringFromLonglong(long long value) { return std::to_string(value); }

std::string StringTools::stringFromDouble(double value) {
  std::ostringstream out;
  out << value;
  return out.str();
}

bool StringTools::isNumeric(char c) { return c >= '0' && c <= '9'; }

bool StringTools::stringIsNumeric(std::string text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), isNumeric);
}

std::string StringTools::getNumbersFromString(std::string text) {
  text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return !isNumeric(c); }),
             text.end());
  return text;
}

std::string StringTools::withLeadingZero(int value) {
  return (value >= 0 && value < 10) ? "0" + fromInt(value) : fromInt(value);
}

std::string StringTools::stringToUpper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), upperAscii);
  return text;
}

std::string StringTools::stringToLower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), lowerAscii);
  return text;
}

std::string StringTools::stripBeginningEndingSpaces(std::string text) {
  auto first = std::find_if_not(text.begin(), text.end(), charIsWhitespace);
  auto last = std::find_if_not(text.rbegin(), text.rend(), charIsWhitespace).base();
  return first < last ? std::string(first, last) : std::string();
}

std::string StringTools::stripCrLf(std::string text) {
  text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c == '\r' || c == '\n'; }),
             text.end());
  return text;
}

bool StringTools::startsWith(std::string text, std::string prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

bool StringTools::endsWith(std::string text, std::string suffix) {
  return text.size() >= suffix.size() &&
         text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

bool StringTools::caseInsensitiveMatch(std::string first, std::string second) {
  return stringToLower(first) == stringToLower(second);
}

bool StringTools::containsAnyOf(std::string text, std::string characters) {
  return !characters.empty() && text.find_first_of(characters) != std::string::npos;
}

std::string StringTools::replaceInString(std::string text, std::string find,
                                         std::string replacement, bool all,
                                         bool caseInsensitive) {
  if (stringIsEmpty(text) || stringIsEmpty(find)) return text;
  std::size_t position = findNextStringMatch(text, find, 0, caseInsensitive);
  while (position != npos) {
    text.replace(position, find.size(), replacement);
    if (!all) break;
    position = findNextStringMatch(text, find, position + replacement.size(), caseInsensitive);
  }
  return text;
}

std::size_t StringTools::findNextStringMatch(std::string text, std::string find, std::size_t start,
                                             bool caseInsensitive) {
  if (stringIsEmpty(text) || stringIsEmpty(find) || start >= text.size()) return npos;
  if (caseInsensitive) {
    text = stringToLower(text);
    find = stringToLower(find);
  }
  std::size_t position = text.find(find, start);
  return position == std::string::npos ? npos : position;
}

std::size_t StringTools::findInsensitiveInString(std::string text, std::string find) {
  return findNextStringMatch(text, find, 0, true);
}

std::vector<std::string> StringTools::split(std::string text, char delimiter) {
  std::vector<std::string> pieces;
  if (stringIsEmpty(text)) return pieces;
  std::istringstream stream(text);
  std::string piece;
  while (std::getline(stream, piece, delimiter)) pieces.push_back(piece);
  return pieces;
}

std::vector<std::string> StringTools::split(std::string text, std::string delimiter) {
  std::vector<std::string> pieces;
  if (stringIsEmpty(text)) return pieces;
  if (delimiter.empty()) return {text};
  std::size_t start = 0;
  for (std::size_t found; (found = text.find(delimiter, start)) != std::string::npos;
       start = found + delimiter.size()) {
    pieces.push_back(text.substr(start, found - start));
  }
  if (start < text.size()) pieces.push_back(text.substr(start));
  return pieces;
}

std::vector<std::string> StringTools::splitWithQuotes(std::string text) {
  std::vector<std::string> words;
  std::string word;
  bool quoted = false;
  bool inWord = false;
  for (char c : text) {
    if (c == '"') {
      quoted = !quoted;
      inWord = true;  // "" is an (empty) word of its own
    } else if (c == ' ' && !quoted) {
      if (inWord) words.push_back(word);
      word.clear();
      inWord = false;
    } else {
      word += c;
      inWord = true;
    }
  }
  if (inWord) words.push_back(word);
  return words;
}

std::string StringTools::macAddressToString(const unsigned char* sixBytes) {
  if (sixBytes == nullptr) return "";
  char buffer[18];
  std::snprintf(buffer, sizeof(buffer), "%02X:%02X:%02X:%02X:%02X:%02X", sixBytes[0], sixBytes[1],
                sixBytes[2], sixBytes[3], sixBytes[4], sixBytes[5]);
  return buffer;
}

std::string StringTools::adaptMacAddress(std::string mac) {
  mac.erase(std::remove_if(mac.begin(), mac.end(),
                           [](char c) { return c == ':' || c == '-' || c == '.'; }),
            mac.end());
  return separateMac(mac);
}

std::string StringTools::separateMac(std::string mac) {
  if (mac.size() != 12 || !std::all_of(mac.begin(), mac.end(), isHexDigit)) return "";
  std::string result;
  for (std::size_t i = 0; i < mac.size(); i += 2) {
    if (i > 0) result += ':';
    result += mac.substr(i, 2);
  }
  return stringToUpper(result);
}

bool StringTools::checkSeparators(std::string mac) {
  if (mac.size() != 17) return false;
  for (std::size_t i = 0; i < mac.size(); ++i) {
    bool separatorPlace = (i % 3) == 2;
    if (separatorPlace ? mac[i] != ':' : !isHexDigit(mac[i])) return false;
  }
  return true;
}

int StringTools::hexOctetStringToByte(std::string octet) {
  if (octet.size() != 2 || !isHexDigit(octet[0]) || !isHexDigit(octet[1])) return -1;
  return static_cast<int>(std::strtol(octet.c_str(), nullptr, 16));
}

std::string StringTools::dumpHex(const unsigned char* data, std::size_t length) {
  std::string dump;
  if (data == nullptr) return dump;
  for (std::size_t offset = 0; offset < length; offset += kHexLineWidth) {
    dump += getHexLine(data + offset, std::min(kHexLineWidth, length - offset));
  }
  return dump;
}

std::string StringTools::getHexLine(const unsigned char* data, std::size_t length) {
  if (data == nullptr) return "";
  length = std::min(length, kHexLineWidth);
  std::string hex;
  std::string text;
  for (std::size_t i = 0; i < kHexLineWidth; ++i) {
    if (i < length) {
      char byte[3];
      std::snprintf(byte, sizeof(byte), "%02X", data[i]);
      hex += byte;
      text += std::isprint(data[i]) ? static_cast<char>(data[i]) : '.';
    } else {
      hex += "  ";  // keeps the text column aligned on a short last line
    }
    hex += ' ';
  }
  return hex + " | " + text + "\n";
}

std::string StringTools::normalizeSlashes(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

std::string StringTools::getFilenameFromPath(std::string path) {
  path = normalizeSlashes(path);
  std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string StringTools::getPathWithoutFilename(std::string path) {
  path = normalizeSlashes(path);
  std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

std::string StringTools::concatenateFileAndPath(std::string file, std::string path) {
  if (path.empty()) return file;
  if (!endsWith(path, "/")) path += '/';
  return path + file;
}

std::string StringTools::stripInvalidFilenameCharacters(std::string name) {
  std::string invalid(kInvalidFilenameCharacters);
  name.erase(std::remove_if(name.begin(), name.end(),
                            [&invalid](char c) { return invalid.find(c) != std::string::npos; }),
             name.end());
  return name;
}

std::string StringTools::stripInvalidPathnameCharacters(std::string path) {
  std::string result;
  std::vector<std::string> components = split(path, '/');
  for (std::size_t i = 0; i < components.size(); ++i) {
    if (i > 0) result += '/';
    result += stripInvalidFilenameCharacters(components[i]);
  }
  return result;
}

std::string StringTools::eapMethodIdToString(int method) {
  struct EapName {
    int method;
    const char* name;
  };
  static const EapName kNames[] = {{4, "EAP-MD5"},  {5, "EAP-OTP"},       {6, "EAP-GTC"},
                                   {13, "EAP-TLS"}, {18, "EAP-SIM"},      {21, "EAP-TTLS"},
                                   {23, "EAP-AKA"}, {25, "PEAP"},         {26, "EAP-MSCHAPv2"},
                                   {43, "EAP-FAST"}};
  for (const EapName& entry : kNames) {
    if (entry.method == method) return entry.name;
  }
  return "Unknown EAP method : " + fromInt(method);
}

}  // namespace xpc
