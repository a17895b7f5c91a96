#pragma once
#include <cstddef>
#include <string>
#include <vector>

namespace xpc {

// Stateless text helpers. All text is UTF-8 bytes; case handling is ASCII only.
// A text is "empty" when stringIsEmpty says so: most operations treat a blank
// line like no text at all. Members are static so they can be called with or
// without an instance.
class StringTools {
 public:
  static constexpr std::size_t npos = static_cast<std::size_t>(-1);

  // Tab, line feed, carriage return and space; nothing else.
  static bool charIsWhitespace(char c);
  static bool stringIsEmpty(std::string text);

  // "TRUE" in any case, or "1", is true; everything else is false.
  static bool boolFromString(std::string text);
  static std::string stringFromBool(bool value);
  static std::string boolStringFromString(std::string text);

  // Numbers. Text that is empty or not a number reads as 0.
  static std::string fromInt(int value);
  static int toInt(std::string text);
  static unsigned long ulongFromString(std::string text);
  static long longFromString(std::string text);
  static long long longlongFromString(std::string text);
  static std::string stringFromUlong(unsigned long value);
  static std::string stringFromLong(long value);
  static std::string stringFromLonglong(long long value);
  // Six significant digits, like a stream's defaults.
  static std::string stringFromDouble(double value);
  static bool isNumeric(char c);
  // True for one or more of the digits 0-9 and nothing else.
  static bool stringIsNumeric(std::string text);
  // Only the digits of the text, in order.
  static std::string getNumbersFromString(std::string text);
  // Two digits for 0 to 9 ("07"), otherwise the plain number.
  static std::string withLeadingZero(int value);

  static std::string stringToUpper(std::string text);
  static std::string stringToLower(std::string text);
  static std::string stripBeginningEndingSpaces(std::string text);
  // Removes every carriage return and line feed.
  static std::string stripCrLf(std::string text);
  static bool startsWith(std::string text, std::string prefix);
  static bool endsWith(std::string text, std::string suffix);
  static bool caseInsensitiveMatch(std::string first, std::string second);
  static bool containsAnyOf(std::string text, std::string characters);

  // Replaces the first match (every match when `all`), never re-scanning an
  // inserted replacement.
  static std::string replaceInString(std::string text, std::string find, std::string replacement,
                                     bool all, bool caseInsensitive);
  // Position of the next match at or after `start`, or npos.
  static std::size_t findNextStringMatch(std::string text, std::string find, std::size_t start,
                                         bool caseInsensitive);
  // Position of the first case-insensitive match, or npos.
  static std::size_t findInsensitiveInString(std::string text, std::string find);

  // Pieces between delimiters, read as lines ending at the delimiter: empty
  // pieces are kept, except after a trailing delimiter.
  static std::vector<std::string> split(std::string text, char delimiter);
  static std::vector<std::string> split(std::string text, std::string delimiter);
  // Blank-separated words; a double-quoted stretch (quotes removed) is one word.
  static std::vector<std::string> splitWithQuotes(std::string text);

  // MAC addresses: six bytes as "AA:BB:CC:DD:EE:FF".
  static std::string macAddressToString(const unsigned char* sixBytes);
  // Any of "aabbccddeeff", "aa:bb:..", "aa-bb-.." as upper-case colon form,
  // or "" when the text is not a MAC address.
  static std::string adaptMacAddress(std::string mac);
  // Twelve hex digits as upper-case colon form, or "".
  static std::string separateMac(std::string mac);
  // Whether the text is six hex pairs joined by ":".
  static bool checkSeparators(std::string mac);
  // Two hex digits as a byte (0-255), or -1.
  static int hexOctetStringToByte(std::string octet);

  // "XX XX .. | ascii\n" lines of 16 bytes; never reads past `length`.
  static std::string dumpHex(const unsigned char* data, std::size_t length);
  static std::string getHexLine(const unsigned char* data, std::size_t length);

  // Paths ("\" is taken as "/").
  static std::string normalizeSlashes(std::string path);
  static std::string getFilenameFromPath(std::string path);
  // Everything up to and including the last "/", or "" when there is none.
  static std::string getPathWithoutFilename(std::string path);
  // The directory `path` and the file name joined with exactly one "/".
  static std::string concatenateFileAndPath(std::string file, std::string path);
  static std::string stripInvalidFilenameCharacters(std::string name);
  // The file-name rule applied to each component; slashes stay.
  static std::string stripInvalidPathnameCharacters(std::string path);

  static std::string eapMethodIdToString(int method);
};

}  // namespace xpc
