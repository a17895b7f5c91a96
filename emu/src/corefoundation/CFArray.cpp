// CFArray: values kept in order, retained and compared through the array's
// callbacks (none: plain pointers).

#include <vector>

#include "CFInternal.h"

struct __CFArray {
  CFRuntimeBase base;
  CFArrayCallBacks callBacks;
  std::vector<const void *> values;

  const void *retain(const void *value) const { return callBacks.retain ? callBacks.retain(nullptr, value) : value; }
  void release(const void *value) const {
    if (callBacks.release) callBacks.release(nullptr, value);
  }
  bool equal(const void *a, const void *b) const { return a == b || (callBacks.equal && callBacks.equal(a, b)); }
  ~__CFArray() {
    for (const void *value : values) release(value);
  }
};

namespace emu {
namespace {

const __CFArray *arrayArg(CFArrayRef array, const char *function) {
  requireType(array, kArrayTypeID, function);
  return array;
}

__CFArray *mutableArrayArg(CFMutableArrayRef array, const char *function) {
  requireMutable(array, kArrayTypeID, function);
  return array;
}

void checkIndex(const __CFArray *array, CFIndex idx, size_t limit, const char *function) {
  if (idx < 0 || static_cast<size_t>(idx) >= limit)
    fatal("%s(): index %ld beyond bounds [0 .. %ld] of array %p", function, idx, static_cast<long>(limit) - 1,
          static_cast<const void *>(array));
}

void checkRange(const __CFArray *array, CFRange range, const char *function) {
  if (range.location < 0 || range.length < 0 || static_cast<size_t>(range.location + range.length) > array->values.size())
    fatal("%s(): range {%ld, %ld} beyond bounds of array %p with %zu values", function, range.location, range.length,
          static_cast<const void *>(array), array->values.size());
}

__CFArray *create(const CFArrayCallBacks *callBacks, const void *const *values, size_t count, bool isMutable) {
  __CFArray *array = cfCreate<__CFArray>(kArrayTypeID);
  if (callBacks) array->callBacks = *callBacks;
  array->values.reserve(count);
  for (size_t i = 0; i < count; ++i) array->values.push_back(array->retain(values[i]));
  if (isMutable) setMutable(array);
  return array;
}

Boolean arrayEqual(CFTypeRef a, CFTypeRef b) {
  auto x = static_cast<CFArrayRef>(a), y = static_cast<CFArrayRef>(b);
  if (x->values.size() != y->values.size()) return false;
  for (size_t i = 0; i < x->values.size(); ++i)
    if (!x->equal(x->values[i], y->values[i])) return false;
  return true;
}

CFHashCode arrayHash(CFTypeRef cf) { return static_cast<CFArrayRef>(cf)->values.size(); }

CFStringRef arrayCopyDebugDesc(CFTypeRef cf) {
  auto array = static_cast<CFArrayRef>(cf);
  std::u16string text = utf16FromUTF8(descriptionPrefix(cf) + strprintf("{type = %s, count = %zu, values = (\n",
                                                                        isMutable(cf) ? "mutable-small" : "immutable",
                                                                        array->values.size()));
  for (size_t i = 0; i < array->values.size(); ++i) {
    text += utf16FromUTF8(strprintf("\t%zu : ", i));
    const void *value = array->values[i];
    CFStringRef description = array->callBacks.copyDescription ? array->callBacks.copyDescription(value) : nullptr;
    if (description) {
      text += stringChars(description);
      CFRelease(description);
    } else {
      text += utf16FromUTF8(strprintf("<0x%lx>", reinterpret_cast<unsigned long>(value)));
    }
    text += u"\n";
  }
  return stringCreate(text + u")}", false);
}

}  // namespace

const CFRuntimeClass kArrayClass = {"CFArray", cfFinalize<__CFArray>, arrayEqual, arrayHash, nullptr,
                                    arrayCopyDebugDesc};

}  // namespace emu

using namespace emu;

