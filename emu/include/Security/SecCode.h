/* SecCode.h: running code, found by its host (the kernel) from an audit
   token or a process ID, and what its signature says. */
#if !defined(_H_SECCODE)
#define _H_SECCODE 1

#include <Security/CSCommon.h>

CF_EXTERN_C_BEGIN

CF_EXPORT CFTypeID SecCodeGetTypeID(void);

/* Attributes that name a guest of the kernel. */
CF_EXPORT const CFStringRef kSecGuestAttributePid;
CF_EXPORT const CFStringRef kSecGuestAttributeAudit;

/* host must be NULL (the kernel); errSecCSNoSuchCode when no process
   matches. */
CF_EXPORT OSStatus SecCodeCopyGuestWithAttributes(SecCodeRef host, CFDictionaryRef attributes, SecCSFlags flags,
                                                  SecCodeRef *guest);
CF_EXPORT OSStatus SecCodeCheckValidity(SecCodeRef code, SecCSFlags flags, SecRequirementRef requirement);
CF_EXPORT OSStatus SecCodeCopyPath(SecStaticCodeRef staticCode, SecCSFlags flags, CFURLRef *path);

enum {
  kSecCSInternalInformation = 1 << 0,
  kSecCSSigningInformation = 1 << 1,
  kSecCSRequirementInformation = 1 << 2,
  kSecCSDynamicInformation = 1 << 3,
  kSecCSContentInformation = 1 << 4,
};

CF_EXPORT const CFStringRef kSecCodeInfoCertificates;
CF_EXPORT const CFStringRef kSecCodeInfoEntitlementsDict;
CF_EXPORT const CFStringRef kSecCodeInfoFlags;
CF_EXPORT const CFStringRef kSecCodeInfoFormat;
CF_EXPORT const CFStringRef kSecCodeInfoIdentifier;
CF_EXPORT const CFStringRef kSecCodeInfoMainExecutable;
CF_EXPORT const CFStringRef kSecCodeInfoTeamIdentifier;

/* An unsigned code answers only kSecCodeInfoMainExecutable. */
CF_EXPORT OSStatus SecCodeCopySigningInformation(SecStaticCodeRef code, SecCSFlags flags,
                                                 CFDictionaryRef *information);

CF_EXTERN_C_END

#endif /* !_H_SECCODE */
