/* SCDynamicStore.h: the dynamic store, configd's key-value view of the live
   configuration (Setup: keys published from the preferences, State: keys of
   the running system). */
#if !defined(_SCDYNAMICSTORE_H)
#define _SCDYNAMICSTORE_H 1

#include <CoreFoundation/CoreFoundation.h>

CF_EXTERN_C_BEGIN

typedef const struct __SCDynamicStore *SCDynamicStoreRef;

typedef struct {
  CFIndex version;
  void *info;
  const void *(*retain)(const void *info);
  void (*release)(const void *info);
  CFStringRef (*copyDescription)(const void *info);
} SCDynamicStoreContext;

typedef void (*SCDynamicStoreCallBack)(SCDynamicStoreRef store, CFArrayRef changedKeys, void *info);

CF_EXPORT CFTypeID SCDynamicStoreGetTypeID(void);

/* Change notifications are not emulated: the callout is kept but never called. */
CF_EXPORT SCDynamicStoreRef SCDynamicStoreCreate(CFAllocatorRef allocator, CFStringRef name,
                                                 SCDynamicStoreCallBack callout, SCDynamicStoreContext *context);

/* The keys matching an extended regular expression, anchored at both ends. */
CF_EXPORT CFArrayRef SCDynamicStoreCopyKeyList(SCDynamicStoreRef store, CFStringRef pattern);
CF_EXPORT CFPropertyListRef SCDynamicStoreCopyValue(SCDynamicStoreRef store, CFStringRef key);
CF_EXPORT CFDictionaryRef SCDynamicStoreCopyMultiple(SCDynamicStoreRef store, CFArrayRef keys, CFArrayRef patterns);
CF_EXPORT Boolean SCDynamicStoreSetValue(SCDynamicStoreRef store, CFStringRef key, CFPropertyListRef value);
CF_EXPORT Boolean SCDynamicStoreRemoveValue(SCDynamicStoreRef store, CFStringRef key);

CF_EXTERN_C_END

#endif /* _SCDYNAMICSTORE_H */
