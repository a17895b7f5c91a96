/* SystemConfiguration.h: the whole framework as far as it is emulated: the
   status codes and last-error reporting, then the dynamic store, the
   preferences and the network configuration. */
#if !defined(_SYSTEMCONFIGURATION_H)
#define _SYSTEMCONFIGURATION_H 1

#include <CoreFoundation/CoreFoundation.h>

CF_EXTERN_C_BEGIN

enum {
  kSCStatusOK = 0,
  kSCStatusFailed = 1001,
  kSCStatusInvalidArgument = 1002,
  kSCStatusAccessError = 1003,
  kSCStatusNoKey = 1004,
  kSCStatusKeyExists = 1005,
  kSCStatusLocked = 1006,
  kSCStatusNeedLock = 1007,
  kSCStatusNoStoreSession = 2001,
  kSCStatusNoStoreServer = 2002,
  kSCStatusNotifierActive = 2003,
  kSCStatusNoPrefsSession = 3001,
  kSCStatusPrefsBusy = 3002,
  kSCStatusNoConfigFile = 3003,
  kSCStatusNoLink = 3004,
  kSCStatusStale = 3005,
  kSCStatusMaxLink = 3006,
  kSCStatusReachabilityUnknown = 4001,
  kSCStatusConnectionNoService = 5001,
  kSCStatusConnectionIgnore = 5002
};

CF_EXPORT const CFStringRef kCFErrorDomainSystemConfiguration;

/* The calling thread's last status as an error object; never NULL. */
CF_EXPORT CFErrorRef SCCopyLastError(void);
/* The calling thread's last status. */
CF_EXPORT int SCError(void);
CF_EXPORT const char *SCErrorString(int status);

CF_EXTERN_C_END

#include <SystemConfiguration/SCSchemaDefinitions.h>
#include <SystemConfiguration/SCDynamicStore.h>
#include <SystemConfiguration/SCDynamicStoreKey.h>
#include <SystemConfiguration/SCPreferences.h>
#include <SystemConfiguration/SCPreferencesPath.h>
#include <SystemConfiguration/SCNetworkConfiguration.h>

#endif /* _SYSTEMCONFIGURATION_H */
