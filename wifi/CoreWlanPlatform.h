#pragma once
// The CoreWLAN operations the Wi-Fi helpers use, one function per framework
// message, with no decisions of their own: every algorithm lives in
// CoreWlanHelperBase. On macOS the objects are CoreWLAN's and Foundation's
// (CoreWlanPlatform.mm); elsewhere the emulation provides them.
//
// Ownership follows the Create/Copy rule: a function whose name starts with
// copy or create returns a reference the caller releases; "Get" results are
// borrowed from their container. Strings, string arrays and errors are the
// toll-free bridged CF types (NSString is CFString, NSError is CFError).
#include <CoreFoundation/CoreFoundation.h>

namespace xpc {

// A CoreWLAN or Foundation object: an interface, a configuration, a network
// profile, a scanned network, or an ordered collection of them.
struct CoreWlanObject;

class CoreWlanPlatform {
 public:
  static CoreWlanObject* retain(CoreWlanObject* object);
  static void release(CoreWlanObject* object);

  // Interfaces before 10.10: class operations of CWInterface. The names
  // come as an array in the set's enumeration order: null when the framework
  // gives no set or an empty one, empty when the set gives no enumerator. A
  // null name means the default interface.
  static CFArrayRef copyInterfaceNames();
  static CoreWlanObject* copyInterfaceWithName(CFStringRef name);
  // Interfaces from 10.10: the shared CWWiFiClient. Null when it gives no array.
  static CoreWlanObject* copyClientInterfaces();
  static CoreWlanObject* copyClientInterfaceWithName(CFStringRef name);
  static CFStringRef copyInterfaceName(CoreWlanObject* interface);

  // Ordered collections (NSArray, NSOrderedSet).
  static long count(CoreWlanObject* collection);
  static CoreWlanObject* getObjectAtIndex(CoreWlanObject* collection, long index);
  static CoreWlanObject* createMutableOrderedSet();
  static void addObject(CoreWlanObject* orderedSet, CoreWlanObject* object);
  // The index must be at most the set's count: the framework raises a range
  // exception beyond it, so callers check first.
  static void insertObjectAtIndex(CoreWlanObject* orderedSet, CoreWlanObject* object, long index);

  // The remembered networks: an interface's configuration, its ordered
  // network profiles, mutable copies, and the commit.
  static CoreWlanObject* copyConfiguration(CoreWlanObject* interface);
  static CoreWlanObject* copyNetworkProfiles(CoreWlanObject* configuration);
  static CoreWlanObject* createMutableConfiguration(CoreWlanObject* configuration);
  static CoreWlanObject* createMutableNetworkProfile(CoreWlanObject* profile);
  static void setNetworkProfiles(CoreWlanObject* mutableConfiguration, CoreWlanObject* profiles);
  static bool commitConfiguration(CoreWlanObject* interface, CoreWlanObject* configuration,
                                  CFErrorRef* error);

  // The ssid of an interface (its current network), a network profile or a
  // scanned network; null when it has none.
  static CFStringRef copySsid(CoreWlanObject* object);
  // The signal strength, in dBm, of an interface or a scanned network.
  static long rssiValue(CoreWlanObject* object);

  static bool powerOn(CoreWlanObject* interface);
  static bool setPower(CoreWlanObject* interface, bool on, CFErrorRef* error);
  // Scan results as an array in the set's enumeration order; null for none.
  static CoreWlanObject* copyCachedScanResults(CoreWlanObject* interface);
  // A name adds a directed probe for that (possibly hidden) network; null
  // scans for broadcast networks only.
  static CoreWlanObject* copyScanForNetworksWithName(CoreWlanObject* interface, CFStringRef name,
                                                     CFErrorRef* error);
  // Joins without a password.
  static bool associateToNetwork(CoreWlanObject* interface, CoreWlanObject* network,
                                 CFErrorRef* error);
  static void disassociate(CoreWlanObject* interface);

  // The pause between attempts of a join or a scan.
  static void sleepSeconds(unsigned int seconds);
};

}  // namespace xpc
