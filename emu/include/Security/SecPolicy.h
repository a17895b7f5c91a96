/* SecPolicy.h: certificate trust policies. */
#if !defined(_SECURITY_SECPOLICY_H_)
#define _SECURITY_SECPOLICY_H_ 1

#include <Security/SecBase.h>

CF_EXTERN_C_BEGIN

/* Policy identifiers: the basic X.509, SSL and EAP policies are emulated. */
CF_EXPORT const CFStringRef kSecPolicyAppleX509Basic;
CF_EXPORT const CFStringRef kSecPolicyAppleSSL;
CF_EXPORT const CFStringRef kSecPolicyAppleEAP;

/* Keys of a policy's properties. */
CF_EXPORT const CFStringRef kSecPolicyOid;
CF_EXPORT const CFStringRef kSecPolicyName;
CF_EXPORT const CFStringRef kSecPolicyClient;

CF_EXPORT CFTypeID SecPolicyGetTypeID(void);

/* kSecPolicyOid always; kSecPolicyName when a name was given; kSecPolicyClient
   for a client policy. */
CF_EXPORT CFDictionaryRef SecPolicyCopyProperties(SecPolicyRef policyRef);
CF_EXPORT SecPolicyRef SecPolicyCreateBasicX509(void);
CF_EXPORT SecPolicyRef SecPolicyCreateSSL(Boolean server, CFStringRef hostname);
/* NULL for an identifier that is not emulated. */
CF_EXPORT SecPolicyRef SecPolicyCreateWithProperties(CFTypeRef policyIdentifier, CFDictionaryRef properties);
CF_EXPORT SecPolicyRef SecPolicyCreateWithOID(CFTypeRef policyOID);

CF_EXTERN_C_END

#endif /* !_SECURITY_SECPOLICY_H_ */
