// Property lists in the XML and binary v1.0 formats, parsed and written by
// libplist. libplist 2.2 passes dates only as whole seconds plus microseconds
// within 2^31 seconds of 2001, while binary property lists store the exact
// double; binary dates are therefore patched in the bytes after writing and
// recovered from the bytes when reading. XML dates keep whole seconds, as the
// Mac writes them. Limits that remain: integers are signed 64-bit, XML dates
// must lie within 2^31 seconds of 2001, and keyed-archiver UIDs are not read.

#include <plist/plist.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <unordered_map>
#include <utility>
#include <string>
#include <vector>

#include "CFInternal.h"

namespace emu {
namespace {

struct PlistFree {
  void operator()(void *node) const { plist_free(node); }
};
using Plist = std::unique_ptr<void, PlistFree>;

bool isLeafMutable(CFOptionFlags options) { return options & kCFPropertyListMutableContainersAndLeaves; }
bool isContainerMutable(CFOptionFlags options) {
  return options & (kCFPropertyListMutableContainers | kCFPropertyListMutableContainersAndLeaves);
}

void setError(CFErrorRef *error, CFIndex code, const std::string &debugDescription, CFErrorRef underlying = nullptr) {
  if (!error) return;
  CFMutableDictionaryRef info =
      CFDictionaryCreateMutable(nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFStringRef text = stringCreateUTF8(debugDescription);
  CFDictionarySetValue(info, CFSTR("NSDebugDescription"), text);
  if (underlying) CFDictionarySetValue(info, kCFErrorUnderlyingErrorKey, underlying);
  *error = CFErrorCreate(nullptr, kCFErrorDomainCocoa, code, info);
  CFRelease(text);
  CFRelease(info);
}

// ---- Dates in binary property lists

constexpr UInt8 kBinaryDateMarker = 0x33;  // an 8-byte big-endian double follows

uint64_t readBigEndian(const UInt8 *p, size_t size) {
  uint64_t value = 0;
  for (size_t i = 0; i < size; ++i) value = value << 8 | p[i];
  return value;
}

// Calls visit(pointer to the double) for every date object of a well-formed
// binary property list.
template <typename Visit>
void forEachBinaryDate(UInt8 *bytes, size_t length, Visit visit) {
  constexpr size_t kTrailerSize = 32;
  if (length < 8 + kTrailerSize) return;
  const UInt8 *trailer = bytes + length - kTrailerSize;
  size_t offsetSize = trailer[6];
  uint64_t count = readBigEndian(trailer + 8, 8), table = readBigEndian(trailer + 24, 8);
  if (offsetSize < 1 || offsetSize > 8 || table > length || count > (length - table) / offsetSize) return;
  for (uint64_t i = 0; i < count; ++i) {
    uint64_t offset = readBigEndian(bytes + table + i * offsetSize, offsetSize);
    if (offset < length - 8 && bytes[offset] == kBinaryDateMarker) visit(bytes + offset + 1);
  }
}

double dateValue(const UInt8 *p) {
  uint64_t bits = readBigEndian(p, 8);
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

void setDateValue(UInt8 *p, double value) {
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  for (int i = 7; i >= 0; --i, bits >>= 8) p[i] = static_cast<UInt8>(bits);
}

// What libplist's plist_get_date_val makes of a date: seconds truncated
// toward zero (INT32_MIN when out of range, as the x86 conversion gives) and
// the magnitude of the fraction in microseconds.
using LibplistDate = std::pair<int32_t, int32_t>;
LibplistDate libplistView(double value) {
  auto seconds = value >= -2147483648.0 && value < 2147483648.0 ? static_cast<int32_t>(value) : INT32_MIN;
  double whole = std::trunc(value);
  return {seconds, static_cast<int32_t>(std::fabs((value - whole) * 1000000))};
}

struct ReadContext {
  CFOptionFlags options;
  std::map<LibplistDate, double> exactDates;  // binary only
  std::string failure;
};

struct WriteContext {
  bool xml;
  std::vector<double> dates;  // binary only: placeholder n stands for dates[n]
  std::unordered_map<uint64_t, int32_t> placeholders;
  std::string failure;
};

// ---- Reading

CFTypeRef fromNode(plist_t node, ReadContext &context);

CFTypeRef containerFromNode(plist_t node, ReadContext &context) {
  CFOptionFlags options = context.options;
  std::vector<CFTypeRef> keys, values;
  bool ok = true;
  if (plist_get_node_type(node) == PLIST_ARRAY) {
    for (uint32_t i = 0, n = plist_array_get_size(node); ok && i < n; ++i) {
      CFTypeRef value = fromNode(plist_array_get_item(node, i), context);
      if (value) values.push_back(value);
      ok = value;
    }
  } else {
    plist_dict_iter iter = nullptr;
    plist_dict_new_iter(node, &iter);
    while (ok) {
      char *key = nullptr;
      plist_t item = nullptr;
      plist_dict_next_item(node, iter, &key, &item);
      if (!item) {
        std::free(key);
        break;
      }
      CFStringRef keyString = CFStringCreateWithCString(nullptr, key, kCFStringEncodingUTF8);
      std::free(key);
      CFTypeRef value = keyString ? fromNode(item, context) : nullptr;
      if (!keyString) context.failure = "a dictionary key is not valid UTF-8";
      if (keyString && value) {
        keys.push_back(keyString);
        values.push_back(value);
      } else if (keyString) {
        CFRelease(keyString);
      }
      ok = value;
    }
    std::free(iter);
  }
  CFTypeRef result = nullptr;
  if (ok) {
    CFIndex count = static_cast<CFIndex>(values.size());
    if (plist_get_node_type(node) == PLIST_ARRAY) {
      if (isContainerMutable(options)) {
        CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
        for (CFTypeRef value : values) CFArrayAppendValue(array, value);
        result = array;
      } else {
        result = CFArrayCreate(nullptr, values.data(), count, &kCFTypeArrayCallBacks);
      }
    } else {
      CFDictionaryRef dictionary = CFDictionaryCreate(nullptr, keys.data(), values.data(), count,
                                                      &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
      result = dictionary;
      if (isContainerMutable(options)) {
        result = CFDictionaryCreateMutableCopy(nullptr, 0, dictionary);
        CFRelease(dictionary);
      }
    }
  }
  for (CFTypeRef key : keys) CFRelease(key);
  for (CFTypeRef value : values) CFRelease(value);
  return result;
}

// +1, or NULL with context.failure set.
CFTypeRef fromNode(plist_t node, ReadContext &context) {
  CFOptionFlags options = context.options;
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      uint8_t value = 0;
      plist_get_bool_val(node, &value);
      return value ? kCFBooleanTrue : kCFBooleanFalse;
    }
    case PLIST_UINT: {
      uint64_t raw = 0;
      plist_get_uint_val(node, &raw);
      auto value = static_cast<int64_t>(raw);
      return CFNumberCreate(nullptr, kCFNumberSInt64Type, &value);
    }
    case PLIST_REAL: {
      double value = 0;
      plist_get_real_val(node, &value);
      return CFNumberCreate(nullptr, kCFNumberFloat64Type, &value);
    }
    case PLIST_DATE: {
      int32_t seconds = 0, microseconds = 0;
      plist_get_date_val(node, &seconds, &microseconds);
      auto exact = context.exactDates.find({seconds, microseconds});
      double fraction = microseconds / 1e6;
      return CFDateCreate(nullptr, exact != context.exactDates.end() ? exact->second
                                   : seconds < 0                     ? seconds - fraction
                                                                     : seconds + fraction);
    }
    case PLIST_STRING: {
      uint64_t length = 0;
      const char *text = plist_get_string_ptr(node, &length);
      CFStringRef string = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8 *>(text),
                                                   static_cast<CFIndex>(length), kCFStringEncodingUTF8, false);
      if (!string) {
        context.failure = "a string is not valid UTF-8";
      } else if (isLeafMutable(options)) {
        CFMutableStringRef copy = CFStringCreateMutableCopy(nullptr, 0, string);
        CFRelease(string);
        return copy;
      }
      return string;
    }
    case PLIST_DATA: {
      uint64_t length = 0;
      const char *bytes = plist_get_data_ptr(node, &length);
      CFDataRef data = CFDataCreate(nullptr, reinterpret_cast<const UInt8 *>(bytes), static_cast<CFIndex>(length));
      if (!isLeafMutable(options)) return data;
      CFMutableDataRef copy = CFDataCreateMutableCopy(nullptr, 0, data);
      CFRelease(data);
      return copy;
    }
    case PLIST_ARRAY:
    case PLIST_DICT:
      return containerFromNode(node, context);
    default:
      context.failure = "it contains a keyed-archiver UID, which cannot be read here";
      return nullptr;
  }
}

CFPropertyListRef createFromBytes(const UInt8 *bytes, CFIndex length, CFOptionFlags options,
                                  CFPropertyListFormat *format, CFErrorRef *error) {
  if (length <= 0) {
    setError(error, kCFPropertyListReadCorruptError, "Cannot parse a NULL or zero-length data");
    return nullptr;
  }
  if (static_cast<uint64_t>(length) > UINT32_MAX) {
    setError(error, kCFPropertyListReadCorruptError, "Property list data is too large");
    return nullptr;
  }
  auto text = reinterpret_cast<const char *>(bytes);
  auto size = static_cast<uint32_t>(length);
  bool binary = plist_is_binary(text, size);
  plist_t root = nullptr;
  if (binary) {
    plist_from_bin(text, size, &root);
  } else {
    plist_from_xml(text, size, &root);
  }
  Plist owner(root);
  if (!root) {
    setError(error, kCFPropertyListReadCorruptError,
             binary ? "Binary property list data is corrupt"
                    : "Data is neither a well-formed XML property list nor a binary property list");
    return nullptr;
  }
  ReadContext context{options, {}, {}};
  if (binary) {
    forEachBinaryDate(const_cast<UInt8 *>(bytes), static_cast<size_t>(length), [&](const UInt8 *date) {
      double value = dateValue(date);
      context.exactDates.emplace(libplistView(value), value);
    });
  }
  CFPropertyListRef result = fromNode(root, context);
  if (!result) {
    setError(error, kCFPropertyListReadCorruptError, "Property list cannot be read: " + context.failure);
    return nullptr;
  }
  if (format) *format = binary ? kCFPropertyListBinaryFormat_v1_0 : kCFPropertyListXMLFormat_v1_0;
  return result;
}

// ---- Validation and writing

std::string className(CFTypeRef cf) {
  return _CFRuntimeGetClassWithTypeID(CFGetTypeID(cf))->className;
}

// Returns "" when valid, else why not. `path` holds the containers above plist.
std::string invalidReason(CFPropertyListRef plist, CFPropertyListFormat format, std::vector<CFTypeRef> &path) {
  if (!plist) return "property lists cannot contain NULL";
  CFTypeID type = CFGetTypeID(plist);
  if (type == kStringTypeID || type == kDataTypeID) return "";
  if (format != kCFPropertyListOpenStepFormat &&
      (type == kNumberTypeID || type == kBooleanTypeID || type == kDateTypeID))
    return "";
  if (type != kArrayTypeID && type != kDictionaryTypeID)
    return "property lists cannot contain objects of type '" + className(plist) + "'";
  for (CFTypeRef container : path)
    if (container == plist) return "property lists cannot contain recursive container references";
  path.push_back(plist);
  std::string reason;
  if (type == kArrayTypeID) {
    auto array = static_cast<CFArrayRef>(plist);
    for (CFIndex i = 0; reason.empty() && i < CFArrayGetCount(array); ++i)
      reason = invalidReason(CFArrayGetValueAtIndex(array, i), format, path);
  } else {
    auto dictionary = static_cast<CFDictionaryRef>(plist);
    std::vector<const void *> keys(static_cast<size_t>(CFDictionaryGetCount(dictionary)));
    std::vector<const void *> values(keys.size());
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    for (size_t i = 0; reason.empty() && i < keys.size(); ++i) {
      if (!keys[i] || CFGetTypeID(keys[i]) != kStringTypeID)
        reason = "property list dictionaries may only have keys which are CFStrings, not '" +
                 (keys[i] ? className(keys[i]) : std::string("NULL")) + "'";
      else
        reason = invalidReason(values[i], format, path);
    }
  }
  path.pop_back();
  return reason;
}

// The XML writer sorts dictionary keys, as the Mac's does; binary output
// keeps insertion order. Returns NULL with context.failure set.
plist_t toNode(CFPropertyListRef plist, WriteContext &context) {
  CFTypeID type = CFGetTypeID(plist);
  if (type == kStringTypeID) return plist_new_string(stringUTF8(static_cast<CFStringRef>(plist)).c_str());
  if (type == kBooleanTypeID) return plist_new_bool(CFBooleanGetValue(static_cast<CFBooleanRef>(plist)));
  if (type == kDataTypeID) {
    auto data = static_cast<CFDataRef>(plist);
    return plist_new_data(reinterpret_cast<const char *>(CFDataGetBytePtr(data)),
                          static_cast<uint64_t>(CFDataGetLength(data)));
  }
  if (type == kNumberTypeID) {
    auto number = static_cast<CFNumberRef>(plist);
    if (CFNumberIsFloatType(number)) {
      double value;
      CFNumberGetValue(number, kCFNumberFloat64Type, &value);
      return plist_new_real(value);
    }
    int64_t value;
    CFNumberGetValue(number, kCFNumberSInt64Type, &value);
    return plist_new_uint(static_cast<uint64_t>(value));
  }
  if (type == kDateTypeID) {
    double time = CFDateGetAbsoluteTime(static_cast<CFDateRef>(plist));
    if (!context.xml) {
      uint64_t bits;
      std::memcpy(&bits, &time, sizeof bits);
      auto placeholder = context.placeholders.emplace(bits, static_cast<int32_t>(context.dates.size()));
      if (placeholder.second) context.dates.push_back(time);
      return plist_new_date(placeholder.first->second, 0);
    }
    double seconds = std::floor(time);
    long microseconds = std::lround((time - seconds) * 1e6);
    if (microseconds == 1000000) seconds += 1, microseconds = 0;
    if (!(seconds >= INT32_MIN && seconds <= INT32_MAX)) {
      context.failure = strprintf("date %.0f is outside the range that can be written", time);
      return nullptr;
    }
    return plist_new_date(static_cast<int32_t>(seconds), static_cast<int32_t>(microseconds));
  }
  if (type == kArrayTypeID) {
    auto array = static_cast<CFArrayRef>(plist);
    Plist node(plist_new_array());
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
      plist_t item = toNode(CFArrayGetValueAtIndex(array, i), context);
      if (!item) return nullptr;
      plist_array_append_item(node.get(), item);
    }
    return node.release();
  }
  auto dictionary = static_cast<CFDictionaryRef>(plist);
  std::vector<const void *> keys(static_cast<size_t>(CFDictionaryGetCount(dictionary)));
  CFDictionaryGetKeysAndValues(dictionary, keys.data(), nullptr);
  if (context.xml) {
    std::sort(keys.begin(), keys.end(), [](const void *a, const void *b) {
      return CFStringCompare(static_cast<CFStringRef>(a), static_cast<CFStringRef>(b), 0) == kCFCompareLessThan;
    });
  }
  Plist node(plist_new_dict());
  for (const void *key : keys) {
    plist_t item = toNode(CFDictionaryGetValue(dictionary, key), context);
    if (!item) return nullptr;
    plist_dict_set_item(node.get(), stringUTF8(static_cast<CFStringRef>(key)).c_str(), item);
  }
  return node.release();
}

bool serialize(CFPropertyListRef plist, CFPropertyListFormat format, std::string &out, CFErrorRef *error) {
  if (format == kCFPropertyListOpenStepFormat) {
    std::fputs("CoreFoundation: Property list format kCFPropertyListOpenStepFormat not supported for writing\n", stderr);
    return false;
  }
  if (format != kCFPropertyListXMLFormat_v1_0 && format != kCFPropertyListBinaryFormat_v1_0)
    fatal("unknown property list format %ld", format);
  std::vector<CFTypeRef> path;
  WriteContext context{format == kCFPropertyListXMLFormat_v1_0, {}, {}, invalidReason(plist, format, path)};
  if (context.failure.empty()) {
    Plist root(toNode(plist, context));
    if (root) {
      char *bytes = nullptr;
      uint32_t length = 0;
      if (context.xml) {
        plist_to_xml(root.get(), &bytes, &length);
      } else {
        plist_to_bin(root.get(), &bytes, &length);
        forEachBinaryDate(reinterpret_cast<UInt8 *>(bytes), length, [&](UInt8 *date) {
          auto placeholder = static_cast<size_t>(dateValue(date));
          if (placeholder < context.dates.size()) setDateValue(date, context.dates[placeholder]);
        });
      }
      out.assign(bytes, length);
      std::free(bytes);
      return true;
    }
  }
  const std::string &reason = context.failure;
  setError(error, kCFPropertyListWriteStreamError,
           strprintf("Property list invalid for format: %ld (%s)", format, reason.c_str()));
  return false;
}

}  // namespace
}  // namespace emu

