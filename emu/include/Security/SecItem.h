/* SecItem.h: searching keychains with attribute dictionaries. */
#if !defined(_SECURITY_SECITEM_H_)
#define _SECURITY_SECITEM_H_ 1

#include <Security/SecBase.h>

CF_EXTERN_C_BEGIN

/* Item classes (values of kSecClass). */
CF_EXPORT const CFStringRef kSecClass;
CF_EXPORT const CFStringRef kSecClassGenericPassword;
CF_EXPORT const CFStringRef kSecClassCertificate;

/* Item attributes. */
CF_EXPORT const CFStringRef kSecAttrCreationDate;
CF_EXPORT const CFStringRef kSecAttrModificationDate;
CF_EXPORT const CFStringRef kSecAttrDescription;
CF_EXPORT const CFStringRef kSecAttrLabel;
CF_EXPORT const CFStringRef kSecAttrAccount;
CF_EXPORT const CFStringRef kSecAttrService;
CF_EXPORT const CFStringRef kSecAttrSubject;
CF_EXPORT const CFStringRef kSecAttrIssuer;
CF_EXPORT const CFStringRef kSecAttrSerialNumber;
CF_EXPORT const CFStringRef kSecAttrSubjectKeyID;
CF_EXPORT const CFStringRef kSecAttrPublicKeyHash;
CF_EXPORT const CFStringRef kSecAttrCertificateType;
CF_EXPORT const CFStringRef kSecAttrCertificateEncoding;

/* Search keys and their values. */
CF_EXPORT const CFStringRef kSecMatchLimit;
CF_EXPORT const CFStringRef kSecMatchLimitOne;
CF_EXPORT const CFStringRef kSecMatchLimitAll;

/* What a search returns. */
CF_EXPORT const CFStringRef kSecReturnData;
CF_EXPORT const CFStringRef kSecReturnAttributes;
CF_EXPORT const CFStringRef kSecReturnRef;

/* Keys of the item's value in returned attribute dictionaries. */
CF_EXPORT const CFStringRef kSecValueData;
CF_EXPORT const CFStringRef kSecValueRef;

/* A keychain, or an array of them, to search instead of the default search list. */
CF_EXPORT const CFStringRef kSecUseKeychain;

/* Classes kSecClassGenericPassword and kSecClassCertificate; attribute keys
   match by equality. Several return keys, or kSecMatchLimitAll, give
   dictionaries or arrays as on the Mac. errSecItemNotFound when nothing
   matches; errSecUnimplemented for a query key that is not emulated. */
CF_EXPORT OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef *result);

CF_EXTERN_C_END

#endif /* !_SECURITY_SECITEM_H_ */
