/* SecCertificate.h: X.509 certificates. */
#if !defined(_SECURITY_SECCERTIFICATE_H_)
#define _SECURITY_SECCERTIFICATE_H_ 1

#include <Security/SecBase.h>

CF_EXTERN_C_BEGIN

CF_EXPORT CFTypeID SecCertificateGetTypeID(void);

/* NULL unless data is exactly one DER-encoded X.509 certificate. */
CF_EXPORT SecCertificateRef SecCertificateCreateWithData(CFAllocatorRef allocator, CFDataRef data);
CF_EXPORT CFDataRef SecCertificateCopyData(SecCertificateRef certificate);
/* The label the keychain gives the certificate (its last common name, or
   another part of its subject). */
CF_EXPORT CFStringRef SecCertificateCopySubjectSummary(SecCertificateRef certificate);
/* The subject's last common name; fails when the subject has none. */
CF_EXPORT OSStatus SecCertificateCopyCommonName(SecCertificateRef certificate, CFStringRef *commonName);

/* keychain NULL: the default keychain. errSecDuplicateItem when a
   certificate with the same issuer and serial number is there. */
CF_EXPORT OSStatus SecCertificateAddToKeychain(SecCertificateRef certificate, SecKeychainRef keychain);

/* Keys and types of the property dictionaries SecCertificateCopyValues returns. */
CF_EXPORT const CFStringRef kSecPropertyKeyType;
CF_EXPORT const CFStringRef kSecPropertyKeyLabel;
CF_EXPORT const CFStringRef kSecPropertyKeyLocalizedLabel;
CF_EXPORT const CFStringRef kSecPropertyKeyValue;
CF_EXPORT const CFStringRef kSecPropertyTypeSection;
CF_EXPORT const CFStringRef kSecPropertyTypeString;
CF_EXPORT const CFStringRef kSecPropertyTypeNumber;

/* The version, serial number, subject and issuer names and validity dates,
   keyed by the OIDs of SecCertificateOIDs.h; keys NULL for all of them. */
CF_EXPORT CFDictionaryRef SecCertificateCopyValues(SecCertificateRef certificate, CFArrayRef keys, CFErrorRef *error);

CF_EXTERN_C_END

#endif /* !_SECURITY_SECCERTIFICATE_H_ */
