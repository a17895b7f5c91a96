// Sets, services, protocols and interfaces. A set or a service is only its
// identifier within a preferences session: every call reads the session, so
// objects see the session's uncommitted changes. A protocol is an entity of
// its service, such as /NetworkServices/<id>/Proxies; __INACTIVE__ in an
// entity marks it disabled.

#include "SCInternal.h"

using emu::sc::Owned;

struct __SCNetworkInterface {
  CFRuntimeBase base;
  Owned<CFStringRef> type;
  Owned<CFStringRef> bsdName;
  Owned<CFStringRef> name;  // what the preferences call it
};

struct __SCNetworkService {
  CFRuntimeBase base;
  Owned<SCPreferencesRef> prefs;
  Owned<CFStringRef> serviceID;
  Owned<SCNetworkInterfaceRef> interface;  // made on first use
  Owned<CFStringRef> name;                 // read on first use
};

struct __SCNetworkProtocol {
  CFRuntimeBase base;
  Owned<SCNetworkServiceRef> service;
  Owned<CFStringRef> entityID;
};

struct __SCNetworkSet {
  CFRuntimeBase base;
  Owned<SCPreferencesRef> prefs;
  Owned<CFStringRef> setID;
  Owned<CFStringRef> name;  // read on first use
};

namespace {

bool sameStrings(CFStringRef a, CFStringRef b) { return a == b || (a != nullptr && b != nullptr && CFEqual(a, b)); }

Boolean interfaceEqual(CFTypeRef a, CFTypeRef b) {
  auto x = static_cast<const __SCNetworkInterface *>(a), y = static_cast<const __SCNetworkInterface *>(b);
  return sameStrings(x->type.get(), y->type.get()) && sameStrings(x->bsdName.get(), y->bsdName.get());
}

CFHashCode interfaceHash(CFTypeRef cf) {
  auto i = static_cast<const __SCNetworkInterface *>(cf);
  return i->bsdName ? CFHash(i->bsdName.get()) : CFHash(i->type.get());
}

Boolean serviceEqual(CFTypeRef a, CFTypeRef b) {
  auto x = static_cast<const __SCNetworkService *>(a), y = static_cast<const __SCNetworkService *>(b);
  return x->prefs == y->prefs && CFEqual(x->serviceID.get(), y->serviceID.get());
}

CFHashCode serviceHash(CFTypeRef cf) { return CFHash(static_cast<const __SCNetworkService *>(cf)->serviceID.get()); }

Boolean protocolEqual(CFTypeRef a, CFTypeRef b) {
  auto x = static_cast<const __SCNetworkProtocol *>(a), y = static_cast<const __SCNetworkProtocol *>(b);
  return CFEqual(x->entityID.get(), y->entityID.get()) && CFEqual(x->service.get(), y->service.get());
}

CFHashCode protocolHash(CFTypeRef cf) { return CFHash(static_cast<const __SCNetworkProtocol *>(cf)->entityID.get()); }

Boolean setEqual(CFTypeRef a, CFTypeRef b) {
  auto x = static_cast<const __SCNetworkSet *>(a), y = static_cast<const __SCNetworkSet *>(b);
  return x->prefs == y->prefs && CFEqual(x->setID.get(), y->setID.get());
}

CFHashCode setHash(CFTypeRef cf) { return CFHash(static_cast<const __SCNetworkSet *>(cf)->setID.get()); }

const CFRuntimeClass kInterfaceClass = {
    "SCNetworkInterface", emu::cfFinalize<__SCNetworkInterface>, interfaceEqual, interfaceHash, nullptr, nullptr};
const CFRuntimeClass kServiceClass = {
    "SCNetworkService", emu::cfFinalize<__SCNetworkService>, serviceEqual, serviceHash, nullptr, nullptr};
const CFRuntimeClass kProtocolClass = {
    "SCNetworkProtocol", emu::cfFinalize<__SCNetworkProtocol>, protocolEqual, protocolHash, nullptr, nullptr};
const CFRuntimeClass kSetClass = {"SCNetworkSet", emu::cfFinalize<__SCNetworkSet>, setEqual, setHash, nullptr, nullptr};

template <typename T>
T *fail(int status) {
  _SCErrorSet(status);
  return nullptr;
}

__SCNetworkService *serviceOf(SCNetworkServiceRef service) {
  return emu::sc::instance<__SCNetworkService>(service, SCNetworkServiceGetTypeID());
}

__SCNetworkProtocol *protocolOf(SCNetworkProtocolRef protocol) {
  return emu::sc::instance<__SCNetworkProtocol>(protocol, SCNetworkProtocolGetTypeID());
}

__SCNetworkSet *setOf(SCNetworkSetRef set) { return emu::sc::instance<__SCNetworkSet>(set, SCNetworkSetGetTypeID()); }

// /NetworkServices/<serviceID>[/<entity>]
Owned<CFStringRef> servicePath(CFStringRef serviceID, CFStringRef entity) {
  if (entity == nullptr) {
    return Owned<CFStringRef>(
        CFStringCreateWithFormat(nullptr, nullptr, CFSTR("/%@/%@"), kSCPrefNetworkServices, serviceID));
  }
  return Owned<CFStringRef>(
      CFStringCreateWithFormat(nullptr, nullptr, CFSTR("/%@/%@/%@"), kSCPrefNetworkServices, serviceID, entity));
}

// /Sets/<setID>
Owned<CFStringRef> setPath(CFStringRef setID) {
  return Owned<CFStringRef>(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("/%@/%@"), kSCPrefSets, setID));
}

