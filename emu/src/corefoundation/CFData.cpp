// CFData: owned byte buffers, or caller's bytes taken over without copying.

#include <cstdlib>
#include <cstring>
#include <vector>

#include "CFInternal.h"

struct __CFData {
  CFRuntimeBase base;
  std::vector<UInt8> bytes;
  // Set for bytes taken over by CFDataCreateWithBytesNoCopy.
  const UInt8 *external = nullptr;
  CFIndex externalLength = 0;
  CFAllocatorRef deallocator = nullptr;

  ~__CFData() {
    if (external) emu::deallocateBytes(deallocator, external);
  }
  const UInt8 *data() const { return external ? external : bytes.data(); }
  CFIndex length() const { return external ? externalLength : static_cast<CFIndex>(bytes.size()); }
};

namespace emu {
namespace {

const __CFData *dataArg(CFDataRef data, const char *function) {
  requireType(data, kDataTypeID, function);
  return data;
}

CFIndex checkLength(CFIndex length, const char *function) {
  if (length < 0) fatal("%s() called with negative length %ld", function, length);
  return length;
}

__CFData *create(const UInt8 *bytes, CFIndex length, bool isMutable) {
  __CFData *data = cfCreate<__CFData>(kDataTypeID);
  if (length) data->bytes.assign(bytes, bytes + length);
  if (isMutable) setMutable(data);
  return data;
}

Boolean dataEqual(CFTypeRef a, CFTypeRef b) {
  auto x = static_cast<CFDataRef>(a), y = static_cast<CFDataRef>(b);
  return x->length() == y->length() && (x->length() == 0 || std::memcmp(x->data(), y->data(), x->length()) == 0);
}

CFHashCode dataHash(CFTypeRef cf) {
  auto data = static_cast<CFDataRef>(cf);
  CFHashCode hash = 14695981039346656037ull;  // FNV-1a over at most the first 80 bytes
  for (CFIndex i = 0; i < data->length() && i < 80; ++i) hash = (hash ^ data->data()[i]) * 1099511628211ull;
  return hash ^ static_cast<CFHashCode>(data->length());
}

// Long data shows its first 16 and last 8 bytes.
CFStringRef dataCopyDebugDesc(CFTypeRef cf) {
  auto data = static_cast<CFDataRef>(cf);
  CFIndex length = data->length();
  auto hex = [&](CFIndex from, CFIndex to) {
    std::string out;
    for (CFIndex i = from; i < to; ++i) out += strprintf("%02x", data->data()[i]);
    return out;
  };
  std::string bytes = length <= 24 ? hex(0, length) : hex(0, 16) + " ... " + hex(length - 8, length);
  return stringCreateUTF8(descriptionPrefix(cf) + strprintf("{length = %ld, capacity = %ld, bytes = 0x", length, length) +
                          bytes + "}");
}

}  // namespace

const CFRuntimeClass kDataClass = {"CFData", cfFinalize<__CFData>, dataEqual, dataHash, nullptr, dataCopyDebugDesc};

}  // namespace emu

using namespace emu;

extern "C" {

CFTypeID CFDataGetTypeID(void) { return kDataTypeID; }

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8 *bytes, CFIndex length) {
  return create(bytes, checkLength(length, "CFDataCreate"), false);
}

CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef, const UInt8 *bytes, CFIndex length,
                                      CFAllocatorRef bytesDeallocator) {
  __CFData *data = cfCreate<__CFData>(kDataTypeID);
  data->external = bytes;
  data->externalLength = checkLength(length, "CFDataCreateWithBytesNoCopy");
  data->deallocator = bytesDeallocator;
  return data;
}

CFDataRef CFDataCreateCopy(CFAllocatorRef, CFDataRef theData) {
  const __CFData *data = dataArg(theData, "CFDataCreateCopy");
  return create(data->data(), data->length(), false);
}

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef, CFIndex) { return create(nullptr, 0, true); }

CFMutableDataRef CFDataCreateMutableCopy(CFAllocatorRef, CFIndex, CFDataRef theData) {
  const __CFData *data = dataArg(theData, "CFDataCreateMutableCopy");
  return create(data->data(), data->length(), true);
}

CFIndex CFDataGetLength(CFDataRef theData) { return dataArg(theData, "CFDataGetLength")->length(); }

const UInt8 *CFDataGetBytePtr(CFDataRef theData) { return dataArg(theData, "CFDataGetBytePtr")->data(); }

UInt8 *CFDataGetMutableBytePtr(CFMutableDataRef theData) {
  requireMutable(theData, kDataTypeID, "CFDataGetMutableBytePtr");
  return theData->bytes.data();
}

void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8 *buffer) {
  const __CFData *data = dataArg(theData, "CFDataGetBytes");
  if (range.location < 0 || range.length < 0 || range.location + range.length > data->length())
    fatal("CFDataGetBytes(): range {%ld, %ld} beyond bounds of length %ld", range.location, range.length,
          data->length());
  if (range.length) std::memcpy(buffer, data->data() + range.location, static_cast<size_t>(range.length));
}

void CFDataAppendBytes(CFMutableDataRef theData, const UInt8 *bytes, CFIndex length) {
  requireMutable(theData, kDataTypeID, "CFDataAppendBytes");
  // Copied first: the bytes may be the data's own.
  std::vector<UInt8> appended(bytes, bytes + checkLength(length, "CFDataAppendBytes"));
  theData->bytes.insert(theData->bytes.end(), appended.begin(), appended.end());
}

}  // extern "C"
