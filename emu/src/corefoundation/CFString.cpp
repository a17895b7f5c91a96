// CFString: immutable and mutable strings held as UTF-16, the encodings the
// system converts, and the process-wide constant strings behind CFSTR.

#include <cstring>
#include <mutex>
#include <unordered_map>

#include "CFInternal.h"

struct __CFString {
  CFRuntimeBase base;
  std::u16string chars;
};

namespace emu {
namespace {

// MacRoman bytes 0x80-0xFF.
const char16_t kMacRomanHigh[128] = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1,
    0x00E0, 0x00E2, 0x00E4, 0x00E3, 0x00E5, 0x00E7, 0x00E9, 0x00E8,
    0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3,
    0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC,
    0x2020, 0x00B0, 0x00A2, 0x00A3, 0x00A7, 0x2022, 0x00B6, 0x00DF,
    0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8,
    0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211,
    0x220F, 0x03C0, 0x222B, 0x00AA, 0x00BA, 0x03A9, 0x00E6, 0x00F8,
    0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB,
    0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153,
    0x2013, 0x2014, 0x201C, 0x201D, 0x2018, 0x2019, 0x00F7, 0x25CA,
    0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02,
    0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1,
    0x00CB, 0x00C8, 0x00CD, 0x00CE, 0x00CF, 0x00CC, 0x00D3, 0x00D4,
    0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC,
    0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7,
};

const __CFString *stringArg(CFStringRef string, const char *function) {
  requireType(string, kStringTypeID, function);
  return string;
}

__CFString *mutableStringArg(CFMutableStringRef string, const char *function) {
  requireMutable(string, kStringTypeID, function);
  return string;
}

bool isSurrogate(uint32_t c) { return c >= 0xD800 && c <= 0xDFFF; }

void appendCodePoint(std::u16string &out, uint32_t c) {
  if (c < 0x10000) {
    out.push_back(static_cast<char16_t>(c));
  } else {
    c -= 0x10000;
    out.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
  }
}

// Strict: overlong forms, surrogates and truncated sequences are errors.
bool decodeUTF8(const UInt8 *bytes, size_t length, std::u16string &out) {
  for (size_t i = 0; i < length;) {
    uint32_t c = bytes[i];
    size_t count;
    uint32_t minimum;
    if (c < 0x80) {
      out.push_back(static_cast<char16_t>(c));
      ++i;
      continue;
    } else if ((c & 0xE0) == 0xC0) {
      count = 2, minimum = 0x80, c &= 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
      count = 3, minimum = 0x800, c &= 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
      count = 4, minimum = 0x10000, c &= 0x07;
    } else {
      return false;
    }
    if (length - i < count) return false;
    for (size_t k = 1; k < count; ++k) {
      if ((bytes[i + k] & 0xC0) != 0x80) return false;
      c = (c << 6) | (bytes[i + k] & 0x3F);
    }
    if (c < minimum || c > 0x10FFFF || isSurrogate(c)) return false;
    appendCodePoint(out, c);
    i += count;
  }
  return true;
}

// Calls emit(codePoint) for each character; a lone surrogate is passed on as
// itself when lenient, and fails the walk otherwise.
template <typename Emit>
bool forEachCodePoint(const std::u16string &chars, bool lenient, Emit emit) {
  for (size_t i = 0; i < chars.size(); ++i) {
    uint32_t c = chars[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < chars.size() && chars[i + 1] >= 0xDC00 && chars[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (chars[++i] - 0xDC00);
    } else if (isSurrogate(c) && !lenient) {
      return false;
    }
    if (!emit(c)) return false;
  }
  return true;
}

void appendUTF8(std::string &out, uint32_t c) {
  if (c < 0x80) {
    out.push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (c >> 6)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else if (c < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (c >> 12)));
    out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (c >> 18)));
    out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

enum class ByteOrder { Big, Little };

uint32_t readUnit(const UInt8 *p, size_t size, ByteOrder order) {
  uint32_t value = 0;
  for (size_t k = 0; k < size; ++k) value = (value << 8) | p[order == ByteOrder::Big ? k : size - 1 - k];
  return value;
}

void writeUnit(std::string &out, uint32_t value, size_t size, ByteOrder order) {
  for (size_t k = 0; k < size; ++k) {
    size_t shift = 8 * (order == ByteOrder::Big ? size - 1 - k : k);
    out.push_back(static_cast<char>((value >> shift) & 0xFF));
  }
}

// UTF-16 or UTF-32 units of the given size. Without an explicit byte order a
// byte-order mark decides, else the host order (big endian for external
// representations, as the Unicode standard has it).
bool decodeUnits(const UInt8 *bytes, size_t length, size_t size, const ByteOrder *fixedOrder, bool external,
                 std::u16string &out) {
  if (length % size) return false;
  ByteOrder order = fixedOrder ? *fixedOrder : external ? ByteOrder::Big : ByteOrder::Little;
  const uint32_t bom = 0xFEFF, swappedBom = size == 2 ? 0xFFFE : 0xFFFE0000;
  if (!fixedOrder && length >= size) {
    uint32_t first = readUnit(bytes, size, ByteOrder::Big);
    if (first == bom || first == swappedBom) {
      order = first == bom ? ByteOrder::Big : ByteOrder::Little;
      bytes += size;
      length -= size;
    }
  }
  for (size_t i = 0; i < length; i += size) {
    uint32_t unit = readUnit(bytes + i, size, order);
    if (size == 2) {
      out.push_back(static_cast<char16_t>(unit));
    } else {
      if (unit > 0x10FFFF || isSurrogate(unit)) return false;
      appendCodePoint(out, unit);
    }
  }
  return true;
}

bool decode(const UInt8 *bytes, size_t length, CFStringEncoding encoding, bool external, std::u16string &out) {
  const ByteOrder big = ByteOrder::Big, little = ByteOrder::Little;
  switch (encoding) {
    case kCFStringEncodingUTF8:
      if (external && length >= 3 && std::memcmp(bytes, "\xEF\xBB\xBF", 3) == 0) bytes += 3, length -= 3;
      return decodeUTF8(bytes, length, out);
    case kCFStringEncodingASCII:
      for (size_t i = 0; i < length; ++i) {
        if (bytes[i] > 0x7F) return false;
        out.push_back(bytes[i]);
      }
      return true;
    case kCFStringEncodingISOLatin1:
      out.append(bytes, bytes + length);
      return true;
    case kCFStringEncodingMacRoman:
      out += decodeMacRoman(reinterpret_cast<const char *>(bytes), length);
      return true;
    case kCFStringEncodingUTF16:
      return decodeUnits(bytes, length, 2, nullptr, external, out);
    case kCFStringEncodingUTF16BE:
      return decodeUnits(bytes, length, 2, &big, external, out);
    case kCFStringEncodingUTF16LE:
      return decodeUnits(bytes, length, 2, &little, external, out);
    case kCFStringEncodingUTF32:
      return decodeUnits(bytes, length, 4, nullptr, external, out);
    case kCFStringEncodingUTF32BE:
      return decodeUnits(bytes, length, 4, &big, external, out);
    case kCFStringEncodingUTF32LE:
      return decodeUnits(bytes, length, 4, &little, external, out);
    default:
      return false;
  }
}

bool encode(const std::u16string &chars, CFStringEncoding encoding, std::string &out) {
  auto singleByte = [&](auto toByte) {
    for (char16_t c : chars) {
      int byte = toByte(c);
      if (byte < 0) return false;
      out.push_back(static_cast<char>(byte));
    }
    return true;
  };
  auto units = [&](size_t size, ByteOrder order) {
    if (size == 2) {
      for (char16_t c : chars) writeUnit(out, c, 2, order);
      return true;
    }
    return forEachCodePoint(chars, false, [&](uint32_t c) { return writeUnit(out, c, 4, order), true; });
  };
  switch (encoding) {
    case kCFStringEncodingUTF8:
      return forEachCodePoint(chars, false, [&](uint32_t c) { return appendUTF8(out, c), true; });
    case kCFStringEncodingASCII:
      return singleByte([](char16_t c) { return c < 0x80 ? int(c) : -1; });
    case kCFStringEncodingISOLatin1:
      return singleByte([](char16_t c) { return c < 0x100 ? int(c) : -1; });
    case kCFStringEncodingMacRoman:
      return singleByte([](char16_t c) {
        if (c < 0x80) return int(c);
        for (int i = 0; i < 128; ++i)
          if (kMacRomanHigh[i] == c) return 0x80 + i;
        return -1;
      });
    case kCFStringEncodingUTF16:
    case kCFStringEncodingUTF16LE:
      return units(2, ByteOrder::Little);
    case kCFStringEncodingUTF16BE:
      return units(2, ByteOrder::Big);
    case kCFStringEncodingUTF32:
    case kCFStringEncodingUTF32LE:
      return units(4, ByteOrder::Little);
    case kCFStringEncodingUTF32BE:
      return units(4, ByteOrder::Big);
    default:
      return false;
  }
}

// Simple case folding for the scripts preference files meet: Latin-1, Greek
// and Cyrillic capitals fold to their small letters.
char16_t foldCase(char16_t c) {
  if ((c >= 'A' && c <= 'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7) || (c >= 0x391 && c <= 0x3A9 && c != 0x3A2) ||
      (c >= 0x410 && c <= 0x42F))
    return c + 0x20;
  if (c >= 0x400 && c <= 0x40F) return c + 0x50;
  return c;
}

CFStringRef createFromBytes(const UInt8 *bytes, size_t length, CFStringEncoding encoding, bool external) {
  std::u16string chars;
  if (!decode(bytes, length, encoding, external, chars)) return nullptr;
  return stringCreate(std::move(chars), false);
}

Boolean stringEqual(CFTypeRef a, CFTypeRef b) {
  return static_cast<CFStringRef>(a)->chars == static_cast<CFStringRef>(b)->chars;
}

CFHashCode stringHash(CFTypeRef cf) {
  CFHashCode hash = 14695981039346656037ull;  // FNV-1a
  for (char16_t c : static_cast<CFStringRef>(cf)->chars) hash = (hash ^ c) * 1099511628211ull;
  return hash;
}

CFStringRef stringCopyFormattingDesc(CFTypeRef cf, CFDictionaryRef) {
  return CFStringCreateCopy(nullptr, static_cast<CFStringRef>(cf));
}

CFStringRef stringCopyDebugDesc(CFTypeRef cf) {
  return stringCreate(utf16FromUTF8(descriptionPrefix(cf) + "{contents = \"") +
                          static_cast<CFStringRef>(cf)->chars + u"\"}",
                      false);
}

}  // namespace

const CFRuntimeClass kStringClass = {"CFString", cfFinalize<__CFString>, stringEqual, stringHash,
                                     stringCopyFormattingDesc, stringCopyDebugDesc};

CFStringRef stringCreate(std::u16string chars, bool isMutable) {
  __CFString *string = cfCreate<__CFString>(kStringTypeID);
  string->chars = std::move(chars);
  if (isMutable) setMutable(string);
  return string;
}

const std::u16string &stringChars(CFStringRef string) { return stringArg(string, "CFStringGetCharacters")->chars; }

CFStringRef stringCreateUTF8(const std::string &utf8) { return stringCreate(utf16FromUTF8(utf8), false); }

std::string stringUTF8(CFStringRef string) { return utf8FromUTF16(stringChars(string)); }

std::u16string utf16FromUTF8(const std::string &utf8) {
  std::u16string chars;
  if (!decodeUTF8(reinterpret_cast<const UInt8 *>(utf8.data()), utf8.size(), chars))
    fatal("invalid UTF-8 in internal text");
  return chars;
}

std::string utf8FromUTF16(const std::u16string &chars) {
  std::string out;
  forEachCodePoint(chars, true, [&](uint32_t c) { return appendUTF8(out, isSurrogate(c) ? 0xFFFD : c), true; });
  return out;
}

std::u16string decodeMacRoman(const char *bytes, size_t length) {
  std::u16string out;
  for (size_t i = 0; i < length; ++i) {
    auto byte = static_cast<unsigned char>(bytes[i]);
    out.push_back(byte < 0x80 ? byte : kMacRomanHigh[byte - 0x80]);
  }
  return out;
}

}  // namespace emu