SCNetworkServiceRef createService(SCPreferencesRef prefs, CFStringRef serviceID) {
  auto *service = emu::cfCreate<__SCNetworkService>(SCNetworkServiceGetTypeID());
  service->prefs.reset(static_cast<SCPreferencesRef>(CFRetain(prefs)));
  service->serviceID.reset(CFStringCreateCopy(nullptr, serviceID));
  return service;
}

SCNetworkSetRef createSet(SCPreferencesRef prefs, CFStringRef setID) {
  auto *set = emu::cfCreate<__SCNetworkSet>(SCNetworkSetGetTypeID());
  set->prefs.reset(static_cast<SCPreferencesRef>(CFRetain(prefs)));
  set->setID.reset(CFStringCreateCopy(nullptr, setID));
  return set;
}

// The CopyAll functions: an object, made by `create`, for every entry under a
// top-level key of the preferences that `keep` accepts.
template <typename Ref, typename Keep>
CFArrayRef copyAllUnder(SCPreferencesRef prefs, CFStringRef key, Keep keep,
                        Ref (*create)(SCPreferencesRef, CFStringRef)) {
  Owned<CFStringRef> path(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("/%@"), key));
  CFDictionaryRef entries = SCPreferencesPathGetValue(prefs, path.get());
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  if (entries == nullptr) return array;
  for (const auto &[id, value] : emu::sc::entries(entries)) {
    if (!keep(value)) continue;
    Owned<Ref> object(create(prefs, static_cast<CFStringRef>(id)));
    CFArrayAppendValue(array, object.get());
  }
  return array;
}

CFStringRef stringIn(CFDictionaryRef dictionary, CFStringRef key) {
  CFTypeRef value = CFDictionaryGetValue(dictionary, key);
  return emu::sc::isString(value) ? static_cast<CFStringRef>(value) : nullptr;
}

// The interface a service's Interface entity describes. A missing type means
// Ethernet; Ethernet on AirPort hardware is Wi-Fi.
SCNetworkInterfaceRef createInterface(CFDictionaryRef entity) {
  CFTypeRef type = CFDictionaryGetValue(entity, kSCPropNetInterfaceType);
  if (type == nullptr) type = kSCValNetInterfaceTypeEthernet;
  if (!emu::sc::isString(type)) return nullptr;
  CFStringRef hardware = stringIn(entity, kSCPropNetInterfaceHardware);
  if (CFEqual(type, kSCValNetInterfaceTypeEthernet) && hardware != nullptr && CFEqual(hardware, kSCEntNetAirPort)) {
    type = kSCNetworkInterfaceTypeIEEE80211;
  }
  auto *interface = emu::cfCreate<__SCNetworkInterface>(SCNetworkInterfaceGetTypeID());
  interface->type.reset(CFStringCreateCopy(nullptr, static_cast<CFStringRef>(type)));
  if (CFStringRef device = stringIn(entity, kSCPropNetInterfaceDeviceName)) {
    interface->bsdName.reset(CFStringCreateCopy(nullptr, device));
  }
  if (CFStringRef name = stringIn(entity, kSCPropUserDefinedName)) {
    interface->name.reset(CFStringCreateCopy(nullptr, name));
  }
  return interface;
}

