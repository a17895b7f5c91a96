/* Authorization.h: authorization references, the rights a process holds to
   act as an administrator. */
#if !defined(_SECURITY_AUTHORIZATION_H_)
#define _SECURITY_AUTHORIZATION_H_ 1

#include <CoreFoundation/CoreFoundation.h>

CF_EXTERN_C_BEGIN

enum {
  errAuthorizationSuccess = 0,
  errAuthorizationInvalidSet = -60001,
  errAuthorizationInvalidRef = -60002,
  errAuthorizationInvalidTag = -60003,
  errAuthorizationInvalidPointer = -60004,
  errAuthorizationDenied = -60005,
  errAuthorizationCanceled = -60006,
  errAuthorizationInteractionNotAllowed = -60007,
  errAuthorizationInternal = -60008,
  errAuthorizationExternalizeNotAllowed = -60009,
  errAuthorizationInternalizeNotAllowed = -60010,
  errAuthorizationInvalidFlags = -60011,
  errAuthorizationToolExecuteFailure = -60031,
  errAuthorizationToolEnvironmentError = -60032,
  errAuthorizationBadAddress = -60033
};

typedef UInt32 AuthorizationFlags;
enum {
  kAuthorizationFlagDefaults = 0,
  kAuthorizationFlagInteractionAllowed = (1 << 0),
  kAuthorizationFlagExtendRights = (1 << 1),
  kAuthorizationFlagPartialRights = (1 << 2),
  kAuthorizationFlagDestroyRights = (1 << 3),
  kAuthorizationFlagPreAuthorize = (1 << 4),
  kAuthorizationFlagNoData = (1 << 20)
};

/* The flags an AuthorizationItem may carry. */
enum { kAuthorizationFlagCanNotPreAuthorize = (1 << 0) };

typedef const struct AuthorizationOpaqueRef *AuthorizationRef;
typedef const char *AuthorizationString;

typedef struct {
  AuthorizationString name;
  size_t valueLength;
  void *value;
  UInt32 flags;
} AuthorizationItem;

typedef struct {
  UInt32 count;
  AuthorizationItem *items;
} AuthorizationItemSet;

typedef AuthorizationItemSet AuthorizationRights;
typedef AuthorizationItemSet AuthorizationEnvironment;

#define kAuthorizationEmptyEnvironment NULL

/* authorization may be NULL to only learn whether the rights would be granted. */
CF_EXPORT OSStatus AuthorizationCreate(const AuthorizationRights *rights, const AuthorizationEnvironment *environment,
                                       AuthorizationFlags flags, AuthorizationRef *authorization);
CF_EXPORT OSStatus AuthorizationFree(AuthorizationRef authorization, AuthorizationFlags flags);

CF_EXTERN_C_END

#endif /* !_SECURITY_AUTHORIZATION_H_ */
