/* SecStaticCode.h: code on disk. */
#if !defined(_H_SECSTATICCODE)
#define _H_SECSTATICCODE 1

#include <Security/CSCommon.h>

CF_EXTERN_C_BEGIN

CF_EXPORT CFTypeID SecStaticCodeGetTypeID(void);
CF_EXPORT OSStatus SecStaticCodeCreateWithPath(CFURLRef path, SecCSFlags flags, SecStaticCodeRef *staticCode);
CF_EXPORT OSStatus SecStaticCodeCheckValidity(SecStaticCodeRef staticCode, SecCSFlags flags,
                                              SecRequirementRef requirement);

CF_EXTERN_C_END

#endif /* !_H_SECSTATICCODE */
