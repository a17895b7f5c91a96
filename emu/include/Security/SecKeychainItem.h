/* SecKeychainItem.h: the items a keychain holds. Certificates in a keychain
   are items too: SecKeychainItemDelete takes a SecCertificateRef. */
#if !defined(_SECURITY_SECKEYCHAINITEM_H_)
#define _SECURITY_SECKEYCHAINITEM_H_ 1

#include <Security/SecBase.h>

CF_EXTERN_C_BEGIN

typedef CF_ENUM(FourCharCode, SecItemClass) {
  kSecInternetPasswordItemClass = 'inet',
  kSecGenericPasswordItemClass = 'genp',
  kSecAppleSharePasswordItemClass = 'ashp',
  kSecCertificateItemClass = 0x80001000,
  kSecPublicKeyItemClass = 0x0000000F,
  kSecPrivateKeyItemClass = 0x00000010,
  kSecSymmetricKeyItemClass = 0x00000011
};

typedef CF_ENUM(FourCharCode, SecItemAttr) {
  kSecCreationDateItemAttr = 'cdat',
  kSecModDateItemAttr = 'mdat',
  kSecDescriptionItemAttr = 'desc',
  kSecCommentItemAttr = 'icmt',
  kSecCreatorItemAttr = 'crtr',
  kSecTypeItemAttr = 'type',
  kSecScriptCodeItemAttr = 'scrp',
  kSecLabelItemAttr = 'labl',
  kSecInvisibleItemAttr = 'invi',
  kSecNegativeItemAttr = 'nega',
  kSecCustomIconItemAttr = 'cusi',
  kSecAccountItemAttr = 'acct',
  kSecServiceItemAttr = 'svce',
  kSecGenericItemAttr = 'gena',
  kSecSecurityDomainItemAttr = 'sdmn',
  kSecServerItemAttr = 'srvr',
  kSecAuthenticationTypeItemAttr = 'atyp',
  kSecPortItemAttr = 'port',
  kSecPathItemAttr = 'path',
  kSecVolumeItemAttr = 'vlme',
  kSecAddressItemAttr = 'addr',
  kSecSignatureItemAttr = 'ssig',
  kSecProtocolItemAttr = 'ptcl',
  kSecCertificateType = 'ctyp',
  kSecCertificateEncoding = 'cenc',
  kSecCrlType = 'crtp',
  kSecCrlEncoding = 'crnc',
  kSecAlias = 'alis'
};

CF_EXPORT CFTypeID SecKeychainItemGetTypeID(void);

/* Only the generic-password class is emulated. keychainRef NULL: the default
   keychain; initialAccess NULL: the calling program is the only trusted
   application. A second item with the same account and service is
   errSecDuplicateItem. */
CF_EXPORT OSStatus SecKeychainItemCreateFromContent(SecItemClass itemClass, SecKeychainAttributeList *attrList,
                                                    UInt32 length, const void *data, SecKeychainRef keychainRef,
                                                    SecAccessRef initialAccess, SecKeychainItemRef *itemRef);
/* Frees what SecKeychainFindGenericPassword returned as password data. */
CF_EXPORT OSStatus SecKeychainItemFreeContent(SecKeychainAttributeList *attrList, void *data);
/* The keychain an item (or a certificate found in one) is in. */
CF_EXPORT OSStatus SecKeychainItemCopyKeychain(SecKeychainItemRef itemRef, SecKeychainRef *keychainRef);
/* errSecInvalidItemRef for an item that is in no keychain, or no longer. */
CF_EXPORT OSStatus SecKeychainItemDelete(SecKeychainItemRef itemRef);

CF_EXTERN_C_END

#endif /* !_SECURITY_SECKEYCHAINITEM_H_ */