extern "C" {

const CFArrayCallBacks kCFTypeArrayCallBacks = {0, typeRetain, typeRelease, CFCopyDescription, CFEqual};

CFTypeID CFArrayGetTypeID(void) { return kArrayTypeID; }

CFArrayRef CFArrayCreate(CFAllocatorRef, const void **values, CFIndex numValues, const CFArrayCallBacks *callBacks) {
  if (numValues < 0) fatal("CFArrayCreate() called with negative count %ld", numValues);
  return create(callBacks, values, static_cast<size_t>(numValues), false);
}

CFArrayRef CFArrayCreateCopy(CFAllocatorRef, CFArrayRef theArray) {
  const __CFArray *array = arrayArg(theArray, "CFArrayCreateCopy");
  return create(&array->callBacks, array->values.data(), array->values.size(), false);
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex, const CFArrayCallBacks *callBacks) {
  return create(callBacks, nullptr, 0, true);
}

CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef, CFIndex, CFArrayRef theArray) {
  const __CFArray *array = arrayArg(theArray, "CFArrayCreateMutableCopy");
  return create(&array->callBacks, array->values.data(), array->values.size(), true);
}

CFIndex CFArrayGetCount(CFArrayRef theArray) {
  return static_cast<CFIndex>(arrayArg(theArray, "CFArrayGetCount")->values.size());
}

const void *CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx) {
  const __CFArray *array = arrayArg(theArray, "CFArrayGetValueAtIndex");
  checkIndex(array, idx, array->values.size(), "CFArrayGetValueAtIndex");
  return array->values[static_cast<size_t>(idx)];
}

void CFArrayGetValues(CFArrayRef theArray, CFRange range, const void **values) {
  const __CFArray *array = arrayArg(theArray, "CFArrayGetValues");
  checkRange(array, range, "CFArrayGetValues");
  for (CFIndex i = 0; i < range.length; ++i) values[i] = array->values[static_cast<size_t>(range.location + i)];
}

CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef theArray, CFRange range, const void *value) {
  const __CFArray *array = arrayArg(theArray, "CFArrayGetFirstIndexOfValue");
  checkRange(array, range, "CFArrayGetFirstIndexOfValue");
  for (CFIndex i = range.location; i < range.location + range.length; ++i)
    if (array->equal(array->values[static_cast<size_t>(i)], value)) return i;
  return kCFNotFound;
}

Boolean CFArrayContainsValue(CFArrayRef theArray, CFRange range, const void *value) {
  return CFArrayGetFirstIndexOfValue(theArray, range, value) != kCFNotFound;
}

void CFArrayApplyFunction(CFArrayRef theArray, CFRange range, CF_NOESCAPE CFArrayApplierFunction applier, void *context) {
  const __CFArray *array = arrayArg(theArray, "CFArrayApplyFunction");
  checkRange(array, range, "CFArrayApplyFunction");
  for (CFIndex i = range.location; i < range.location + range.length; ++i)
    applier(array->values[static_cast<size_t>(i)], context);
}

void CFArrayAppendValue(CFMutableArrayRef theArray, const void *value) {
  __CFArray *array = mutableArrayArg(theArray, "CFArrayAppendValue");
  array->values.push_back(array->retain(value));
}

void CFArrayInsertValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void *value) {
  __CFArray *array = mutableArrayArg(theArray, "CFArrayInsertValueAtIndex");
  checkIndex(array, idx, array->values.size() + 1, "CFArrayInsertValueAtIndex");
  array->values.insert(array->values.begin() + idx, array->retain(value));
}

void CFArrayRemoveValueAtIndex(CFMutableArrayRef theArray, CFIndex idx) {
  __CFArray *array = mutableArrayArg(theArray, "CFArrayRemoveValueAtIndex");
  checkIndex(array, idx, array->values.size(), "CFArrayRemoveValueAtIndex");
  const void *value = array->values[static_cast<size_t>(idx)];
  array->values.erase(array->values.begin() + idx);
  array->release(value);
}

}  // extern "C"
