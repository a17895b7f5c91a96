/* SCDynamicStoreKey.h: building the names of dynamic store keys. */
#if !defined(_SCDYNAMICSTOREKEY_H)
#define _SCDYNAMICSTOREKEY_H 1

#include <CoreFoundation/CoreFoundation.h>

CF_EXTERN_C_BEGIN

CF_EXPORT CFStringRef SCDynamicStoreKeyCreate(CFAllocatorRef allocator, CFStringRef fmt, ...);
/* domain/Network/Global/entity */
CF_EXPORT CFStringRef SCDynamicStoreKeyCreateNetworkGlobalEntity(CFAllocatorRef allocator, CFStringRef domain,
                                                                 CFStringRef entity);
/* domain/Network/Interface */
CF_EXPORT CFStringRef SCDynamicStoreKeyCreateNetworkInterface(CFAllocatorRef allocator, CFStringRef domain);
/* domain/Network/Interface/ifname[/entity] */
CF_EXPORT CFStringRef SCDynamicStoreKeyCreateNetworkInterfaceEntity(CFAllocatorRef allocator, CFStringRef domain,
                                                                    CFStringRef ifname, CFStringRef entity);
/* domain/Network/Service/serviceID[/entity] */
CF_EXPORT CFStringRef SCDynamicStoreKeyCreateNetworkServiceEntity(CFAllocatorRef allocator, CFStringRef domain,
                                                                  CFStringRef serviceID, CFStringRef entity);

CF_EXTERN_C_END

#endif /* _SCDYNAMICSTOREKEY_H */
