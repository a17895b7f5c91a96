/* SCNetworkConfiguration.h: the network preferences as objects: sets
   (locations), the services they hold, each service's interface and its
   protocols. Changes are made in the preferences session the objects come
   from and need SCPreferencesCommitChanges to be stored. */
#if !defined(_SCNETWORKCONFIGURATION_H)
#define _SCNETWORKCONFIGURATION_H 1

#include <CoreFoundation/CoreFoundation.h>
#include <SystemConfiguration/SCPreferences.h>

CF_EXTERN_C_BEGIN

typedef const struct __SCNetworkInterface *SCNetworkInterfaceRef;
typedef const struct __SCNetworkProtocol *SCNetworkProtocolRef;
typedef const struct __SCNetworkService *SCNetworkServiceRef;
typedef const struct __SCNetworkSet *SCNetworkSetRef;

#define SC_NETWORK_CONFIGURATION_TYPES(KEY)           \
  KEY(kSCNetworkInterfaceType6to4, "6to4")            \
  KEY(kSCNetworkInterfaceTypeBluetooth, "Bluetooth")  \
  KEY(kSCNetworkInterfaceTypeBond, "Bond")            \
  KEY(kSCNetworkInterfaceTypeEthernet, "Ethernet")    \
  KEY(kSCNetworkInterfaceTypeFireWire, "FireWire")    \
  KEY(kSCNetworkInterfaceTypeIEEE80211, "IEEE80211")  \
  KEY(kSCNetworkInterfaceTypeIPSec, "IPSec")          \
  KEY(kSCNetworkInterfaceTypeIrDA, "IrDA")            \
  KEY(kSCNetworkInterfaceTypeL2TP, "L2TP")            \
  KEY(kSCNetworkInterfaceTypeModem, "Modem")          \
  KEY(kSCNetworkInterfaceTypePPP, "PPP")              \
  KEY(kSCNetworkInterfaceTypePPTP, "PPTP")            \
  KEY(kSCNetworkInterfaceTypeSerial, "Serial")        \
  KEY(kSCNetworkInterfaceTypeVLAN, "VLAN")            \
  KEY(kSCNetworkInterfaceTypeWWAN, "WWAN")            \
  KEY(kSCNetworkInterfaceTypeIPv4, "IPv4")            \
  KEY(kSCNetworkProtocolTypeDNS, "DNS")               \
  KEY(kSCNetworkProtocolTypeIPv4, "IPv4")             \
  KEY(kSCNetworkProtocolTypeIPv6, "IPv6")             \
  KEY(kSCNetworkProtocolTypeProxies, "Proxies")       \
  KEY(kSCNetworkProtocolTypeSMB, "SMB")

#if !defined(SC_SCHEMA_DEFINITION_UNIT)
#define SC_NETWORK_DECLARE_TYPE(name, text) CF_EXPORT const CFStringRef name;
SC_NETWORK_CONFIGURATION_TYPES(SC_NETWORK_DECLARE_TYPE)
#undef SC_NETWORK_DECLARE_TYPE
#endif

/* Interfaces */

CF_EXPORT CFTypeID SCNetworkInterfaceGetTypeID(void);
CF_EXPORT CFStringRef SCNetworkInterfaceGetBSDName(SCNetworkInterfaceRef interface);
CF_EXPORT CFStringRef SCNetworkInterfaceGetInterfaceType(SCNetworkInterfaceRef interface);
/* Asks the configuration agents (the DHCP client) to start over on the
   interface. Refused for an interface the running system does not have. */
CF_EXPORT Boolean SCNetworkInterfaceForceConfigurationRefresh(SCNetworkInterfaceRef interface);

/* Protocols */

CF_EXPORT CFTypeID SCNetworkProtocolGetTypeID(void);
/* Get rule. NULL when the protocol has no settings beyond its enabled state. */
CF_EXPORT CFDictionaryRef SCNetworkProtocolGetConfiguration(SCNetworkProtocolRef protocol);
CF_EXPORT Boolean SCNetworkProtocolGetEnabled(SCNetworkProtocolRef protocol);
CF_EXPORT CFStringRef SCNetworkProtocolGetProtocolType(SCNetworkProtocolRef protocol);
/* Replaces the settings and keeps the enabled state. */
CF_EXPORT Boolean SCNetworkProtocolSetConfiguration(SCNetworkProtocolRef protocol, CFDictionaryRef config);
CF_EXPORT Boolean SCNetworkProtocolSetEnabled(SCNetworkProtocolRef protocol, Boolean enabled);

/* Services */

CF_EXPORT CFTypeID SCNetworkServiceGetTypeID(void);
CF_EXPORT CFArrayRef SCNetworkServiceCopyAll(SCPreferencesRef prefs);
CF_EXPORT SCNetworkServiceRef SCNetworkServiceCopy(SCPreferencesRef prefs, CFStringRef serviceID);
CF_EXPORT SCNetworkProtocolRef SCNetworkServiceCopyProtocol(SCNetworkServiceRef service, CFStringRef protocolType);
CF_EXPORT Boolean SCNetworkServiceGetEnabled(SCNetworkServiceRef service);
CF_EXPORT SCNetworkInterfaceRef SCNetworkServiceGetInterface(SCNetworkServiceRef service);
CF_EXPORT CFStringRef SCNetworkServiceGetName(SCNetworkServiceRef service);
CF_EXPORT CFStringRef SCNetworkServiceGetServiceID(SCNetworkServiceRef service);

/* Sets */

CF_EXPORT CFTypeID SCNetworkSetGetTypeID(void);
CF_EXPORT CFArrayRef SCNetworkSetCopyAll(SCPreferencesRef prefs);
CF_EXPORT SCNetworkSetRef SCNetworkSetCopy(SCPreferencesRef prefs, CFStringRef setID);
CF_EXPORT SCNetworkSetRef SCNetworkSetCopyCurrent(SCPreferencesRef prefs);
/* The services the set links to, in the order the set stores them. */
CF_EXPORT CFArrayRef SCNetworkSetCopyServices(SCNetworkSetRef set);
CF_EXPORT CFStringRef SCNetworkSetGetName(SCNetworkSetRef set);
CF_EXPORT CFStringRef SCNetworkSetGetSetID(SCNetworkSetRef set);
CF_EXPORT Boolean SCNetworkSetSetCurrent(SCNetworkSetRef set);

CF_EXTERN_C_END

#endif /* _SCNETWORKCONFIGURATION_H */
