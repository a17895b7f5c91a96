// The object runtime: class table, reference counting, the generic CFType
// operations, allocators and kCFNull.

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include <emu/ObjectCounts.h>

#include "CFInternal.h"

struct __CFAllocator {
  CFRuntimeBase base;
};

struct __CFNull {
  CFRuntimeBase base;
};

namespace emu {
namespace {

std::atomic<long> gLiveObjects{0};

constexpr CFTypeID kMaxClasses = 256;
std::mutex gRegisterMutex;
CFTypeID gClassCount = kBuiltinTypeCount;
const CFRuntimeClass *gClasses[kMaxClasses] = {
    nullptr,        &kAllocatorClass, &kNullClass, &kStringClass, &kNumberClass, &kBooleanClass,
    &kDataClass,    &kArrayClass,     &kDictionaryClass, &kDateClass, &kErrorClass, &kUUIDClass,
    &kURLClass,     &kReadStreamClass, &kWriteStreamClass, &kLocaleClass, &kDateFormatterClass,
};

// What the Mac reports as the retain count of objects that are never freed.
constexpr CFIndex kConstantRetainCount = 0x0FFFFFFFFFFFFFFF;

CFRuntimeBase *header(CFTypeRef cf, const char *function) {
  if (!cf) fatal("%s() called with NULL", function);
  auto *base = static_cast<CFRuntimeBase *>(const_cast<void *>(cf));
  if (base->_typeID == _kCFRuntimeNotATypeID || base->_typeID >= kMaxClasses || !gClasses[base->_typeID])
    fatal("%s() called with %p, which is not a CF object", function, cf);
  return base;
}

const CFRuntimeClass *classOf(CFTypeRef cf, const char *function) { return gClasses[header(cf, function)->_typeID]; }

const __CFAllocator kSystemDefaultAllocator{constantBase(kAllocatorTypeID)};
const __CFAllocator kMallocAllocator{constantBase(kAllocatorTypeID)};
const __CFAllocator kNullAllocator{constantBase(kAllocatorTypeID)};

}  // namespace

void fatal(const char *format, ...) {
  va_list args;
  va_start(args, format);
  std::fputs("CoreFoundation: ", stderr);
  std::vfprintf(stderr, format, args);
  std::fputc('\n', stderr);
  va_end(args);
  std::abort();
}

void requireType(CFTypeRef cf, CFTypeID typeID, const char *function) {
  CFTypeID actual = header(cf, function)->_typeID;
  if (actual != typeID)
    fatal("%s() called with a %s where a %s is required", function, gClasses[actual]->className,
          gClasses[typeID]->className);
}

bool isMutable(CFTypeRef cf) { return static_cast<const CFRuntimeBase *>(cf)->_info & kMutableInfo; }

void setMutable(CFTypeRef cf) { static_cast<CFRuntimeBase *>(const_cast<void *>(cf))->_info |= kMutableInfo; }

void requireMutable(CFTypeRef cf, CFTypeID typeID, const char *function) {
  requireType(cf, typeID, function);
  if (!isMutable(cf)) fatal("%s(): mutating method sent to immutable object %p", function, cf);
}

void makeConstant(CFTypeRef cf) {
  static_cast<CFRuntimeBase *>(const_cast<void *>(cf))->_flags |= kCFRuntimeConstantObject;
  gLiveObjects.fetch_sub(1, std::memory_order_relaxed);
}

std::string strprintf(const char *format, ...) {
  va_list args;
  va_start(args, format);
  va_list copy;
  va_copy(copy, args);
  int length = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  std::string result(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(result.data(), result.size() + 1, format, args);
  va_end(args);
  return result;
}

std::string descriptionPrefix(CFTypeRef cf) {
  return strprintf("<%s 0x%lx [0x%lx]>", classOf(cf, "CFCopyDescription")->className,
                   reinterpret_cast<unsigned long>(cf), reinterpret_cast<unsigned long>(&kSystemDefaultAllocator));
}

std::u16string formattingDescription(CFTypeRef cf) {
  const CFRuntimeClass *cls = classOf(cf, "CFCopyDescription");
  CFStringRef description = cls->copyFormattingDesc ? cls->copyFormattingDesc(cf, nullptr) : nullptr;
  if (!description) description = CFCopyDescription(cf);
  std::u16string result = stringChars(description);
  CFRelease(description);
  return result;
}

const void *typeRetain(CFAllocatorRef, const void *value) { return CFRetain(value); }

void typeRelease(CFAllocatorRef, const void *value) { CFRelease(value); }

void deallocateBytes(CFAllocatorRef deallocator, const void *bytes) {
  if (deallocator != kCFAllocatorNull) std::free(const_cast<void *>(bytes));
}

const CFRuntimeClass kAllocatorClass = {"CFAllocator", nullptr, nullptr, nullptr, nullptr, nullptr};

// kCFNull

static CFStringRef nullCopyFormattingDesc(CFTypeRef, CFDictionaryRef) { return CFSTR("<null>"); }

const CFRuntimeClass kNullClass = {"CFNull", nullptr, nullptr, nullptr, nullCopyFormattingDesc, nullptr};

static const __CFNull kNullObject{constantBase(kNullTypeID)};

}  // namespace emu

using namespace emu;

extern "C" {

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFAllocatorRef kCFAllocatorSystemDefault = &kSystemDefaultAllocator;
const CFAllocatorRef kCFAllocatorMalloc = &kMallocAllocator;
const CFAllocatorRef kCFAllocatorNull = &kNullAllocator;
const CFNullRef kCFNull = &kNullObject;

long emu_cf_live_objects(void) { return gLiveObjects.load(std::memory_order_relaxed); }

CFTypeID _CFRuntimeRegisterClass(const CFRuntimeClass *cls) {
  std::lock_guard<std::mutex> lock(gRegisterMutex);
  if (gClassCount == kMaxClasses) return _kCFRuntimeNotATypeID;
  gClasses[gClassCount] = cls;
  return gClassCount++;
}

const CFRuntimeClass *_CFRuntimeGetClassWithTypeID(CFTypeID typeID) {
  return typeID < kMaxClasses ? gClasses[typeID] : nullptr;
}

CFTypeRef _CFRuntimeCreateInstance(CFAllocatorRef, CFTypeID typeID, CFIndex extraBytes) {
  if (typeID == _kCFRuntimeNotATypeID || typeID >= kMaxClasses || !gClasses[typeID] || extraBytes < 0)
    fatal("_CFRuntimeCreateInstance() called with unregistered type %lu", typeID);
  auto *base = static_cast<CFRuntimeBase *>(std::calloc(1, sizeof(CFRuntimeBase) + static_cast<size_t>(extraBytes)));
  if (!base) fatal("out of memory");
  base->_typeID = typeID;
  base->_rc = 1;
  gLiveObjects.fetch_add(1, std::memory_order_relaxed);
  return base;
}

CFTypeID CFAllocatorGetTypeID(void) { return kAllocatorTypeID; }
CFTypeID CFNullGetTypeID(void) { return kNullTypeID; }

CFTypeID CFGetTypeID(CFTypeRef cf) { return header(cf, "CFGetTypeID")->_typeID; }

CFStringRef CFCopyTypeIDDescription(CFTypeID typeID) {
  const CFRuntimeClass *cls = _CFRuntimeGetClassWithTypeID(typeID);
  return cls ? CFStringCreateWithCString(nullptr, cls->className, kCFStringEncodingUTF8) : nullptr;
}

CFTypeRef CFRetain(CFTypeRef cf) {
  CFRuntimeBase *base = header(cf, "CFRetain");
  if (!(base->_flags & kCFRuntimeConstantObject)) __atomic_fetch_add(&base->_rc, 1, __ATOMIC_RELAXED);
  return cf;
}

void CFRelease(CFTypeRef cf) {
  CFRuntimeBase *base = header(cf, "CFRelease");
  if (base->_flags & kCFRuntimeConstantObject) return;
  int64_t remaining = __atomic_sub_fetch(&base->_rc, 1, __ATOMIC_ACQ_REL);
  if (remaining > 0) return;
  if (remaining < 0) fatal("CFRelease() called on %p, which was already freed", cf);
  const CFRuntimeClass *cls = gClasses[base->_typeID];
  if (cls->finalize) cls->finalize(cf);
  std::free(base);
  gLiveObjects.fetch_sub(1, std::memory_order_relaxed);
}

CFIndex CFGetRetainCount(CFTypeRef cf) {
  CFRuntimeBase *base = header(cf, "CFGetRetainCount");
  if (base->_flags & kCFRuntimeConstantObject) return kConstantRetainCount;
  return static_cast<CFIndex>(__atomic_load_n(&base->_rc, __ATOMIC_RELAXED));
}

Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2) {
  const CFRuntimeClass *cls = classOf(cf1, "CFEqual");
  classOf(cf2, "CFEqual");
  if (cf1 == cf2) return true;
  if (CFGetTypeID(cf1) != CFGetTypeID(cf2)) return false;
  return cls->equal && cls->equal(cf1, cf2);
}

CFHashCode CFHash(CFTypeRef cf) {
  const CFRuntimeClass *cls = classOf(cf, "CFHash");
  return cls->hash ? cls->hash(cf) : reinterpret_cast<CFHashCode>(cf);
}

CFStringRef CFCopyDescription(CFTypeRef cf) {
  if (!cf) return nullptr;
  const CFRuntimeClass *cls = classOf(cf, "CFCopyDescription");
  if (cls->copyDebugDesc) return cls->copyDebugDesc(cf);
  return stringCreateUTF8(descriptionPrefix(cf));
}

CFAllocatorRef CFGetAllocator(CFTypeRef cf) {
  header(cf, "CFGetAllocator");
  return kCFAllocatorSystemDefault;
}

void CFShow(CFTypeRef obj) {
  std::string text;
  if (!obj) {
    text = "(null)";
  } else if (CFGetTypeID(obj) == kStringTypeID) {
    text = stringUTF8(static_cast<CFStringRef>(obj));
  } else {
    CFStringRef description = CFCopyDescription(obj);
    text = stringUTF8(description);
    CFRelease(description);
  }
  std::fprintf(stderr, "%s\n", text.c_str());
}

}  // extern "C"