// A service exists while it has an Interface entity.
bool serviceExists(const __SCNetworkService *service) {
  Owned<CFStringRef> path = servicePath(service->serviceID.get(), kSCEntNetInterface);
  return SCPreferencesPathGetValue(service->prefs.get(), path.get()) != nullptr;
}

bool isInactive(CFDictionaryRef entity) {
  return entity != nullptr && CFDictionaryContainsKey(entity, kSCResvInactive);
}

// Replaces the entity at path by updated (null: removes it), unless nothing changes.
bool storeEntity(SCPreferencesRef prefs, CFStringRef path, CFDictionaryRef current, CFDictionaryRef updated) {
  if (current == updated || (current != nullptr && updated != nullptr && CFEqual(current, updated))) return true;
  if (updated != nullptr) return SCPreferencesPathSetValue(prefs, path, updated);
  return SCPreferencesPathRemoveValue(prefs, path) || SCError() == kSCStatusNoKey;
}

Owned<CFStringRef> protocolPath(const __SCNetworkProtocol *protocol) {
  return servicePath(serviceOf(protocol->service.get())->serviceID.get(), protocol->entityID.get());
}

SCPreferencesRef protocolPreferences(const __SCNetworkProtocol *protocol) {
  return serviceOf(protocol->service.get())->prefs.get();
}

// The entities of a service that describe its interface rather than a protocol.
bool isInterfaceEntity(CFDictionaryRef entities, CFStringRef type) {
  CFTypeRef interface = CFDictionaryGetValue(entities, kSCEntNetInterface);
  if (!emu::sc::isDictionary(interface)) return false;
  if (CFEqual(type, kSCEntNetInterface) || CFEqual(type, kSCEntNetPPP)) return true;
  for (CFStringRef property : {kSCPropNetInterfaceType, kSCPropNetInterfaceSubType, kSCPropNetInterfaceHardware}) {
    CFStringRef value = stringIn(static_cast<CFDictionaryRef>(interface), property);
    if (value != nullptr && CFEqual(value, type)) return true;
  }
  return false;
}

}  // namespace

// Interfaces

CFTypeID SCNetworkInterfaceGetTypeID(void) {
  static const CFTypeID typeID = _CFRuntimeRegisterClass(&kInterfaceClass);
  return typeID;
}

CFStringRef SCNetworkInterfaceGetBSDName(SCNetworkInterfaceRef interface) {
  auto *i = emu::sc::instance<__SCNetworkInterface>(interface, SCNetworkInterfaceGetTypeID());
  return i != nullptr ? i->bsdName.get() : fail<const __CFString>(kSCStatusInvalidArgument);
}

CFStringRef SCNetworkInterfaceGetInterfaceType(SCNetworkInterfaceRef interface) {
  auto *i = emu::sc::instance<__SCNetworkInterface>(interface, SCNetworkInterfaceGetTypeID());
  return i != nullptr ? i->type.get() : fail<const __CFString>(kSCStatusInvalidArgument);
}

Boolean SCNetworkInterfaceForceConfigurationRefresh(SCNetworkInterfaceRef interface) {
  CFStringRef bsdName = SCNetworkInterfaceGetBSDName(interface);
  // The Mac posts the request for any name and the agents ignore names they
  // do not know; here an interface the system does not have is refused.
  if (bsdName == nullptr || !emu::sc::interfaceExists(bsdName)) {
    _SCErrorSet(kSCStatusInvalidArgument);
    return FALSE;
  }
  return TRUE;
}

// Protocols

CFTypeID SCNetworkProtocolGetTypeID(void) {
  static const CFTypeID typeID = _CFRuntimeRegisterClass(&kProtocolClass);
  return typeID;
}

CFDictionaryRef SCNetworkProtocolGetConfiguration(SCNetworkProtocolRef protocol) {
  __SCNetworkProtocol *p = protocolOf(protocol);
  if (p == nullptr) return fail<const __CFDictionary>(kSCStatusInvalidArgument);
  Owned<CFStringRef> path = protocolPath(p);
  CFDictionaryRef config = SCPreferencesPathGetValue(protocolPreferences(p), path.get());
  CFIndex count = config != nullptr ? CFDictionaryGetCount(config) : 0;
  // An entity holding nothing but its enabled state has no configuration.
  if (count == 0 || (count == 1 && isInactive(config))) return nullptr;
  return config;
}

