#pragma once
// Shared by the CoreFoundation sources only.

#include <string>

#include "CFRuntimeInternal.h"

namespace emu {

// Built-in classes have fixed type ids so that constant objects can be
// initialized statically; registered classes come after them.
enum : CFTypeID {
  kAllocatorTypeID = 1,
  kNullTypeID,
  kStringTypeID,
  kNumberTypeID,
  kBooleanTypeID,
  kDataTypeID,
  kArrayTypeID,
  kDictionaryTypeID,
  kDateTypeID,
  kErrorTypeID,
  kUUIDTypeID,
  kURLTypeID,
  kReadStreamTypeID,
  kWriteStreamTypeID,
  kLocaleTypeID,
  kDateFormatterTypeID,
  kBuiltinTypeCount
};

extern const CFRuntimeClass kAllocatorClass, kNullClass, kStringClass, kNumberClass, kBooleanClass, kDataClass,
    kArrayClass, kDictionaryClass, kDateClass, kErrorClass, kUUIDClass, kURLClass, kReadStreamClass,
    kWriteStreamClass, kLocaleClass, kDateFormatterClass;

constexpr CFRuntimeBase constantBase(CFTypeID typeID) { return CFRuntimeBase{typeID, 0, kCFRuntimeConstantObject, 0}; }

// Ends the process where the Mac would crash or raise: misuse such as a NULL
// object, an index out of bounds or mutating an immutable object.
[[noreturn]] void fatal(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Aborts unless cf is an object of the given type.
void requireType(CFTypeRef cf, CFTypeID typeID, const char *function);

// _info bit of strings, data, arrays and dictionaries that CF's mutators may change.
constexpr uint32_t kMutableInfo = 1;
bool isMutable(CFTypeRef cf);
void setMutable(CFTypeRef cf);
void requireMutable(CFTypeRef cf, CFTypeID typeID, const char *function);

// Turns a fresh instance into one that lives for the whole process.
void makeConstant(CFTypeRef cf);

// Strings (CFString.cpp).
CFStringRef stringCreate(std::u16string chars, bool isMutable);
const std::u16string &stringChars(CFStringRef string);
CFStringRef stringCreateUTF8(const std::string &utf8);  // utf8 must be valid
std::string stringUTF8(CFStringRef string);             // lone surrogates become U+FFFD
std::u16string utf16FromUTF8(const std::string &utf8);  // utf8 must be valid
std::string utf8FromUTF16(const std::u16string &chars);
// Decodes text in a single-byte system encoding (what %s and %c show).
std::u16string decodeMacRoman(const char *bytes, size_t length);

// The text of a format with printf conversions and %@ (CFStringFormat.cpp).
std::u16string formatWithArguments(CFStringRef format, va_list args);

// What %@ shows for an object (CFStringFormat.cpp uses it, classes reuse it).
std::u16string formattingDescription(CFTypeRef cf);
// "<ClassName 0x... [0x...]>", the start of most debug descriptions.
std::string descriptionPrefix(CFTypeRef cf);
// printf into a std::string.
std::string strprintf(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Retain/release callbacks that collections use for CF values.
const void *typeRetain(CFAllocatorRef allocator, const void *value);
void typeRelease(CFAllocatorRef allocator, const void *value);

// Frees bytes handed over with a deallocator unless it is kCFAllocatorNull.
void deallocateBytes(CFAllocatorRef deallocator, const void *bytes);

// Seconds from 1970-01-01 to 2001-01-01, both GMT.
constexpr double kAbsoluteTimeSince1970 = 978307200.0;

}  // namespace emu
