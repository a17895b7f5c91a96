/* SCPreferencesPath.h: the preferences as a tree of dictionaries addressed by
   paths such as /NetworkServices/<id>/IPv4. A dictionary holding __LINK__
   stands for the one at the linked path. */
#if !defined(_SCPREFERENCESPATH_H)
#define _SCPREFERENCESPATH_H 1

#include <CoreFoundation/CoreFoundation.h>
#include <SystemConfiguration/SCPreferences.h>

CF_EXTERN_C_BEGIN

/* Get rule: the dictionary belongs to the session. */
CF_EXPORT CFDictionaryRef SCPreferencesPathGetValue(SCPreferencesRef prefs, CFStringRef path);
CF_EXPORT CFStringRef SCPreferencesPathGetLink(SCPreferencesRef prefs, CFStringRef path);
CF_EXPORT Boolean SCPreferencesPathSetValue(SCPreferencesRef prefs, CFStringRef path, CFDictionaryRef value);
CF_EXPORT Boolean SCPreferencesPathSetLink(SCPreferencesRef prefs, CFStringRef path, CFStringRef link);
CF_EXPORT Boolean SCPreferencesPathRemoveValue(SCPreferencesRef prefs, CFStringRef path);

CF_EXTERN_C_END

#endif /* _SCPREFERENCESPATH_H */