Boolean SCNetworkProtocolGetEnabled(SCNetworkProtocolRef protocol) {
  __SCNetworkProtocol *p = protocolOf(protocol);
  if (p == nullptr) {
    _SCErrorSet(kSCStatusInvalidArgument);
    return FALSE;
  }
  Owned<CFStringRef> path = protocolPath(p);
  return !isInactive(SCPreferencesPathGetValue(protocolPreferences(p), path.get()));
}

CFStringRef SCNetworkProtocolGetProtocolType(SCNetworkProtocolRef protocol) {
  __SCNetworkProtocol *p = protocolOf(protocol);
  return p != nullptr ? p->entityID.get() : fail<const __CFString>(kSCStatusInvalidArgument);
}

Boolean SCNetworkProtocolSetConfiguration(SCNetworkProtocolRef protocol, CFDictionaryRef config) {
  __SCNetworkProtocol *p = protocolOf(protocol);
  if (p == nullptr || !serviceExists(serviceOf(p->service.get())) ||
      (config != nullptr && !emu::sc::isDictionary(config))) {
    _SCErrorSet(kSCStatusInvalidArgument);
    return FALSE;
  }
  SCPreferencesRef prefs = protocolPreferences(p);
  Owned<CFStringRef> path = protocolPath(p);
  CFDictionaryRef current = SCPreferencesPathGetValue(prefs, path.get());
  Owned<CFMutableDictionaryRef> updated(config != nullptr ? CFDictionaryCreateMutableCopy(nullptr, 0, config)
                                                          : emu::sc::createMutableDictionary());
  // The enabled state is not part of the configuration: it stays as it was.
  if (isInactive(current)) {
    CFDictionarySetValue(updated.get(), kSCResvInactive, kCFBooleanTrue);
  } else {
    CFDictionaryRemoveValue(updated.get(), kSCResvInactive);
  }
  return storeEntity(prefs, path.get(), current, updated.get());
}

Boolean SCNetworkProtocolSetEnabled(SCNetworkProtocolRef protocol, Boolean enabled) {
  __SCNetworkProtocol *p = protocolOf(protocol);
  if (p == nullptr || !serviceExists(serviceOf(p->service.get()))) {
    _SCErrorSet(kSCStatusInvalidArgument);
    return FALSE;
  }
  SCPreferencesRef prefs = protocolPreferences(p);
  Owned<CFStringRef> path = protocolPath(p);
  CFDictionaryRef current = SCPreferencesPathGetValue(prefs, path.get());
  Owned<CFMutableDictionaryRef> updated;
  if (current != nullptr || !enabled) {
    updated.reset(current != nullptr ? CFDictionaryCreateMutableCopy(nullptr, 0, current)
                                     : emu::sc::createMutableDictionary());
    if (enabled) {
      CFDictionaryRemoveValue(updated.get(), kSCResvInactive);
    } else {
      CFDictionarySetValue(updated.get(), kSCResvInactive, kCFBooleanTrue);
    }
  }
  return storeEntity(prefs, path.get(), current, updated.get());
}

// Services

CFTypeID SCNetworkServiceGetTypeID(void) {
  static const CFTypeID typeID = _CFRuntimeRegisterClass(&kServiceClass);
  return typeID;
}

CFArrayRef SCNetworkServiceCopyAll(SCPreferencesRef prefs) {
  // A service must have an interface.
  auto hasInterface = [](CFTypeRef entities) {
    return emu::sc::isDictionary(entities) &&
           emu::sc::isDictionary(CFDictionaryGetValue(static_cast<CFDictionaryRef>(entities), kSCEntNetInterface));
  };
  return copyAllUnder(prefs, kSCPrefNetworkServices, hasInterface, createService);
}

