#include <SystemConfiguration/SystemConfiguration.h>

#include <cstring>

#include "SCErrorState.h"

namespace {

// The highest errno value on macOS; codes up to it are POSIX errors.
const int kLastPosixError = 106;

struct StatusText {
  int status;
  const char *text;
};

// The framework's own texts, byte for byte.
const StatusText kStatusTexts[] = {
    {kSCStatusAccessError, "Permission denied"},
    {kSCStatusConnectionIgnore, "Network connection information not available at this time"},
    {kSCStatusConnectionNoService, "Network service for connection not available"},
    {kSCStatusFailed, "Failed!"},
    {kSCStatusInvalidArgument, "Invalid argument"},
    {kSCStatusKeyExists, "Key already defined"},
    {kSCStatusLocked, "Lock already held"},
    {kSCStatusMaxLink, "Maximum link count exceeded"},
    {kSCStatusNeedLock, "Lock required for this operation"},
    {kSCStatusNoStoreServer, "Configuration daemon not (no longer) available"},
    {kSCStatusNoStoreSession, "Configuration daemon session not active"},
    {kSCStatusNoConfigFile, "Configuration file not found"},
    {kSCStatusNoKey, "No such key"},
    {kSCStatusNoLink, "No such link"},
    {kSCStatusNoPrefsSession, "Preference session not active"},
    {kSCStatusNotifierActive, "Notifier is currently active"},
    {kSCStatusOK, "Success!"},
    {kSCStatusPrefsBusy, "Preferences update currently in progress"},
    {kSCStatusReachabilityUnknown, "Network reachability cannot be determined"},
    {kSCStatusStale, "Write attempted on stale version of object"},
};

thread_local int lastStatus = kSCStatusOK;

const char *frameworkText(int status) {
  for (const StatusText &entry : kStatusTexts) {
    if (entry.status == status) return entry.text;
  }
  return nullptr;
}

}  // namespace

const CFStringRef kCFErrorDomainSystemConfiguration = CFSTR("com.apple.SystemConfiguration");

void _SCErrorSet(int status) { lastStatus = status; }

int SCError(void) { return lastStatus; }

const char *SCErrorString(int status) {
  if (const char *text = frameworkText(status)) return text;
  if (status > 0 && status <= kLastPosixError) return std::strerror(status);
  // Everything else is read as a Mach status; none of those are emulated.
  return "unknown error code";
}

CFErrorRef SCCopyLastError(void) {
  int status = lastStatus;
  const char *text = frameworkText(status);
  if (text == nullptr) {
    CFErrorDomain domain = (status > 0 && status <= kLastPosixError) ? kCFErrorDomainPOSIX : kCFErrorDomainMach;
    return CFErrorCreate(kCFAllocatorDefault, domain, status, nullptr);
  }
  CFStringRef description = CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingASCII);
  const void *keys[] = {kCFErrorDescriptionKey};
  const void *values[] = {description};
  CFErrorRef error = CFErrorCreateWithUserInfoKeysAndValues(kCFAllocatorDefault, kCFErrorDomainSystemConfiguration,
                                                            status, keys, values, 1);
  CFRelease(description);
  return error;
}
