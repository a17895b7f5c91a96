// The CoreWLAN layer on macOS: one framework message per function. Built
// with manual retain/release. Every function drains its own autorelease pool,
// so nothing the framework hands out outlives the call; what a copy/create
// function returns is retained for the caller first.
#import <CoreWLAN/CoreWLAN.h>
#import <Foundation/Foundation.h>
#include <unistd.h>

#include "CoreWlanPlatform.h"

#if __has_feature(objc_arc)
#error "CoreWlanPlatform.mm uses manual retain/release"
#endif

namespace xpc {

namespace {

id object(CoreWlanObject* handle) { return reinterpret_cast<id>(handle); }
CoreWlanObject* handle(id object) { return reinterpret_cast<CoreWlanObject*>(object); }
// Hands an autoreleased object to the caller, who releases it.
CoreWlanObject* owned(id object) { return handle([object retain]); }

// An out-parameter error, retained past the pool for the caller.
void keepError(NSError* error, CFErrorRef* out) {
  if (out != nullptr) *out = error != nil ? reinterpret_cast<CFErrorRef>([error retain]) : nullptr;
}

// The scan results in the set's enumeration order; null for none.
CoreWlanObject* ownedArray(NSSet* set) {
  return set != nil ? owned([set allObjects]) : nullptr;
}

}  // namespace

CoreWlanObject* CoreWlanPlatform::retain(CoreWlanObject* handle) { return owned(object(handle)); }

void CoreWlanPlatform::release(CoreWlanObject* handle) { [object(handle) release]; }

// The class operations are the only route on releases before 10.10.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

CFArrayRef CoreWlanPlatform::copyInterfaceNames() {
  @autoreleasepool {
    NSSet* names = [CWInterface interfaceNames];
    if ([names count] == 0) return nullptr;
    NSEnumerator* enumerator = [names objectEnumerator];
    NSArray* list = enumerator != nil ? [enumerator allObjects] : @[];
    return reinterpret_cast<CFArrayRef>([list retain]);
  }
}

CoreWlanObject* CoreWlanPlatform::copyInterfaceWithName(CFStringRef name) {
  @autoreleasepool {
    return owned([CWInterface interfaceWithName:reinterpret_cast<NSString*>(name)]);
  }
}

#pragma clang diagnostic pop

CoreWlanObject* CoreWlanPlatform::copyClientInterfaces() {
  @autoreleasepool {
    return owned([[CWWiFiClient sharedWiFiClient] interfaces]);
  }
}

CoreWlanObject* CoreWlanPlatform::copyClientInterfaceWithName(CFStringRef name) {
  @autoreleasepool {
    return owned(
        [[CWWiFiClient sharedWiFiClient] interfaceWithName:reinterpret_cast<NSString*>(name)]);
  }
}

CFStringRef CoreWlanPlatform::copyInterfaceName(CoreWlanObject* interface) {
  @autoreleasepool {
    return reinterpret_cast<CFStringRef>([[object(interface) interfaceName] retain]);
  }
}

long CoreWlanPlatform::count(CoreWlanObject* collection) {
  return static_cast<long>([object(collection) count]);
}

CoreWlanObject* CoreWlanPlatform::getObjectAtIndex(CoreWlanObject* collection, long index) {
  return handle([object(collection) objectAtIndex:static_cast<NSUInteger>(index)]);
}

CoreWlanObject* CoreWlanPlatform::createMutableOrderedSet() {
  return handle([[NSMutableOrderedSet alloc] init]);
}

void CoreWlanPlatform::addObject(CoreWlanObject* orderedSet, CoreWlanObject* item) {
  [static_cast<NSMutableOrderedSet*>(object(orderedSet)) addObject:object(item)];
}

void CoreWlanPlatform::insertObjectAtIndex(CoreWlanObject* orderedSet, CoreWlanObject* item,
                                           long index) {
  [static_cast<NSMutableOrderedSet*>(object(orderedSet)) insertObject:object(item)
                                                              atIndex:static_cast<NSUInteger>(index)];
}

CoreWlanObject* CoreWlanPlatform::copyConfiguration(CoreWlanObject* interface) {
  @autoreleasepool {
    return owned([static_cast<CWInterface*>(object(interface)) configuration]);
  }
}

CoreWlanObject* CoreWlanPlatform::copyNetworkProfiles(CoreWlanObject* configuration) {
  @autoreleasepool {
    return owned([static_cast<CWConfiguration*>(object(configuration)) networkProfiles]);
  }
}

CoreWlanObject* CoreWlanPlatform::createMutableConfiguration(CoreWlanObject* configuration) {
  return handle([[CWMutableConfiguration alloc]
      initWithConfiguration:static_cast<CWConfiguration*>(object(configuration))]);
}

CoreWlanObject* CoreWlanPlatform::createMutableNetworkProfile(CoreWlanObject* profile) {
  return handle([[CWMutableNetworkProfile alloc]
      initWithNetworkProfile:static_cast<CWNetworkProfile*>(object(profile))]);
}

void CoreWlanPlatform::setNetworkProfiles(CoreWlanObject* mutableConfiguration,
                                          CoreWlanObject* profiles) {
  @autoreleasepool {
    [static_cast<CWMutableConfiguration*>(object(mutableConfiguration))
        setNetworkProfiles:static_cast<NSOrderedSet*>(object(profiles))];
  }
}

bool CoreWlanPlatform::commitConfiguration(CoreWlanObject* interface,
                                           CoreWlanObject* configuration, CFErrorRef* error) {
  @autoreleasepool {
    NSError* failure = nil;
    BOOL committed = [static_cast<CWInterface*>(object(interface))
        commitConfiguration:static_cast<CWConfiguration*>(object(configuration))
              authorization:nil
                      error:&failure];
    keepError(failure, error);
    return committed;
  }
}

CFStringRef CoreWlanPlatform::copySsid(CoreWlanObject* item) {
  @autoreleasepool {
    return reinterpret_cast<CFStringRef>([[object(item) ssid] retain]);
  }
}

long CoreWlanPlatform::rssiValue(CoreWlanObject* item) {
  return static_cast<long>([object(item) rssiValue]);
}

bool CoreWlanPlatform::powerOn(CoreWlanObject* interface) {
  @autoreleasepool {
    return [static_cast<CWInterface*>(object(interface)) powerOn];
  }
}

bool CoreWlanPlatform::setPower(CoreWlanObject* interface, bool on, CFErrorRef* error) {
  @autoreleasepool {
    NSError* failure = nil;
    BOOL changed = [static_cast<CWInterface*>(object(interface)) setPower:on error:&failure];
    keepError(failure, error);
    return changed;
  }
}

CoreWlanObject* CoreWlanPlatform::copyCachedScanResults(CoreWlanObject* interface) {
  @autoreleasepool {
    return ownedArray([static_cast<CWInterface*>(object(interface)) cachedScanResults]);
  }
}

CoreWlanObject* CoreWlanPlatform::copyScanForNetworksWithName(CoreWlanObject* interface,
                                                              CFStringRef name, CFErrorRef* error) {
  @autoreleasepool {
    NSError* failure = nil;
    NSSet* networks = [static_cast<CWInterface*>(object(interface))
        scanForNetworksWithName:reinterpret_cast<NSString*>(name)
                          error:&failure];
    keepError(failure, error);
    return ownedArray(networks);
  }
}

bool CoreWlanPlatform::associateToNetwork(CoreWlanObject* interface, CoreWlanObject* network,
                                          CFErrorRef* error) {
  @autoreleasepool {
    NSError* failure = nil;
    BOOL joined = [static_cast<CWInterface*>(object(interface))
        associateToNetwork:static_cast<CWNetwork*>(object(network))
                  password:nil
                     error:&failure];
    keepError(failure, error);
    return joined;
  }
}

void CoreWlanPlatform::disassociate(CoreWlanObject* interface) {
  @autoreleasepool {
    [static_cast<CWInterface*>(object(interface)) disassociate];
  }
}

void CoreWlanPlatform::sleepSeconds(unsigned int seconds) { sleep(seconds); }

}  // namespace xpc
