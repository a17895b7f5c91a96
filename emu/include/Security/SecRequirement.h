/* SecRequirement.h: code requirements in their text form. */
#if !defined(_H_SECREQUIREMENT)
#define _H_SECREQUIREMENT 1

#include <Security/CSCommon.h>

CF_EXTERN_C_BEGIN

CF_EXPORT CFTypeID SecRequirementGetTypeID(void);
/* errSecCSReqInvalid for text that is not a requirement the emulation reads. */
CF_EXPORT OSStatus SecRequirementCreateWithString(CFStringRef text, SecCSFlags flags, SecRequirementRef *requirement);
CF_EXPORT OSStatus SecRequirementCopyString(SecRequirementRef requirement, SecCSFlags flags, CFStringRef *text);

CF_EXTERN_C_END

#endif /* !_H_SECREQUIREMENT */