SCNetworkServiceRef SCNetworkServiceCopy(SCPreferencesRef prefs, CFStringRef serviceID) {
  if (!emu::sc::isString(serviceID)) return fail<const __SCNetworkService>(kSCStatusInvalidArgument);
  Owned<CFStringRef> path = servicePath(serviceID, kSCEntNetInterface);
  if (SCPreferencesPathGetValue(prefs, path.get()) == nullptr) {
    return fail<const __SCNetworkService>(kSCStatusNoKey);  // a service must have an interface
  }
  return createService(prefs, serviceID);
}

SCNetworkProtocolRef SCNetworkServiceCopyProtocol(SCNetworkServiceRef service, CFStringRef protocolType) {
  __SCNetworkService *s = serviceOf(service);
  if (s == nullptr || !emu::sc::isString(protocolType)) {
    return fail<const __SCNetworkProtocol>(kSCStatusInvalidArgument);
  }
  Owned<CFStringRef> path = servicePath(s->serviceID.get(), nullptr);
  CFDictionaryRef entities = SCPreferencesPathGetValue(s->prefs.get(), path.get());
  if (entities == nullptr) return fail<const __SCNetworkProtocol>(kSCStatusFailed);
  if (isInterfaceEntity(entities, protocolType)) return fail<const __SCNetworkProtocol>(kSCStatusInvalidArgument);
  if (!CFDictionaryContainsKey(entities, protocolType)) return fail<const __SCNetworkProtocol>(kSCStatusNoKey);

  auto *protocol = emu::cfCreate<__SCNetworkProtocol>(SCNetworkProtocolGetTypeID());
  protocol->service.reset(static_cast<SCNetworkServiceRef>(CFRetain(service)));
  protocol->entityID.reset(CFStringCreateCopy(nullptr, protocolType));
  return protocol;
}

Boolean SCNetworkServiceGetEnabled(SCNetworkServiceRef service) {
  __SCNetworkService *s = serviceOf(service);
  if (s == nullptr) {
    _SCErrorSet(kSCStatusInvalidArgument);
    return FALSE;
  }
  Owned<CFStringRef> path = servicePath(s->serviceID.get(), nullptr);
  return !isInactive(SCPreferencesPathGetValue(s->prefs.get(), path.get()));
}

SCNetworkInterfaceRef SCNetworkServiceGetInterface(SCNetworkServiceRef service) {
  __SCNetworkService *s = serviceOf(service);
  if (s == nullptr) return fail<const __SCNetworkInterface>(kSCStatusInvalidArgument);
  if (!s->interface) {
    Owned<CFStringRef> path = servicePath(s->serviceID.get(), kSCEntNetInterface);
    if (CFDictionaryRef entity = SCPreferencesPathGetValue(s->prefs.get(), path.get())) {
      s->interface.reset(createInterface(entity));
    }
  }
  return s->interface.get();
}

CFStringRef SCNetworkServiceGetName(SCNetworkServiceRef service) {
  __SCNetworkService *s = serviceOf(service);
  if (s == nullptr) return fail<const __CFString>(kSCStatusInvalidArgument);
  if (!s->name) {
    Owned<CFStringRef> path = servicePath(s->serviceID.get(), nullptr);
    CFDictionaryRef entities = SCPreferencesPathGetValue(s->prefs.get(), path.get());
    CFStringRef name = entities != nullptr ? stringIn(entities, kSCPropUserDefinedName) : nullptr;
    // A service nobody named is called after its interface.
    SCNetworkInterfaceRef interface = SCNetworkServiceGetInterface(service);
    if (name == nullptr && interface != nullptr) {
      name = emu::sc::instance<__SCNetworkInterface>(interface, SCNetworkInterfaceGetTypeID())->name.get();
    }
    if (name != nullptr) s->name.reset(CFStringCreateCopy(nullptr, name));
  }
  return s->name.get();
}

CFStringRef SCNetworkServiceGetServiceID(SCNetworkServiceRef service) {
  __SCNetworkService *s = serviceOf(service);
  return s != nullptr ? s->serviceID.get() : fail<const __CFString>(kSCStatusInvalidArgument);
}

// Sets

CFTypeID SCNetworkSetGetTypeID(void) {
  static const CFTypeID typeID = _CFRuntimeRegisterClass(&kSetClass);
  return typeID;
}

CFArrayRef SCNetworkSetCopyAll(SCPreferencesRef prefs) {
  return copyAllUnder(prefs, kSCPrefSets, emu::sc::isDictionary, createSet);
}