using namespace emu;

extern "C" {

CFStringRef __CFStringMakeConstantString(const char *cStr) {
  static std::mutex mutex;
  // Never destroyed: constant strings stay valid until the process ends.
  static auto *table = new std::unordered_map<std::string, CFStringRef>();
  std::lock_guard<std::mutex> lock(mutex);
  CFStringRef &entry = (*table)[cStr];
  if (!entry) {
    size_t length = std::strlen(cStr);
    auto bytes = reinterpret_cast<const UInt8 *>(cStr);
    entry = createFromBytes(bytes, length, kCFStringEncodingUTF8, false);
    if (!entry) entry = createFromBytes(bytes, length, kCFStringEncodingMacRoman, false);
    makeConstant(entry);
  }
  return entry;
}

CFTypeID CFStringGetTypeID(void) { return kStringTypeID; }

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char *cStr, CFStringEncoding encoding) {
  return createFromBytes(reinterpret_cast<const UInt8 *>(cStr), std::strlen(cStr), encoding, false);
}

CFStringRef CFStringCreateWithCStringNoCopy(CFAllocatorRef, const char *cStr, CFStringEncoding encoding,
                                            CFAllocatorRef contentsDeallocator) {
  // The text is converted at once, so the buffer is not needed past this call.
  CFStringRef string = CFStringCreateWithCString(nullptr, cStr, encoding);
  deallocateBytes(contentsDeallocator, cStr);
  return string;
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8 *bytes, CFIndex numBytes, CFStringEncoding encoding,
                                    Boolean isExternalRepresentation) {
  if (numBytes < 0) fatal("CFStringCreateWithBytes() called with negative length %ld", numBytes);
  return createFromBytes(bytes, static_cast<size_t>(numBytes), encoding, isExternalRepresentation);
}

CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef theString) {
  const __CFString *string = stringArg(theString, "CFStringCreateCopy");
  if (!isMutable(string)) return static_cast<CFStringRef>(CFRetain(string));
  return stringCreate(string->chars, false);
}

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef, CFIndex) {
  return const_cast<CFMutableStringRef>(stringCreate(u"", true));
}

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef, CFIndex, CFStringRef theString) {
  return const_cast<CFMutableStringRef>(stringCreate(stringArg(theString, "CFStringCreateMutableCopy")->chars, true));
}

CFIndex CFStringGetLength(CFStringRef theString) {
  return static_cast<CFIndex>(stringArg(theString, "CFStringGetLength")->chars.size());
}

UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx) {
  const std::u16string &chars = stringArg(theString, "CFStringGetCharacterAtIndex")->chars;
  if (idx < 0 || static_cast<size_t>(idx) >= chars.size())
    fatal("CFStringGetCharacterAtIndex(): index %ld beyond bounds %zu", idx, chars.size());
  return chars[static_cast<size_t>(idx)];
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  switch (encoding) {
    case kCFStringEncodingUTF8:
      return length * 3;
    case kCFStringEncodingASCII:
    case kCFStringEncodingISOLatin1:
    case kCFStringEncodingMacRoman:
      return length;
    case kCFStringEncodingUTF16:
    case kCFStringEncodingUTF16BE:
    case kCFStringEncodingUTF16LE:
      return length * 2;
    case kCFStringEncodingUTF32:
    case kCFStringEncodingUTF32BE:
    case kCFStringEncodingUTF32LE:
      return length * 4;
    default:
      return kCFNotFound;
  }
}

