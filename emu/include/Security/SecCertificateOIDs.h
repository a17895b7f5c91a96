/* SecCertificateOIDs.h: the keys of SecCertificateCopyValues. */
#if !defined(_SECURITY_SECCERTIFICATEOIDS_H_)
#define _SECURITY_SECCERTIFICATEOIDS_H_ 1

#include <CoreFoundation/CoreFoundation.h>

CF_EXTERN_C_BEGIN

CF_EXPORT const CFStringRef kSecOIDX509V1IssuerName;
CF_EXPORT const CFStringRef kSecOIDX509V1SerialNumber;
CF_EXPORT const CFStringRef kSecOIDX509V1SubjectName;
CF_EXPORT const CFStringRef kSecOIDX509V1ValidityNotAfter;
CF_EXPORT const CFStringRef kSecOIDX509V1ValidityNotBefore;
CF_EXPORT const CFStringRef kSecOIDX509V1Version;

CF_EXTERN_C_END

#endif /* !_SECURITY_SECCERTIFICATEOIDS_H_ */