SCNetworkSetRef SCNetworkSetCopy(SCPreferencesRef prefs, CFStringRef setID) {
  if (!emu::sc::isString(setID)) return fail<const __SCNetworkSet>(kSCStatusInvalidArgument);
  Owned<CFStringRef> path = setPath(setID);
  if (SCPreferencesPathGetValue(prefs, path.get()) == nullptr) return fail<const __SCNetworkSet>(kSCStatusNoKey);
  return createSet(prefs, setID);
}

SCNetworkSetRef SCNetworkSetCopyCurrent(SCPreferencesRef prefs) {
  CFPropertyListRef current = SCPreferencesGetValue(prefs, kSCPrefCurrentSet);
  if (!emu::sc::isString(current)) return nullptr;
  // The current set is named by its path, /Sets/<setID>.
  std::string path = emu::sc::utf8(static_cast<CFStringRef>(current));
  std::string prefix = "/" + emu::sc::utf8(kSCPrefSets) + "/";
  if (path.compare(0, prefix.size(), prefix) != 0 || path.find('/', prefix.size()) != std::string::npos) {
    return nullptr;
  }
  Owned<CFStringRef> setID(emu::sc::createString(path.substr(prefix.size())));
  return createSet(prefs, setID.get());
}

CFArrayRef SCNetworkSetCopyServices(SCNetworkSetRef set) {
  __SCNetworkSet *s = setOf(set);
  if (s == nullptr) return fail<const __CFArray>(kSCStatusInvalidArgument);
  Owned<CFStringRef> path(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("/%@/%@/%@/%@"), kSCPrefSets, s->setID.get(),
                                                   kSCCompNetwork, kSCCompService));
  CFDictionaryRef links = SCPreferencesPathGetValue(s->prefs.get(), path.get());
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  if (links == nullptr) return array;
  std::string prefix = "/" + emu::sc::utf8(kSCPrefNetworkServices) + "/";
  for (const auto &entry : emu::sc::entries(links)) {
    Owned<CFStringRef> entryPath(
        CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@/%@"), path.get(), static_cast<CFStringRef>(entry.first)));
    CFStringRef link = SCPreferencesPathGetLink(s->prefs.get(), entryPath.get());
    if (link == nullptr) continue;  // a set holds its services as links
    // ... to /NetworkServices/<serviceID>
    std::string target = emu::sc::utf8(link);
    if (target.compare(0, prefix.size(), prefix) != 0 || target.find('/', prefix.size()) != std::string::npos) {
      continue;
    }
    Owned<CFStringRef> serviceID(emu::sc::createString(target.substr(prefix.size())));
    Owned<SCNetworkServiceRef> service(createService(s->prefs.get(), serviceID.get()));
    CFArrayAppendValue(array, service.get());
  }
  return array;
}

CFStringRef SCNetworkSetGetName(SCNetworkSetRef set) {
  __SCNetworkSet *s = setOf(set);
  if (s == nullptr) return fail<const __CFString>(kSCStatusInvalidArgument);
  if (!s->name) {
    Owned<CFStringRef> path = setPath(s->setID.get());
    CFDictionaryRef entity = SCPreferencesPathGetValue(s->prefs.get(), path.get());
    CFStringRef name = entity != nullptr ? stringIn(entity, kSCPropUserDefinedName) : nullptr;
    if (name != nullptr) s->name.reset(CFStringCreateCopy(nullptr, name));
  }
  return s->name.get();
}

CFStringRef SCNetworkSetGetSetID(SCNetworkSetRef set) {
  __SCNetworkSet *s = setOf(set);
  return s != nullptr ? s->setID.get() : fail<const __CFString>(kSCStatusInvalidArgument);
}

Boolean SCNetworkSetSetCurrent(SCNetworkSetRef set) {
  __SCNetworkSet *s = setOf(set);
  if (s == nullptr) {
    _SCErrorSet(kSCStatusInvalidArgument);
    return FALSE;
  }
  Owned<CFStringRef> path = setPath(s->setID.get());
  if (SCPreferencesPathGetValue(s->prefs.get(), path.get()) == nullptr) {
    _SCErrorSet(kSCStatusInvalidArgument);  // a set that was removed
    return FALSE;
  }
  return SCPreferencesSetValue(s->prefs.get(), kSCPrefCurrentSet, path.get());
}
