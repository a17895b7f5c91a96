/* SecKeychain.h: keychains, the files that hold keychain items. */
#if !defined(_SECURITY_SECKEYCHAIN_H_)
#define _SECURITY_SECKEYCHAIN_H_ 1

#include <Security/SecBase.h>

CF_EXTERN_C_BEGIN

enum { kSecUnlockStateStatus = 1, kSecReadPermStatus = 2, kSecWritePermStatus = 4 };

CF_EXPORT CFTypeID SecKeychainGetTypeID(void);

/* Does not look at the file: a keychain that does not exist opens, and the
   operations on it fail with errSecNoSuchKeychain. */
CF_EXPORT OSStatus SecKeychainOpen(const char *pathName, SecKeychainRef *keychain);

/* keychain NULL: the default keychain. */
CF_EXPORT OSStatus SecKeychainGetStatus(SecKeychainRef keychain, SecKeychainStatus *keychainStatus);
CF_EXPORT OSStatus SecKeychainGetPath(SecKeychainRef keychain, UInt32 *ioPathLength, char *pathName);

/* keychainOrArray NULL: the default search list. A NULL or empty service or
   account matches any. passwordData, when asked for, is freed with
   SecKeychainItemFreeContent. */
CF_EXPORT OSStatus SecKeychainFindGenericPassword(CFTypeRef keychainOrArray, UInt32 serviceNameLength,
                                                  const char *serviceName, UInt32 accountNameLength,
                                                  const char *accountName, UInt32 *passwordLength, void **passwordData,
                                                  SecKeychainItemRef *itemRef);

/* Process-wide. */
CF_EXPORT OSStatus SecKeychainSetUserInteractionAllowed(Boolean state);
CF_EXPORT OSStatus SecKeychainGetUserInteractionAllowed(Boolean *state);

CF_EXTERN_C_END

#endif /* !_SECURITY_SECKEYCHAIN_H_ */