using namespace emu;

extern "C" {

CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef, CFDataRef data, CFOptionFlags options,
                                               CFPropertyListFormat *format, CFErrorRef *error) {
  return createFromBytes(CFDataGetBytePtr(data), CFDataGetLength(data), options, format, error);
}

CFPropertyListRef CFPropertyListCreateWithStream(CFAllocatorRef, CFReadStreamRef stream, CFIndex streamLength,
                                                 CFOptionFlags options, CFPropertyListFormat *format,
                                                 CFErrorRef *error) {
  std::vector<UInt8> bytes;
  UInt8 buffer[8192];
  CFIndex remaining = streamLength > 0 ? streamLength : LONG_MAX;
  while (remaining > 0) {
    CFIndex count = CFReadStreamRead(stream, buffer, std::min<CFIndex>(sizeof buffer, remaining));
    if (count < 0) {
      CFErrorRef underlying = CFReadStreamCopyError(stream);
      setError(error, kCFPropertyListReadStreamError,
               "Property list reading could not be completed because the stream had an unknown error. Did you "
               "forget to open the stream?",
               underlying);
      if (underlying) CFRelease(underlying);
      return nullptr;
    }
    if (count == 0) break;
    bytes.insert(bytes.end(), buffer, buffer + count);
    remaining -= count;
  }
  if (bytes.size() < 6) {
    setError(error, kCFPropertyListReadCorruptError, "stream had too few bytes");
    return nullptr;
  }
  return createFromBytes(bytes.data(), static_cast<CFIndex>(bytes.size()), options, format, error);
}

