/* CFLocale.h: the user's locale (en_US on every emulated Mac). */
#if !defined(__COREFOUNDATION_CFLOCALE__)
#define __COREFOUNDATION_CFLOCALE__ 1

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef CFStringRef CFLocaleIdentifier;
typedef const struct __CFLocale *CFLocaleRef;

CF_EXPORT CFTypeID CFLocaleGetTypeID(void);
CF_EXPORT CFLocaleRef CFLocaleCopyCurrent(void);
CF_EXPORT CFLocaleIdentifier CFLocaleGetIdentifier(CFLocaleRef locale);

CF_EXTERN_C_END

#endif /* ! __COREFOUNDATION_CFLOCALE__ */
