// CFUUID: random (version 4) identifiers, shown as upper-case 8-4-4-4-12 hex.

#include <cstring>
#include <sys/random.h>

#include "CFInternal.h"

struct __CFUUID {
  CFRuntimeBase base;
  UInt8 bytes[16];
};

namespace emu {
namespace {

const __CFUUID *uuidArg(CFUUIDRef uuid, const char *function) {
  requireType(uuid, kUUIDTypeID, function);
  return uuid;
}

CFUUIDRef create(const UInt8 bytes[16]) {
  auto *uuid = static_cast<__CFUUID *>(
      const_cast<void *>(_CFRuntimeCreateInstance(nullptr, kUUIDTypeID, sizeof(__CFUUID) - sizeof(CFRuntimeBase))));
  std::memcpy(uuid->bytes, bytes, 16);
  return uuid;
}

std::string text(const __CFUUID *uuid) {
  std::string out;
  for (int i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) out += '-';
    out += strprintf("%02X", uuid->bytes[i]);
  }
  return out;
}

int hexValue(char16_t c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

Boolean uuidEqual(CFTypeRef a, CFTypeRef b) {
  return std::memcmp(static_cast<CFUUIDRef>(a)->bytes, static_cast<CFUUIDRef>(b)->bytes, 16) == 0;
}

CFHashCode uuidHash(CFTypeRef cf) {
  CFHashCode hash;
  std::memcpy(&hash, static_cast<CFUUIDRef>(cf)->bytes, sizeof hash);
  return hash;
}

CFStringRef uuidCopyFormattingDesc(CFTypeRef cf, CFDictionaryRef) {
  return stringCreateUTF8(text(static_cast<CFUUIDRef>(cf)));
}

CFStringRef uuidCopyDebugDesc(CFTypeRef cf) {
  return stringCreateUTF8(strprintf("<CFUUID 0x%lx> ", reinterpret_cast<unsigned long>(cf)) +
                          text(static_cast<CFUUIDRef>(cf)));
}

}  // namespace

const CFRuntimeClass kUUIDClass = {"CFUUID", nullptr, uuidEqual, uuidHash, uuidCopyFormattingDesc, uuidCopyDebugDesc};

}  // namespace emu

using namespace emu;

extern "C" {

CFTypeID CFUUIDGetTypeID(void) { return kUUIDTypeID; }

CFUUIDRef CFUUIDCreate(CFAllocatorRef) {
  UInt8 bytes[16];
  if (getentropy(bytes, sizeof bytes) != 0) fatal("CFUUIDCreate(): no randomness available");
  bytes[6] = (bytes[6] & 0x0F) | 0x40;  // version 4
  bytes[8] = (bytes[8] & 0x3F) | 0x80;  // RFC 4122 variant
  return create(bytes);
}

// Accepts exactly the 8-4-4-4-12 form, in either case; anything else is NULL.
CFUUIDRef CFUUIDCreateFromString(CFAllocatorRef, CFStringRef uuidStr) {
  if (!uuidStr) return nullptr;
  const std::u16string &chars = stringChars(uuidStr);
  if (chars.size() != 36) return nullptr;
  UInt8 bytes[16];
  size_t n = 0;
  for (size_t i = 0; i < chars.size();) {
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      if (chars[i++] != '-') return nullptr;
      continue;
    }
    int high = hexValue(chars[i]), low = hexValue(chars[i + 1]);
    if (high < 0 || low < 0) return nullptr;
    bytes[n++] = static_cast<UInt8>(high << 4 | low);
    i += 2;
  }
  return create(bytes);
}

CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef, CFUUIDBytes bytes) {
  return create(reinterpret_cast<const UInt8 *>(&bytes));
}

CFStringRef CFUUIDCreateString(CFAllocatorRef, CFUUIDRef uuid) {
  return stringCreateUTF8(text(uuidArg(uuid, "CFUUIDCreateString")));
}

CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid) {
  CFUUIDBytes bytes;
  std::memcpy(&bytes, uuidArg(uuid, "CFUUIDGetUUIDBytes")->bytes, sizeof bytes);
  return bytes;
}

}  // extern "C"
