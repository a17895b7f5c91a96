/* SecAccess.h: who may use a keychain item without asking. */
#if !defined(_SECURITY_SECACCESS_H_)
#define _SECURITY_SECACCESS_H_ 1

#include <Security/SecBase.h>

CF_EXTERN_C_BEGIN

CF_EXPORT CFTypeID SecAccessGetTypeID(void);

/* trustedlist: SecTrustedApplicationRefs; NULL for the calling program alone,
   an empty array for none. */
CF_EXPORT OSStatus SecAccessCreate(CFStringRef descriptor, CFArrayRef trustedlist, SecAccessRef *accessRef);

CF_EXTERN_C_END

#endif /* !_SECURITY_SECACCESS_H_ */
