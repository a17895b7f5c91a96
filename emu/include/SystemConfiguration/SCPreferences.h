/* SCPreferences.h: sessions on a preferences file, by default the network
   preferences /Library/Preferences/SystemConfiguration/preferences.plist.
   Values are read on first use and cached until SCPreferencesSynchronize;
   changes stay in the session until SCPreferencesCommitChanges writes them,
   and SCPreferencesApplyChanges makes the committed ones take effect. */
#if !defined(_SCPREFERENCES_H)
#define _SCPREFERENCES_H 1

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>
#include <SystemConfiguration/SCDynamicStore.h>

CF_EXTERN_C_BEGIN

typedef const struct __SCPreferences *SCPreferencesRef;

CF_EXPORT CFTypeID SCPreferencesGetTypeID(void);

/* prefsID: NULL for the network preferences, an absolute path, or a file
   name under /Library/Preferences/SystemConfiguration. */
CF_EXPORT SCPreferencesRef SCPreferencesCreate(CFAllocatorRef allocator, CFStringRef name, CFStringRef prefsID);
CF_EXPORT SCPreferencesRef SCPreferencesCreateWithAuthorization(CFAllocatorRef allocator, CFStringRef name,
                                                                CFStringRef prefsID, AuthorizationRef authorization);

/* Excludes other writers. Fails with kSCStatusPrefsBusy when another holds
   the lock and wait is false, and with kSCStatusStale when the file changed
   since this session read it (SCPreferencesSynchronize, then try again). */
CF_EXPORT Boolean SCPreferencesLock(SCPreferencesRef prefs, Boolean wait);
/* Commit and apply take the lock themselves when the session does not hold it. */
CF_EXPORT Boolean SCPreferencesCommitChanges(SCPreferencesRef prefs);
CF_EXPORT Boolean SCPreferencesApplyChanges(SCPreferencesRef prefs);
CF_EXPORT Boolean SCPreferencesUnlock(SCPreferencesRef prefs);

/* Identifies the stored file the session read (Get rule). */
CF_EXPORT CFDataRef SCPreferencesGetSignature(SCPreferencesRef prefs);
CF_EXPORT CFArrayRef SCPreferencesCopyKeyList(SCPreferencesRef prefs);
/* Get rule: the value belongs to the session. */
CF_EXPORT CFPropertyListRef SCPreferencesGetValue(SCPreferencesRef prefs, CFStringRef key);
/* Fails with kSCStatusKeyExists when the key has a value. */
CF_EXPORT Boolean SCPreferencesAddValue(SCPreferencesRef prefs, CFStringRef key, CFPropertyListRef value);
CF_EXPORT Boolean SCPreferencesSetValue(SCPreferencesRef prefs, CFStringRef key, CFPropertyListRef value);
CF_EXPORT Boolean SCPreferencesRemoveValue(SCPreferencesRef prefs, CFStringRef key);
/* Drops what the session read and changed; the next access reads the file again. */
CF_EXPORT void SCPreferencesSynchronize(SCPreferencesRef prefs);

CF_EXTERN_C_END

#endif /* _SCPREFERENCES_H */
