/* SecTrustedApplication.h: an application an access lets at an item. */
#if !defined(_SECURITY_SECTRUSTEDAPPLICATION_H_)
#define _SECURITY_SECTRUSTEDAPPLICATION_H_ 1

#include <Security/SecBase.h>

CF_EXTERN_C_BEGIN

CF_EXPORT CFTypeID SecTrustedApplicationGetTypeID(void);

/* path NULL: the calling program. The program must exist. */
CF_EXPORT OSStatus SecTrustedApplicationCreateFromPath(const char *path, SecTrustedApplicationRef *app);
/* The application's path and a terminating NUL. */
CF_EXPORT OSStatus SecTrustedApplicationCopyData(SecTrustedApplicationRef appRef, CFDataRef *data);

CF_EXTERN_C_END

#endif /* !_SECURITY_SECTRUSTEDAPPLICATION_H_ */