CFDataRef CFPropertyListCreateData(CFAllocatorRef, CFPropertyListRef propertyList, CFPropertyListFormat format,
                                   CFOptionFlags, CFErrorRef *error) {
  std::string bytes;
  if (!serialize(propertyList, format, bytes, error)) return nullptr;
  return CFDataCreate(nullptr, reinterpret_cast<const UInt8 *>(bytes.data()), static_cast<CFIndex>(bytes.size()));
}

CFIndex CFPropertyListWrite(CFPropertyListRef propertyList, CFWriteStreamRef stream, CFPropertyListFormat format,
                            CFOptionFlags, CFErrorRef *error) {
  std::string bytes;
  if (!serialize(propertyList, format, bytes, error)) return 0;
  CFIndex length = static_cast<CFIndex>(bytes.size());
  if (CFWriteStreamWrite(stream, reinterpret_cast<const UInt8 *>(bytes.data()), length) != length) {
    CFErrorRef underlying = CFWriteStreamCopyError(stream);
    setError(error, kCFPropertyListWriteStreamError,
             "Property list writing could not be completed because the stream had an unknown error.", underlying);
    if (underlying) CFRelease(underlying);
    return 0;
  }
  return length;
}

CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef, CFPropertyListRef propertyList,
                                               CFOptionFlags mutabilityOption) {
  if (!CFPropertyListIsValid(propertyList, kCFPropertyListBinaryFormat_v1_0)) return nullptr;
  CFTypeID type = CFGetTypeID(propertyList);
  if (type == kStringTypeID) {
    auto string = static_cast<CFStringRef>(propertyList);
    return isLeafMutable(mutabilityOption) ? CFStringCreateMutableCopy(nullptr, 0, string)
                                           : CFStringCreateCopy(nullptr, string);
  }
  if (type == kDataTypeID) {
    auto data = static_cast<CFDataRef>(propertyList);
    return isLeafMutable(mutabilityOption) ? CFDataCreateMutableCopy(nullptr, 0, data) : CFDataCreateCopy(nullptr, data);
  }
  if (type == kNumberTypeID) {
    auto number = static_cast<CFNumberRef>(propertyList);
    alignas(8) unsigned char value[8];
    CFNumberGetValue(number, CFNumberGetType(number), value);
    return CFNumberCreate(nullptr, CFNumberGetType(number), value);
  }
  if (type == kDateTypeID) return CFDateCreate(nullptr, CFDateGetAbsoluteTime(static_cast<CFDateRef>(propertyList)));
  if (type == kBooleanTypeID) return CFRetain(propertyList);
  if (type == kArrayTypeID) {
    auto array = static_cast<CFArrayRef>(propertyList);
    CFMutableArrayRef copy = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
      CFTypeRef value = CFPropertyListCreateDeepCopy(nullptr, CFArrayGetValueAtIndex(array, i), mutabilityOption);
      CFArrayAppendValue(copy, value);
      CFRelease(value);
    }
    if (isContainerMutable(mutabilityOption)) return copy;
    CFArrayRef immutable = CFArrayCreateCopy(nullptr, copy);
    CFRelease(copy);
    return immutable;
  }
  auto dictionary = static_cast<CFDictionaryRef>(propertyList);
  CFMutableDictionaryRef copy =
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  std::vector<const void *> keys(static_cast<size_t>(CFDictionaryGetCount(dictionary)));
  std::vector<const void *> values(keys.size());
  CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
  for (size_t i = 0; i < keys.size(); ++i) {
    CFStringRef key = CFStringCreateCopy(nullptr, static_cast<CFStringRef>(keys[i]));
    CFTypeRef value = CFPropertyListCreateDeepCopy(nullptr, values[i], mutabilityOption);
    CFDictionarySetValue(copy, key, value);
    CFRelease(key);
    CFRelease(value);
  }
  if (isContainerMutable(mutabilityOption)) return copy;
  CFDictionaryRef immutable = CFDictionaryCreateCopy(nullptr, copy);
  CFRelease(copy);
  return immutable;
}

Boolean CFPropertyListIsValid(CFPropertyListRef plist, CFPropertyListFormat format) {
  std::vector<CFTypeRef> path;
  return invalidReason(plist, format, path).empty();
}

}  // extern "C"
