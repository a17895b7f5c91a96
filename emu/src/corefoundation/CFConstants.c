/* The exported string constants. Code may read them from its own static
   initializers, so they are set by a constructor that runs before every
   ordinary one. The public headers declare them const; only this file
   assigns them. */

#include <CoreFoundation/CFBase.h>

CFStringRef __CFStringMakeConstantString(const char *cStr);

CFStringRef kCFErrorDomainPOSIX, kCFErrorDomainOSStatus, kCFErrorDomainMach, kCFErrorDomainCocoa;
CFStringRef kCFErrorLocalizedDescriptionKey, kCFErrorLocalizedFailureKey, kCFErrorLocalizedFailureReasonKey,
    kCFErrorLocalizedRecoverySuggestionKey, kCFErrorDescriptionKey, kCFErrorUnderlyingErrorKey, kCFErrorURLKey,
    kCFErrorFilePathKey;

__attribute__((constructor(101))) static void initConstants(void) {
  kCFErrorDomainPOSIX = __CFStringMakeConstantString("NSPOSIXErrorDomain");
  kCFErrorDomainOSStatus = __CFStringMakeConstantString("NSOSStatusErrorDomain");
  kCFErrorDomainMach = __CFStringMakeConstantString("NSMachErrorDomain");
  kCFErrorDomainCocoa = __CFStringMakeConstantString("NSCocoaErrorDomain");
  kCFErrorLocalizedDescriptionKey = __CFStringMakeConstantString("NSLocalizedDescription");
  kCFErrorLocalizedFailureKey = __CFStringMakeConstantString("NSLocalizedFailure");
  kCFErrorLocalizedFailureReasonKey = __CFStringMakeConstantString("NSLocalizedFailureReason");
  kCFErrorLocalizedRecoverySuggestionKey = __CFStringMakeConstantString("NSLocalizedRecoverySuggestion");
  kCFErrorDescriptionKey = __CFStringMakeConstantString("NSDescription");
  kCFErrorUnderlyingErrorKey = __CFStringMakeConstantString("NSUnderlyingError");
  kCFErrorURLKey = __CFStringMakeConstantString("NSURL");
  kCFErrorFilePathKey = __CFStringMakeConstantString("NSFilePath");
}
