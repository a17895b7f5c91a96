/* SCSchemaDefinitions.h: the names of the keys, entities and values of the
   network preferences and of the dynamic store. */
#if !defined(_SCSCHEMADEFINITIONS_H)
#define _SCSCHEMADEFINITIONS_H 1

#include <CoreFoundation/CoreFoundation.h>

CF_EXTERN_C_BEGIN

/* Every constant with its text, in one list: the declarations below and the
   definitions in the framework both expand it. */
#define SC_SCHEMA_KEYS(KEY)                                                       \
  /* Reserved keys */                                                             \
  KEY(kSCResvLink, "__LINK__")                                                    \
  KEY(kSCResvInactive, "__INACTIVE__")                                            \
  /* Generic keys */                                                              \
  KEY(kSCPropInterfaceName, "InterfaceName")                                      \
  KEY(kSCPropMACAddress, "MACAddress")                                            \
  KEY(kSCPropUserDefinedName, "UserDefinedName")                                  \
  KEY(kSCPropVersion, "Version")                                                  \
  /* Preference keys */                                                           \
  KEY(kSCPrefCurrentSet, "CurrentSet")                                            \
  KEY(kSCPrefNetworkServices, "NetworkServices")                                  \
  KEY(kSCPrefSets, "Sets")                                                        \
  KEY(kSCPrefSystem, "System")                                                    \
  /* Component keys */                                                            \
  KEY(kSCCompNetwork, "Network")                                                  \
  KEY(kSCCompService, "Service")                                                  \
  KEY(kSCCompGlobal, "Global")                                                    \
  KEY(kSCCompHostNames, "HostNames")                                              \
  KEY(kSCCompInterface, "Interface")                                              \
  KEY(kSCCompSystem, "System")                                                    \
  KEY(kSCCompUsers, "Users")                                                      \
  KEY(kSCCompAnyRegex, "[^/]+")                                                   \
  /* Network entity keys */                                                       \
  KEY(kSCEntNetAirPort, "AirPort")                                                \
  KEY(kSCEntNetDHCP, "DHCP")                                                      \
  KEY(kSCEntNetDNS, "DNS")                                                        \
  KEY(kSCEntNetEthernet, "Ethernet")                                              \
  KEY(kSCEntNetFireWire, "FireWire")                                              \
  KEY(kSCEntNetInterface, "Interface")                                            \
  KEY(kSCEntNetIPSec, "IPSec")                                                    \
  KEY(kSCEntNetIPv4, "IPv4")                                                      \
  KEY(kSCEntNetIPv6, "IPv6")                                                      \
  KEY(kSCEntNetL2TP, "L2TP")                                                      \
  KEY(kSCEntNetLink, "Link")                                                      \
  KEY(kSCEntNetModem, "Modem")                                                    \
  KEY(kSCEntNetPPP, "PPP")                                                        \
  KEY(kSCEntNetPPPoE, "PPPoE")                                                    \
  KEY(kSCEntNetPPPSerial, "PPPSerial")                                            \
  KEY(kSCEntNetPPTP, "PPTP")                                                      \
  KEY(kSCEntNetProxies, "Proxies")                                                \
  KEY(kSCEntNetSMB, "SMB")                                                        \
  KEY(kSCEntNet6to4, "6to4")                                                      \
  /* kSCCompNetwork properties */                                                 \
  KEY(kSCPropNetOverridePrimary, "OverridePrimary")                               \
  KEY(kSCPropNetServiceOrder, "ServiceOrder")                                     \
  KEY(kSCPropNetPPPOverridePrimary, "PPPOverridePrimary")                         \
  KEY(kSCPropNetInterfaces, "Interfaces")                                         \
  KEY(kSCPropNetLocalHostName, "LocalHostName")                                   \
  /* kSCEntNetDNS */                                                              \
  KEY(kSCPropNetDNSDomainName, "DomainName")                                      \
  KEY(kSCPropNetDNSOptions, "Options")                                            \
  KEY(kSCPropNetDNSSearchDomains, "SearchDomains")                                \
  KEY(kSCPropNetDNSSearchOrder, "SearchOrder")                                    \
  KEY(kSCPropNetDNSServerAddresses, "ServerAddresses")                            \
  KEY(kSCPropNetDNSServerPort, "ServerPort")                                      \
  KEY(kSCPropNetDNSServerTimeout, "ServerTimeout")                                \
  KEY(kSCPropNetDNSSortList, "SortList")                                          \
  KEY(kSCPropNetDNSSupplementalMatchDomains, "SupplementalMatchDomains")          \
  KEY(kSCPropNetDNSSupplementalMatchOrders, "SupplementalMatchOrders")            \
  /* kSCEntNetInterface */                                                        \
  KEY(kSCPropNetInterfaceDeviceName, "DeviceName")                                \
  KEY(kSCPropNetInterfaceHardware, "Hardware")                                    \
  KEY(kSCPropNetInterfaceType, "Type")                                            \
  KEY(kSCPropNetInterfaceSubType, "SubType")                                      \
  KEY(kSCValNetInterfaceTypeEthernet, "Ethernet")                                 \
  KEY(kSCValNetInterfaceTypeFireWire, "FireWire")                                 \
  KEY(kSCValNetInterfaceTypePPP, "PPP")                                           \
  KEY(kSCValNetInterfaceType6to4, "6to4")                                         \
  KEY(kSCValNetInterfaceTypeIPSec, "IPSec")                                       \
  KEY(kSCValNetInterfaceSubTypePPPoE, "PPPoE")                                    \
  KEY(kSCValNetInterfaceSubTypePPPSerial, "PPPSerial")                            \
  KEY(kSCValNetInterfaceSubTypePPTP, "PPTP")                                      \
  KEY(kSCValNetInterfaceSubTypeL2TP, "L2TP")                                      \
  /* kSCEntNetIPv4 */                                                             \
  KEY(kSCPropNetIPv4Addresses, "Addresses")                                       \
  KEY(kSCPropNetIPv4ConfigMethod, "ConfigMethod")                                 \
  KEY(kSCPropNetIPv4DHCPClientID, "DHCPClientID")                                 \
  KEY(kSCPropNetIPv4Router, "Router")                                             \
  KEY(kSCPropNetIPv4SubnetMasks, "SubnetMasks")                                   \
  KEY(kSCPropNetIPv4DestAddresses, "DestAddresses")                               \
  KEY(kSCPropNetIPv4BroadcastAddresses, "BroadcastAddresses")                     \
  KEY(kSCValNetIPv4ConfigMethodAutomatic, "Automatic")                            \
  KEY(kSCValNetIPv4ConfigMethodBOOTP, "BOOTP")                                    \
  KEY(kSCValNetIPv4ConfigMethodDHCP, "DHCP")                                      \
  KEY(kSCValNetIPv4ConfigMethodINFORM, "INFORM")                                  \
  KEY(kSCValNetIPv4ConfigMethodLinkLocal, "LinkLocal")                            \
  KEY(kSCValNetIPv4ConfigMethodManual, "Manual")                                  \
  KEY(kSCValNetIPv4ConfigMethodPPP, "PPP")                                        \
  /* kSCEntNetIPv6 */                                                             \
  KEY(kSCPropNetIPv6Addresses, "Addresses")                                       \
  KEY(kSCPropNetIPv6ConfigMethod, "ConfigMethod")                                 \
  KEY(kSCPropNetIPv6DestAddresses, "DestAddresses")                               \
  KEY(kSCPropNetIPv6Flags, "Flags")                                               \
  KEY(kSCPropNetIPv6PrefixLength, "PrefixLength")                                 \
  KEY(kSCPropNetIPv6Router, "Router")                                             \
  KEY(kSCValNetIPv6ConfigMethodAutomatic, "Automatic")                            \
  KEY(kSCValNetIPv6ConfigMethodLinkLocal, "LinkLocal")                            \
  KEY(kSCValNetIPv6ConfigMethodManual, "Manual")                                  \
  KEY(kSCValNetIPv6ConfigMethodRouterAdvertisement, "RouterAdvertisement")        \
  KEY(kSCValNetIPv6ConfigMethod6to4, "6to4")                                      \
  /* kSCEntNetLink */                                                             \
  KEY(kSCPropNetLinkActive, "Active")                                             \
  KEY(kSCPropNetLinkDetaching, "Detaching")                                       \
  /* kSCEntNetProxies */                                                          \
  KEY(kSCPropNetProxiesExceptionsList, "ExceptionsList")                          \
  KEY(kSCPropNetProxiesExcludeSimpleHostnames, "ExcludeSimpleHostnames")          \
  KEY(kSCPropNetProxiesFTPEnable, "FTPEnable")                                    \
  KEY(kSCPropNetProxiesFTPPassive, "FTPPassive")                                  \
  KEY(kSCPropNetProxiesFTPPort, "FTPPort")                                        \
  KEY(kSCPropNetProxiesFTPProxy, "FTPProxy")                                      \
  KEY(kSCPropNetProxiesGopherEnable, "GopherEnable")                              \
  KEY(kSCPropNetProxiesGopherPort, "GopherPort")                                  \
  KEY(kSCPropNetProxiesGopherProxy, "GopherProxy")                                \
  KEY(kSCPropNetProxiesHTTPEnable, "HTTPEnable")                                  \
  KEY(kSCPropNetProxiesHTTPPort, "HTTPPort")                                      \
  KEY(kSCPropNetProxiesHTTPProxy, "HTTPProxy")                                    \
  KEY(kSCPropNetProxiesHTTPSEnable, "HTTPSEnable")                                \
  KEY(kSCPropNetProxiesHTTPSPort, "HTTPSPort")                                    \
  KEY(kSCPropNetProxiesHTTPSProxy, "HTTPSProxy")                                  \
  KEY(kSCPropNetProxiesRTSPEnable, "RTSPEnable")                                  \
  KEY(kSCPropNetProxiesRTSPPort, "RTSPPort")                                      \
  KEY(kSCPropNetProxiesRTSPProxy, "RTSPProxy")                                    \
  KEY(kSCPropNetProxiesSOCKSEnable, "SOCKSEnable")                                \
  KEY(kSCPropNetProxiesSOCKSPort, "SOCKSPort")                                    \
  KEY(kSCPropNetProxiesSOCKSProxy, "SOCKSProxy")                                  \
  KEY(kSCPropNetProxiesProxyAutoConfigEnable, "ProxyAutoConfigEnable")            \
  KEY(kSCPropNetProxiesProxyAutoConfigJavaScript, "ProxyAutoConfigJavaScript")    \
  KEY(kSCPropNetProxiesProxyAutoConfigURLString, "ProxyAutoConfigURLString")      \
  KEY(kSCPropNetProxiesProxyAutoDiscoveryEnable, "ProxyAutoDiscoveryEnable")      \
  /* kSCCompSystem properties */                                                  \
  KEY(kSCPropSystemComputerName, "ComputerName")                                  \
  KEY(kSCPropSystemComputerNameEncoding, "ComputerNameEncoding")                  \
  /* Dynamic store domains and properties */                                      \
  KEY(kSCDynamicStoreDomainFile, "File:")                                         \
  KEY(kSCDynamicStoreDomainPlugin, "Plugin:")                                     \
  KEY(kSCDynamicStoreDomainSetup, "Setup:")                                       \
  KEY(kSCDynamicStoreDomainState, "State:")                                       \
  KEY(kSCDynamicStoreDomainPrefs, "Prefs:")                                       \
  KEY(kSCDynamicStorePropSetupCurrentSet, "CurrentSet")                           \
  KEY(kSCDynamicStorePropSetupLastUpdated, "LastUpdated")                         \
  KEY(kSCDynamicStorePropNetInterfaces, "Interfaces")                             \
  KEY(kSCDynamicStorePropNetPrimaryInterface, "PrimaryInterface")                 \
  KEY(kSCDynamicStorePropNetPrimaryService, "PrimaryService")                     \
  KEY(kSCDynamicStorePropNetServiceIDs, "ServiceIDs")

/* The framework defines the constants itself and skips the declarations. */
#if !defined(SC_SCHEMA_DEFINITION_UNIT)
#define SC_SCHEMA_DECLARE_KEY(name, text) CF_EXPORT const CFStringRef name;
SC_SCHEMA_KEYS(SC_SCHEMA_DECLARE_KEY)
#undef SC_SCHEMA_DECLARE_KEY
#endif

CF_EXTERN_C_END

#endif /* _SCSCHEMADEFINITIONS_H */
