// The format engine behind CFStringCreateWithFormat: printf conversions,
// positional arguments (%2$@), and %@ for CF objects.

#include <cstdio>
#include <cstring>
#include <vector>

#include "CFInternal.h"

namespace emu {
namespace {

enum class Length { None, Char, Short, Long, LongLong, LongDouble, Size, PtrDiff, IntMax };
enum class ArgType { Int, Long, LongLong, Size, PtrDiff, IntMax, Double, LongDouble, Pointer };

union Arg {
  long long integer;
  double real;
  long double longReal;
  const void *pointer;
};

// One piece of the format: literal text, or a conversion.
struct Piece {
  std::u16string literal;
  char16_t conversion = 0;
  std::string flags;
  int width = -1, widthArg = -1;
  int precision = -1, precisionArg = -1;
  Length length = Length::None;
  int valueArg = -1;
};

bool isDigit(char16_t c) { return c >= '0' && c <= '9'; }

int parseNumber(const std::u16string &s, size_t &i) {
  int value = 0;
  while (i < s.size() && isDigit(s[i]) && value < 100000) value = value * 10 + (s[i++] - '0');
  return value;
}

// Reads "n$" at i if present; returns the zero-based argument index or -1.
int parsePosition(const std::u16string &s, size_t &i) {
  size_t j = i;
  int position = parseNumber(s, j);
  if (j > i && j < s.size() && s[j] == '$' && position > 0) {
    i = j + 1;
    return position - 1;
  }
  return -1;
}

ArgType valueType(const Piece &piece) {
  switch (piece.conversion) {
    case 'e': case 'E': case 'f': case 'F': case 'g': case 'G': case 'a': case 'A':
      return piece.length == Length::LongDouble ? ArgType::LongDouble : ArgType::Double;
    case 's': case 'S': case 'p': case '@': case 'n':
      return ArgType::Pointer;
    case 'c': case 'C':
      return ArgType::Int;
    default:
      switch (piece.length) {
        case Length::Long: return ArgType::Long;
        case Length::LongLong: return ArgType::LongLong;
        case Length::Size: return ArgType::Size;
        case Length::PtrDiff: return ArgType::PtrDiff;
        case Length::IntMax: return ArgType::IntMax;
        default: return ArgType::Int;
      }
  }
}

std::vector<Piece> parse(const std::u16string &format) {
  std::vector<Piece> pieces;
  int nextArg = 0;
  auto literal = [&](std::u16string text) {
    if (pieces.empty() || pieces.back().conversion) pieces.emplace_back();
    pieces.back().literal += text;
  };
  for (size_t i = 0; i < format.size();) {
    if (format[i] != '%') {
      literal(std::u16string(1, format[i++]));
      continue;
    }
    size_t start = i++;
    if (i < format.size() && format[i] == '%') {
      literal(u"%");
      ++i;
      continue;
    }
    Piece piece;
    int position = parsePosition(format, i);
    while (i < format.size() && std::strchr("-+ #0'", static_cast<char>(format[i])) && format[i] < 0x80)
      piece.flags.push_back(static_cast<char>(format[i++]));
    if (i < format.size() && format[i] == '*') {
      ++i;
      int p = parsePosition(format, i);
      piece.widthArg = p >= 0 ? p : nextArg++;
    } else if (i < format.size() && isDigit(format[i])) {
      piece.width = parseNumber(format, i);
    }
    if (i < format.size() && format[i] == '.') {
      ++i;
      if (i < format.size() && format[i] == '*') {
        ++i;
        int p = parsePosition(format, i);
        piece.precisionArg = p >= 0 ? p : nextArg++;
      } else {
        piece.precision = parseNumber(format, i);
      }
    }
    auto at = [&](size_t k) { return k < format.size() ? format[k] : u'\0'; };
    switch (at(i)) {
      case 'h': piece.length = at(i + 1) == 'h' ? (++i, Length::Char) : Length::Short; ++i; break;
      case 'l': piece.length = at(i + 1) == 'l' ? (++i, Length::LongLong) : Length::Long; ++i; break;
      case 'q': piece.length = Length::LongLong; ++i; break;
      case 'L': piece.length = Length::LongDouble; ++i; break;
      case 'z': piece.length = Length::Size; ++i; break;
      case 't': piece.length = Length::PtrDiff; ++i; break;
      case 'j': piece.length = Length::IntMax; ++i; break;
      default: break;
    }
    char16_t conversion = at(i);
    if (!conversion || !std::strchr("diouxXcCsSpn@eEfFgGaA", static_cast<char>(conversion)) || conversion >= 0x80) {
      // Not a conversion this engine knows: shown as written.
      literal(format.substr(start, i - start));
      continue;
    }
    ++i;
    piece.conversion = conversion;
    piece.valueArg = position >= 0 ? position : nextArg++;
    pieces.push_back(std::move(piece));
  }
  return pieces;
}

std::vector<Arg> fetchArguments(const std::vector<Piece> &pieces, va_list args) {
  std::vector<ArgType> types;
  auto want = [&](int index, ArgType type) {
    if (index < 0) return;
    if (types.size() <= static_cast<size_t>(index)) types.resize(static_cast<size_t>(index) + 1, ArgType::Int);
    types[static_cast<size_t>(index)] = type;
  };
  for (const Piece &piece : pieces) {
    if (!piece.conversion) continue;
    want(piece.widthArg, ArgType::Int);
    want(piece.precisionArg, ArgType::Int);
    want(piece.valueArg, valueType(piece));
  }
  std::vector<Arg> values(types.size());
  for (size_t k = 0; k < types.size(); ++k) {
    Arg &arg = values[k];
    switch (types[k]) {
      case ArgType::Int: arg.integer = va_arg(args, int); break;
      case ArgType::Long: arg.integer = va_arg(args, long); break;
      case ArgType::LongLong: arg.integer = va_arg(args, long long); break;
      case ArgType::Size: arg.integer = static_cast<long long>(va_arg(args, size_t)); break;
      case ArgType::PtrDiff: arg.integer = va_arg(args, ptrdiff_t); break;
      case ArgType::IntMax: arg.integer = va_arg(args, intmax_t); break;
      case ArgType::Double: arg.real = va_arg(args, double); break;
      case ArgType::LongDouble: arg.longReal = va_arg(args, long double); break;
      case ArgType::Pointer: arg.pointer = va_arg(args, const void *); break;
    }
  }
  return values;
}

std::u16string widen(const std::string &ascii) { return std::u16string(ascii.begin(), ascii.end()); }

void pad(std::u16string &text, const Piece &piece, int width) {
  if (width < 0 || text.size() >= static_cast<size_t>(width)) return;
  std::u16string spaces(static_cast<size_t>(width) - text.size(), u' ');
  text = piece.flags.find('-') != std::string::npos ? text + spaces : spaces + text;
}

// Integer and floating-point conversions go through the C library.
template <typename T>
std::u16string printfValue(const Piece &piece, int width, int precision, const char *lengthModifier, T value) {
  std::string spec = "%" + piece.flags;
  if (width >= 0) spec += std::to_string(width);
  if (precision >= 0) spec += "." + std::to_string(precision);
  spec += lengthModifier;
  spec.push_back(static_cast<char>(piece.conversion));
  return widen(strprintf(spec.c_str(), value));
}

std::u16string render(const Piece &piece, const std::vector<Arg> &args) {
  int width = piece.widthArg >= 0 ? static_cast<int>(args[static_cast<size_t>(piece.widthArg)].integer) : piece.width;
  int precision =
      piece.precisionArg >= 0 ? static_cast<int>(args[static_cast<size_t>(piece.precisionArg)].integer) : piece.precision;
  Piece adjusted = piece;
  if (width < 0 && piece.widthArg >= 0) {
    adjusted.flags += '-';
    width = -width;
  }
  if (precision < 0) precision = -1;
  const Arg &arg = args[static_cast<size_t>(piece.valueArg)];
  std::u16string text;
  switch (piece.conversion) {
    case 'd':
    case 'i': {
      long long v = arg.integer;
      if (piece.length == Length::Char) v = static_cast<signed char>(v);
      if (piece.length == Length::Short) v = static_cast<short>(v);
      if (piece.length == Length::None) v = static_cast<int>(v);
      return printfValue(adjusted, width, precision, "ll", v);
    }
    case 'o': case 'u': case 'x': case 'X': {
      auto v = static_cast<unsigned long long>(arg.integer);
      if (piece.length == Length::Char) v = static_cast<unsigned char>(v);
      if (piece.length == Length::Short) v = static_cast<unsigned short>(v);
      if (piece.length == Length::None) v = static_cast<unsigned int>(v);
      return printfValue(adjusted, width, precision, "ll", v);
    }
    case 'e': case 'E': case 'f': case 'F': case 'g': case 'G': case 'a': case 'A':
      if (piece.length == Length::LongDouble) return printfValue(adjusted, width, precision, "L", arg.longReal);
      return printfValue(adjusted, width, precision, "", arg.real);
    case 'c': {
      char byte = static_cast<char>(arg.integer);
      text = decodeMacRoman(&byte, 1);
      break;
    }
    case 'C':
      text = std::u16string(1, static_cast<char16_t>(arg.integer));
      break;
    case 's': {
      auto s = static_cast<const char *>(arg.pointer);
      if (!s) s = "(null)";
      text = decodeMacRoman(s, precision >= 0 ? strnlen(s, static_cast<size_t>(precision)) : std::strlen(s));
      break;
    }
    case 'S': {
      auto s = static_cast<const UniChar *>(arg.pointer);
      if (!s) {
        text = u"(null)";
        break;
      }
      for (size_t k = 0; s[k] && (precision < 0 || k < static_cast<size_t>(precision)); ++k) text.push_back(s[k]);
      break;
    }
    case 'p':
      text = widen(strprintf("0x%lx", reinterpret_cast<unsigned long>(arg.pointer)));
      break;
    case '@':
      text = arg.pointer ? formattingDescription(arg.pointer) : u"(null)";
      if (precision >= 0 && text.size() > static_cast<size_t>(precision)) text.resize(static_cast<size_t>(precision));
      break;
    case 'n':
      return text;
  }
  pad(text, adjusted, width);
  return text;
}

}  // namespace

std::u16string formatWithArguments(CFStringRef format, va_list args) {
  std::vector<Piece> pieces = parse(stringChars(format));
  va_list copy;
  va_copy(copy, args);
  std::vector<Arg> values = fetchArguments(pieces, copy);
  va_end(copy);
  std::u16string result;
  for (const Piece &piece : pieces) result += piece.conversion ? render(piece, values) : piece.literal;
  return result;
}

}  // namespace emu
