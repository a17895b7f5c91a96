/* CFBase.h: basic types, the allocators, and the operations every CF object
   supports. */
#if !defined(__COREFOUNDATION_CFBASE__)
#define __COREFOUNDATION_CFBASE__ 1

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#if defined(__cplusplus)
#define CF_EXTERN_C_BEGIN extern "C" {
#define CF_EXTERN_C_END }
#else
#define CF_EXTERN_C_BEGIN
#define CF_EXTERN_C_END
#endif

#define CF_EXPORT extern
#define CF_INLINE static __inline__ __attribute__((always_inline))

/* Enumerations with a fixed underlying type, declared as Apple's headers
   declare them: in C++ a CF_ENUM is a type of its own, while a CF_OPTIONS type
   stays the integer type so that its flags combine. */
#define CF_ENUM(_type, _name) enum _name : _type _name; enum _name : _type
#if defined(__cplusplus)
#define CF_OPTIONS(_type, _name) _type _name; enum : _type
#else
#define CF_OPTIONS(_type, _name) enum _name : _type _name; enum _name : _type
#endif
/* Marks a callback that is called only before the function returns. */
#define CF_NOESCAPE __attribute__((noescape))

#if !defined(__MACTYPES__)
#define __MACTYPES__ 1
typedef unsigned char Boolean;
typedef unsigned char UInt8;
typedef signed char SInt8;
typedef unsigned short UInt16;
typedef signed short SInt16;
typedef unsigned int UInt32;
typedef signed int SInt32;
typedef unsigned long long UInt64;
typedef signed long long SInt64;
typedef SInt32 OSStatus;
typedef SInt16 OSErr;
typedef float Float32;
typedef double Float64;
typedef UInt16 UniChar;
typedef unsigned long UniCharCount;
typedef UInt32 UTF32Char;
typedef UInt16 UTF16Char;
typedef UInt8 UTF8Char;
typedef UInt32 FourCharCode;
typedef FourCharCode OSType;
#endif

#if !defined(TRUE)
#define TRUE 1
#endif
#if !defined(FALSE)
#define FALSE 0
#endif

CF_EXTERN_C_BEGIN

typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef unsigned long CFHashCode;
typedef signed long CFIndex;

typedef const void *CFTypeRef;
typedef const struct __CFString *CFStringRef;
typedef struct __CFString *CFMutableStringRef;
typedef CFTypeRef CFPropertyListRef;

typedef CF_ENUM(CFIndex, CFComparisonResult) {
  kCFCompareLessThan = -1L,
  kCFCompareEqualTo = 0,
  kCFCompareGreaterThan = 1
};
typedef CFComparisonResult (*CFComparatorFunction)(const void *val1, const void *val2, void *context);

enum { kCFNotFound = -1 };

typedef struct {
  CFIndex location;
  CFIndex length;
} CFRange;

CF_INLINE CFRange CFRangeMake(CFIndex loc, CFIndex len) {
  CFRange range;
  range.location = loc;
  range.length = len;
  return range;
}

/* Allocators are accepted everywhere and otherwise ignored: every object lives
   in the process heap. kCFAllocatorNull matters as a deallocator: it means
   "never free these bytes". */
typedef const struct __CFAllocator *CFAllocatorRef;
CF_EXPORT const CFAllocatorRef kCFAllocatorDefault;
CF_EXPORT const CFAllocatorRef kCFAllocatorSystemDefault;
CF_EXPORT const CFAllocatorRef kCFAllocatorMalloc;
CF_EXPORT const CFAllocatorRef kCFAllocatorNull;
CF_EXPORT CFTypeID CFAllocatorGetTypeID(void);

typedef const struct __CFNull *CFNullRef;
CF_EXPORT CFTypeID CFNullGetTypeID(void);
CF_EXPORT const CFNullRef kCFNull;

CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef cf);
CF_EXPORT CFStringRef CFCopyTypeIDDescription(CFTypeID type_id);
CF_EXPORT CFTypeRef CFRetain(CFTypeRef cf);
CF_EXPORT void CFRelease(CFTypeRef cf);
CF_EXPORT CFIndex CFGetRetainCount(CFTypeRef cf);
CF_EXPORT Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2);
CF_EXPORT CFHashCode CFHash(CFTypeRef cf);
CF_EXPORT CFStringRef CFCopyDescription(CFTypeRef cf);
CF_EXPORT CFAllocatorRef CFGetAllocator(CFTypeRef cf);
CF_EXPORT void CFShow(CFTypeRef obj);

CF_EXTERN_C_END

#endif /* ! __COREFOUNDATION_CFBASE__ */
