/* CFURL.h: file URLs for POSIX paths. */
#if !defined(__COREFOUNDATION_CFURL__)
#define __COREFOUNDATION_CFURL__ 1

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

typedef CF_ENUM(CFIndex, CFURLPathStyle) {
  kCFURLPOSIXPathStyle = 0
};

typedef const struct __CFURL *CFURLRef;

CF_EXPORT CFTypeID CFURLGetTypeID(void);
/* A relative path is taken relative to the working directory at creation. */
CF_EXPORT CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef filePath,
                                                 CFURLPathStyle pathStyle, Boolean isDirectory);
CF_EXPORT CFStringRef CFURLGetString(CFURLRef anURL);
CF_EXPORT CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle);
CF_EXPORT Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8 *buffer,
                                                   CFIndex maxBufLen);

CF_EXTERN_C_END

#endif /* ! __COREFOUNDATION_CFURL__ */
