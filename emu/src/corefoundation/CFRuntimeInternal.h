#pragma once
// The CF object runtime, for the other emulated frameworks. It makes their
// opaque types (SCPreferencesRef, SecCertificateRef, ...) real CF types, so
// CFRetain, CFRelease, CFGetTypeID, CFEqual, CFHash, CFCopyDescription and
// CFShow work on them and they count in emu_cf_live_objects().
//
// 1. Lay the instance out with the header first:
//      struct __SCPreferences { CFRuntimeBase base; CFStringRef name; ... };
// 2. Describe the class once; NULL callbacks get the defaults (equal is
//    identity, hash is the address, both descriptions are
//    "<ClassName 0x... [0x...]>"):
//      static const CFRuntimeClass kSCPreferencesClass = {
//          "SCPreferences", finalize, NULL, NULL, NULL, copyDebugDesc};
// 3. Register it once and hand out the id:
//      CFTypeID SCPreferencesGetTypeID(void) {
//        static CFTypeID id;  // C++: static const CFTypeID id = _CFRuntimeRegisterClass(...)
//        static pthread_once_t once = PTHREAD_ONCE_INIT; ...
//      }
// 4. Create instances: zero-filled after the header, retain count 1.
//      struct __SCPreferences *p = (struct __SCPreferences *)_CFRuntimeCreateInstance(
//          NULL, SCPreferencesGetTypeID(), sizeof(*p) - sizeof(CFRuntimeBase));
// The last CFRelease calls finalize (which releases what the fields own) and
// frees the memory. C++ classes may hold non-trivial members: create them with
// emu::cfCreate<T>() and use emu::cfFinalize<T> as finalize (see below).

#include <CoreFoundation/CoreFoundation.h>

CF_EXTERN_C_BEGIN

typedef struct __CFRuntimeBase {
  CFTypeID _typeID;
  int64_t _rc;      // updated atomically
  uint32_t _flags;  // kCFRuntimeConstantObject
  uint32_t _info;   // free for the class to use
} CFRuntimeBase;

// Set in _flags of objects that live for the whole process (literals, the
// booleans, kCFNull): retain and release do nothing, they are not counted.
enum { kCFRuntimeConstantObject = 1u };

typedef struct {
  const char *className;
  void (*finalize)(CFTypeRef cf);
  Boolean (*equal)(CFTypeRef cf1, CFTypeRef cf2);  // only called for two instances of the class
  CFHashCode (*hash)(CFTypeRef cf);
  // What %@ shows; NULL falls back to copyDebugDesc.
  CFStringRef (*copyFormattingDesc)(CFTypeRef cf, CFDictionaryRef formatOptions);
  // What CFCopyDescription returns.
  CFStringRef (*copyDebugDesc)(CFTypeRef cf);
} CFRuntimeClass;

enum { _kCFRuntimeNotATypeID = 0 };

// Thread-safe. The class description must outlive the process. Returns
// _kCFRuntimeNotATypeID once the class table is full.
CF_EXPORT CFTypeID _CFRuntimeRegisterClass(const CFRuntimeClass *cls);
CF_EXPORT const CFRuntimeClass *_CFRuntimeGetClassWithTypeID(CFTypeID typeID);
// extraBytes: the size of the instance beyond CFRuntimeBase.
CF_EXPORT CFTypeRef _CFRuntimeCreateInstance(CFAllocatorRef allocator, CFTypeID typeID, CFIndex extraBytes);

CF_EXTERN_C_END

#if defined(__cplusplus)
#include <new>
#include <utility>

namespace emu {

// Creates a CF instance of a C++ type whose first member is `CFRuntimeBase base`.
template <typename T, typename... Args>
T *cfCreate(CFTypeID typeID, Args &&...args) {
  void *memory = const_cast<void *>(_CFRuntimeCreateInstance(nullptr, typeID, sizeof(T) - sizeof(CFRuntimeBase)));
  CFRuntimeBase header = *static_cast<CFRuntimeBase *>(memory);
  T *object = new (memory) T(std::forward<Args>(args)...);
  object->base = header;
  return object;
}

// A finalize callback that runs T's destructor.
template <typename T>
void cfFinalize(CFTypeRef cf) {
  static_cast<T *>(const_cast<void *>(cf))->~T();
}

}  // namespace emu
#endif
