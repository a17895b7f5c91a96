/* SecBase.h: the Security framework's basic types, its status codes and their
   texts. */
#if !defined(_SECURITY_SECBASE_H_)
#define _SECURITY_SECBASE_H_ 1

#include <CoreFoundation/CoreFoundation.h>

CF_EXTERN_C_BEGIN

typedef struct __SecCertificate *SecCertificateRef;
typedef struct __SecPolicy *SecPolicyRef;
typedef struct __SecKeychain *SecKeychainRef;
typedef struct __SecKeychainItem *SecKeychainItemRef;

typedef OSType SecKeychainAttrType;

struct SecKeychainAttribute {
  SecKeychainAttrType tag;
  UInt32 length;
  void *data;
};
typedef struct SecKeychainAttribute SecKeychainAttribute;
typedef SecKeychainAttribute *SecKeychainAttributePtr;

struct SecKeychainAttributeList {
  UInt32 count;
  SecKeychainAttribute *attr;
};
typedef struct SecKeychainAttributeList SecKeychainAttributeList;

typedef UInt32 SecKeychainStatus;

typedef struct __SecTrustedApplication *SecTrustedApplicationRef;
typedef struct __SecAccess *SecAccessRef;

enum {
  errSecSuccess = 0,
  errSecUnimplemented = -4,
  errSecIO = -36,
  errSecOpWr = -49,
  errSecParam = -50,
  errSecWrPerm = -61,
  errSecAllocate = -108,
  errSecUserCanceled = -128,
  errSecBadReq = -909,
  errSecInternalComponent = -2070,
  errSecNotAvailable = -25291,
  errSecReadOnly = -25292,
  errSecAuthFailed = -25293,
  errSecNoSuchKeychain = -25294,
  errSecInvalidKeychain = -25295,
  errSecDuplicateKeychain = -25296,
  errSecDuplicateCallback = -25297,
  errSecInvalidCallback = -25298,
  errSecDuplicateItem = -25299,
  errSecItemNotFound = -25300,
  errSecBufferTooSmall = -25301,
  errSecDataTooLarge = -25302,
  errSecNoSuchAttr = -25303,
  errSecInvalidItemRef = -25304,
  errSecInvalidSearchRef = -25305,
  errSecNoSuchClass = -25306,
  errSecNoDefaultKeychain = -25307,
  errSecInteractionNotAllowed = -25308,
  errSecReadOnlyAttr = -25309,
  errSecWrongSecVersion = -25310,
  errSecKeySizeNotAllowed = -25311,
  errSecNoStorageModule = -25312,
  errSecNoCertificateModule = -25313,
  errSecNoPolicyModule = -25314,
  errSecInteractionRequired = -25315,
  errSecDataNotAvailable = -25316,
  errSecDataNotModifiable = -25317,
  errSecCreateChainFailed = -25318,
  errSecInvalidPrefsDomain = -25319,
  errSecACLNotSimple = -25240,
  errSecPolicyNotFound = -25241,
  errSecInvalidTrustSetting = -25242,
  errSecNoAccessForItem = -25243,
  errSecInvalidOwnerEdit = -25244,
  errSecTrustNotAvailable = -25245,
  errSecUnsupportedFormat = -25256,
  errSecUnknownFormat = -25257,
  errSecKeyIsSensitive = -25258,
  errSecMultiplePrivKeys = -25259,
  errSecPassphraseRequired = -25260,
  errSecInvalidPasswordRef = -25261,
  errSecInvalidTrustSettings = -25262,
  errSecNoTrustSettings = -25263,
  errSecPkcs12VerifyFailure = -25264,
  errSecDecode = -26275
};

/* The framework's message for a status (Create rule), or NULL for a status it
   has no message for. `reserved` must be NULL. */
CF_EXPORT CFStringRef SecCopyErrorMessageString(OSStatus status, void *reserved);

CF_EXTERN_C_END

#endif /* !_SECURITY_SECBASE_H_ */