Boolean CFStringGetCString(CFStringRef theString, char *buffer, CFIndex bufferSize, CFStringEncoding encoding) {
  std::string bytes;
  if (!encode(stringArg(theString, "CFStringGetCString")->chars, encoding, bytes)) return false;
  if (bufferSize <= 0 || bytes.size() >= static_cast<size_t>(bufferSize)) return false;
  std::memcpy(buffer, bytes.c_str(), bytes.size() + 1);
  return true;
}

const char *CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding) {
  stringArg(theString, "CFStringGetCStringPtr");
  return nullptr;
}

CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2,
                                   CFStringCompareFlags compareOptions) {
  const std::u16string &a = stringArg(theString1, "CFStringCompare")->chars;
  const std::u16string &b = stringArg(theString2, "CFStringCompare")->chars;
  bool fold = compareOptions & kCFCompareCaseInsensitive;
  for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
    char16_t x = fold ? foldCase(a[i]) : a[i], y = fold ? foldCase(b[i]) : b[i];
    if (x != y) return x < y ? kCFCompareLessThan : kCFCompareGreaterThan;
  }
  if (a.size() == b.size()) return kCFCompareEqualTo;
  return a.size() < b.size() ? kCFCompareLessThan : kCFCompareGreaterThan;
}

Boolean CFStringHasPrefix(CFStringRef theString, CFStringRef prefix) {
  const std::u16string &s = stringArg(theString, "CFStringHasPrefix")->chars;
  const std::u16string &p = stringArg(prefix, "CFStringHasPrefix")->chars;
  return s.compare(0, p.size(), p) == 0;
}

Boolean CFStringHasSuffix(CFStringRef theString, CFStringRef suffix) {
  const std::u16string &s = stringArg(theString, "CFStringHasSuffix")->chars;
  const std::u16string &p = stringArg(suffix, "CFStringHasSuffix")->chars;
  return s.size() >= p.size() && s.compare(s.size() - p.size(), p.size(), p) == 0;
}

void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString) {
  __CFString *string = mutableStringArg(theString, "CFStringAppend");
  string->chars += std::u16string(stringArg(appendedString, "CFStringAppend")->chars);
}

void CFStringAppendCString(CFMutableStringRef theString, const char *cStr, CFStringEncoding encoding) {
  __CFString *string = mutableStringArg(theString, "CFStringAppendCString");
  std::u16string chars;
  if (decode(reinterpret_cast<const UInt8 *>(cStr), std::strlen(cStr), encoding, false, chars)) string->chars += chars;
}

CFStringRef CFStringCreateWithFormat(CFAllocatorRef, CFDictionaryRef, CFStringRef format, ...) {
  va_list args;
  va_start(args, format);
  CFStringRef string = stringCreate(formatWithArguments(format, args), false);
  va_end(args);
  return string;
}

CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef, CFDictionaryRef, CFStringRef format,
                                                 va_list arguments) {
  return stringCreate(formatWithArguments(format, arguments), false);
}

void CFStringAppendFormat(CFMutableStringRef theString, CFDictionaryRef, CFStringRef format, ...) {
  __CFString *string = mutableStringArg(theString, "CFStringAppendFormat");
  va_list args;
  va_start(args, format);
  string->chars += formatWithArguments(format, args);
  va_end(args);
}

}  // extern "C"
