/* CSCommon.h: the types, flags and status codes shared by the code-signing
   calls. */
#if !defined(_H_CSCOMMON)
#define _H_CSCOMMON 1

#include <CoreFoundation/CoreFoundation.h>
#include <stdint.h>

CF_EXTERN_C_BEGIN

enum {
  errSecCSUnimplemented = -67072,
  errSecCSInvalidObjectRef = -67071,
  errSecCSInvalidFlags = -67070,
  errSecCSObjectRequired = -67069,
  errSecCSStaticCodeNotFound = -67068,
  errSecCSNoSuchCode = -67065,
  errSecCSUnsigned = -67062,
  errSecCSSignatureFailed = -67061,
  errSecCSReqInvalid = -67052,
  errSecCSReqUnsupported = -67051,
  errSecCSReqFailed = -67050,
  errSecCSBadObjectFormat = -67049,
};

typedef struct __SecCode *SecCodeRef;              /* running code */
typedef struct __SecCode const *SecStaticCodeRef;  /* code on disk */
typedef struct __SecRequirement *SecRequirementRef;

typedef CF_OPTIONS(uint32_t, SecCSFlags){
    kSecCSDefaultFlags = 0,
};

typedef CF_OPTIONS(uint32_t, SecCodeSignatureFlags){
    kSecCodeSignatureHost = 0x0001,
    kSecCodeSignatureAdhoc = 0x0002,
    kSecCodeSignatureRuntime = 0x10000,
};

CF_EXTERN_C_END

#endif /* !_H_CSCOMMON */
