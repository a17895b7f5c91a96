// The CoreWLAN layer over the fake Mac: interfaces and the radio come from
// the radio environment file, configurations from the remembered networks.
// As in Objective-C, a message to nil answers zero or nil, and a message the
// object does not understand (or an index out of range) ends the process.

#include <Block.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "WlanInternal.h"
#include "emu/CoreWlanControl.h"

using emu::sc::isA;
using emu::sc::isDictionary;
using emu::sc::isString;
using emu::sc::Owned;
using emu::wlan::Collection;
using emu::wlan::Configuration;
using emu::wlan::Kind;
using emu::wlan::Network;
using emu::wlan::NetworkProfile;
using emu::wlan::Object;
using emu::wlan::Ref;

namespace {

const char *className(const Object *object) {
  switch (object->kind) {
    case Kind::Interface: return "CWInterface";
    case Kind::Configuration: return object->isMutable ? "CWMutableConfiguration" : "CWConfiguration";
    case Kind::NetworkProfile: return object->isMutable ? "CWMutableNetworkProfile" : "CWNetworkProfile";
    case Kind::Network: return "CWNetwork";
    case Kind::OrderedSet: return object->isMutable ? "NSMutableOrderedSet" : "NSOrderedSet";
    case Kind::Array: return "NSArray";
  }
  return "NSObject";
}

[[noreturn]] void unrecognized(const Object *object, const char *selector) {
  std::fprintf(stderr, "emu CoreWLAN: -[%s %s]: unrecognized selector sent to instance %p\n", className(object),
               selector, static_cast<const void *>(object));
  std::abort();
}

Object *unwrap(xpc::CoreWlanObject *handle) { return reinterpret_cast<Object *>(handle); }
xpc::CoreWlanObject *wrap(Object *object) { return reinterpret_cast<xpc::CoreWlanObject *>(object); }
xpc::CoreWlanObject *handOut(Ref ref) { return wrap(ref.release()); }

// The object when it is of one of the kinds that understand the selector
// (and mutable, when asked); null for nil.
template <typename T>
T *receiver(xpc::CoreWlanObject *handle, const char *selector, std::initializer_list<Kind> kinds,
            bool needsMutable = false) {
  Object *object = unwrap(handle);
  if (object == nullptr) return nullptr;
  if (std::find(kinds.begin(), kinds.end(), object->kind) == kinds.end() || (needsMutable && !object->isMutable)) {
    unrecognized(object, selector);
  }
  return static_cast<T *>(object);
}

void setError(CFErrorRef *out, CFErrorRef error) {
  if (out != nullptr) {
    *out = error;
  } else if (error != nullptr) {
    CFRelease(error);
  }
}

CFErrorRef posixError(int code) { return CFErrorCreate(nullptr, kCFErrorDomainPOSIX, code, nullptr); }

// --- The radio environment ------------------------------------------------

CFStringRef key(const char *name) { return CFStringCreateWithCString(nullptr, name, kCFStringEncodingUTF8); }

CFTypeRef valueOf(CFDictionaryRef dictionary, const char *name) {
  Owned<CFStringRef> k(key(name));
  return dictionary ? CFDictionaryGetValue(dictionary, k.get()) : nullptr;
}

std::string textOf(CFDictionaryRef dictionary, const char *name) {
  CFTypeRef value = valueOf(dictionary, name);
  return isString(value) ? emu::sc::utf8(static_cast<CFStringRef>(value)) : "";
}

long numberOf(CFDictionaryRef dictionary, const char *name) {
  CFTypeRef value = valueOf(dictionary, name);
  long number = 0;
  if (isA(value, CFNumberGetTypeID())) CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberLongType, &number);
  return number;
}

bool flagOf(CFDictionaryRef dictionary, const char *name) {
  CFTypeRef value = valueOf(dictionary, name);
  return isA(value, CFBooleanGetTypeID()) && CFBooleanGetValue(static_cast<CFBooleanRef>(value));
}

void setValue(CFMutableDictionaryRef dictionary, const char *name, CFTypeRef value) {
  Owned<CFStringRef> k(key(name));
  if (value) {
    CFDictionarySetValue(dictionary, k.get(), value);
  } else {
    CFDictionaryRemoveValue(dictionary, k.get());
  }
}

CFArrayRef arrayOf(CFDictionaryRef dictionary, const char *name) {
  CFTypeRef value = valueOf(dictionary, name);
  return isA(value, CFArrayGetTypeID()) ? static_cast<CFArrayRef>(value) : nullptr;
}

CFDictionaryRef interfacesOf(CFDictionaryRef radio) {
  CFTypeRef interfaces = valueOf(radio, "Interfaces");
  return isDictionary(interfaces) ? static_cast<CFDictionaryRef>(interfaces) : nullptr;
}

// The Wi-Fi interfaces of the machine, in name order.
std::vector<std::string> interfaceNames(CFDictionaryRef radio) {
  std::vector<std::string> names;
  if (CFDictionaryRef interfaces = interfacesOf(radio)) {
    for (const auto &[name, state] : emu::sc::entries(interfaces)) {
      if (isString(name) && isDictionary(state)) names.push_back(emu::sc::utf8(static_cast<CFStringRef>(name)));
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

// One interface's state in a loaded radio dictionary (mutable, as loaded).
CFMutableDictionaryRef stateOf(CFDictionaryRef radio, const std::string &name) {
  CFDictionaryRef interfaces = interfacesOf(radio);
  CFTypeRef state = interfaces ? valueOf(interfaces, name.c_str()) : nullptr;
  return isDictionary(state) ? const_cast<CFMutableDictionaryRef>(static_cast<CFDictionaryRef>(state)) : nullptr;
}

// The visible networks' entries.
std::vector<CFDictionaryRef> visibleNetworks(CFDictionaryRef radio) {
  std::vector<CFDictionaryRef> networks;
  if (CFArrayRef list = arrayOf(radio, "Networks")) {
    for (CFIndex i = 0; i < CFArrayGetCount(list); ++i) {
      CFTypeRef entry = CFArrayGetValueAtIndex(list, i);
      if (isDictionary(entry)) networks.push_back(static_cast<CFDictionaryRef>(entry));
    }
  }
  return networks;
}

CFDictionaryRef networkWithBssid(CFDictionaryRef radio, const std::string &bssid) {
  if (bssid.empty()) return nullptr;
  for (CFDictionaryRef entry : visibleNetworks(radio)) {
    if (textOf(entry, "BSSID") == bssid) return entry;
  }
  return nullptr;
}

// A scanned network. A hidden network shows its name only to a probe for it.
Ref makeNetwork(CFDictionaryRef entry, CFStringRef probed) {
  CFStringRef ssid = isString(valueOf(entry, "SSID")) ? static_cast<CFStringRef>(valueOf(entry, "SSID")) : nullptr;
  if (ssid && flagOf(entry, "Hidden") && !(probed && CFEqual(probed, ssid))) ssid = nullptr;
  return Ref::adopt(new Network(ssid, textOf(entry, "BSSID"), numberOf(entry, "RSSI"), textOf(entry, "Security")));
}

// The network the interface is joined to, when it is powered and that
// network is still in range.
CFDictionaryRef associatedNetwork(CFDictionaryRef radio, CFDictionaryRef state) {
  if (!flagOf(state, "Power")) return nullptr;
  return networkWithBssid(radio, textOf(state, "Associated"));
}

struct RadioState {
  Owned<CFMutableDictionaryRef> radio = emu::wlan::loadRadio();
  CFMutableDictionaryRef state;
  explicit RadioState(const emu::wlan::Interface *interface)
      : state(interface ? stateOf(radio.get(), interface->name) : nullptr) {}
};

CFErrorRef saveRadio(CFDictionaryRef radio) {
  int error = emu::wlan::saveRadio(radio);
  return error == 0 ? nullptr : posixError(error);
}

std::mutex gSleepMutex;
void (^gSleepHandler)(unsigned int) = nullptr;

}  // namespace

extern "C" void emu_wlan_set_sleep_handler(void (^handler)(unsigned int seconds)) {
  std::lock_guard<std::mutex> lock(gSleepMutex);
  if (gSleepHandler) Block_release(gSleepHandler);
  gSleepHandler = nullptr;
  if (handler) gSleepHandler = Block_copy(handler);
}

namespace xpc {

CoreWlanObject *CoreWlanPlatform::retain(CoreWlanObject *object) {
  return handOut(Ref::retain(unwrap(object)));
}

void CoreWlanPlatform::release(CoreWlanObject *object) { Ref::adopt(unwrap(object)); }

// --- Interfaces -------------------------------------------------------------

CFArrayRef CoreWlanPlatform::copyInterfaceNames() {
  Owned<CFMutableDictionaryRef> radio = emu::wlan::loadRadio();
  CFMutableArrayRef names = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  for (const std::string &name : interfaceNames(radio.get())) {
    Owned<CFStringRef> text(emu::sc::createString(name));
    CFArrayAppendValue(names, text.get());
  }
  return CFArrayGetCount(names) > 0 ? names : (CFRelease(names), nullptr);
}

// Null names the default interface, the first; any other name must be one
// of the machine's Wi-Fi interfaces.
CoreWlanObject *CoreWlanPlatform::copyInterfaceWithName(CFStringRef name) {
  Owned<CFMutableDictionaryRef> radio = emu::wlan::loadRadio();
  std::vector<std::string> names = interfaceNames(radio.get());
  if (name == nullptr) return names.empty() ? nullptr : wrap(new emu::wlan::Interface(names.front()));
  std::string wanted = emu::sc::utf8(name);
  if (std::find(names.begin(), names.end(), wanted) == names.end()) return nullptr;
  return wrap(new emu::wlan::Interface(wanted));
}

CoreWlanObject *CoreWlanPlatform::copyClientInterfaces() {
  Owned<CFMutableDictionaryRef> radio = emu::wlan::loadRadio();
  std::vector<Ref> interfaces;
  for (const std::string &name : interfaceNames(radio.get())) {
    interfaces.push_back(Ref::adopt(new emu::wlan::Interface(name)));
  }
  return wrap(new Collection(Kind::Array, false, std::move(interfaces)));
}

CoreWlanObject *CoreWlanPlatform::copyClientInterfaceWithName(CFStringRef name) {
  return copyInterfaceWithName(name);
}

CFStringRef CoreWlanPlatform::copyInterfaceName(CoreWlanObject *handle) {
  auto *interface = receiver<emu::wlan::Interface>(handle, "interfaceName", {Kind::Interface});
  return interface ? emu::sc::createString(interface->name) : nullptr;
}

// --- Collections ------------------------------------------------------------

long CoreWlanPlatform::count(CoreWlanObject *handle) {
  auto *collection = receiver<Collection>(handle, "count", {Kind::OrderedSet, Kind::Array});
  return collection ? static_cast<long>(collection->items.size()) : 0;
}

CoreWlanObject *CoreWlanPlatform::getObjectAtIndex(CoreWlanObject *handle, long index) {
  auto *collection = receiver<Collection>(handle, "objectAtIndex:", {Kind::OrderedSet, Kind::Array});
  if (!collection) return nullptr;
  if (index < 0 || static_cast<size_t>(index) >= collection->items.size()) {
    std::fprintf(stderr, "emu CoreWLAN: NSRangeException: -[%s objectAtIndex:]: index %ld beyond bounds [0 .. %zu]\n",
                 className(collection), index, collection->items.size());
    std::abort();
  }
  return wrap(collection->items[static_cast<size_t>(index)].get());
}

CoreWlanObject *CoreWlanPlatform::createMutableOrderedSet() { return wrap(new Collection(Kind::OrderedSet, true)); }

void CoreWlanPlatform::addObject(CoreWlanObject *handle, CoreWlanObject *item) {
  auto *set = receiver<Collection>(handle, "addObject:", {Kind::OrderedSet}, true);
  if (set && item && !set->contains(*unwrap(item))) set->items.push_back(Ref::retain(unwrap(item)));
}

void CoreWlanPlatform::insertObjectAtIndex(CoreWlanObject *handle, CoreWlanObject *item, long index) {
  auto *set = receiver<Collection>(handle, "insertObject:atIndex:", {Kind::OrderedSet}, true);
  if (!set) return;
  if (index < 0 || static_cast<size_t>(index) > set->items.size()) {
    std::fprintf(stderr,
                 "emu CoreWLAN: NSRangeException: -[NSMutableOrderedSet insertObject:atIndex:]: index %ld beyond "
                 "bounds [0 .. %zu]\n",
                 index, set->items.size());
    std::abort();
  }
  if (item && !set->contains(*unwrap(item))) set->items.insert(set->items.begin() + index, Ref::retain(unwrap(item)));
}

// --- Remembered networks ----------------------------------------------------

CoreWlanObject *CoreWlanPlatform::copyConfiguration(CoreWlanObject *handle) {
  if (!receiver<emu::wlan::Interface>(handle, "configuration", {Kind::Interface})) return nullptr;
  std::vector<Ref> profiles;
  if (!emu::wlan::loadKnownNetworks(profiles)) return nullptr;
  return wrap(new Configuration(std::move(profiles), false));
}

CoreWlanObject *CoreWlanPlatform::copyNetworkProfiles(CoreWlanObject *handle) {
  auto *configuration = receiver<Configuration>(handle, "networkProfiles", {Kind::Configuration});
  return configuration ? wrap(new Collection(Kind::OrderedSet, false, configuration->profiles)) : nullptr;
}

CoreWlanObject *CoreWlanPlatform::createMutableConfiguration(CoreWlanObject *handle) {
  auto *configuration = receiver<Configuration>(handle, "initWithConfiguration:", {Kind::Configuration});
  return wrap(new Configuration(configuration ? configuration->profiles : std::vector<Ref>{}, true));
}

CoreWlanObject *CoreWlanPlatform::createMutableNetworkProfile(CoreWlanObject *handle) {
  auto *profile = receiver<NetworkProfile>(handle, "initWithNetworkProfile:", {Kind::NetworkProfile});
  if (!profile) return nullptr;
  return wrap(new NetworkProfile(profile->key, profile->entry.get(), true));
}

void CoreWlanPlatform::setNetworkProfiles(CoreWlanObject *handle, CoreWlanObject *profiles) {
  auto *configuration = receiver<Configuration>(handle, "setNetworkProfiles:", {Kind::Configuration}, true);
  auto *set = receiver<Collection>(profiles, "copy", {Kind::OrderedSet});
  if (!configuration) return;
  configuration->profiles = set ? set->items : std::vector<Ref>{};
  for (const Ref &profile : configuration->profiles) {
    if (profile.get()->kind != Kind::NetworkProfile) unrecognized(profile.get(), "ssid");
  }
}

// Changing the remembered networks needs administrator rights; the helper
// runs as root.
bool CoreWlanPlatform::commitConfiguration(CoreWlanObject *interface, CoreWlanObject *handle, CFErrorRef *error) {
  if (!receiver<emu::wlan::Interface>(interface, "commitConfiguration:authorization:error:", {Kind::Interface})) {
    return false;
  }
  auto *configuration = receiver<Configuration>(handle, "networkProfiles", {Kind::Configuration});
  if (!configuration) {
    setError(error, emu::wlan::createError(-3900));  // kCWInvalidParameterErr
    return false;
  }
  if (geteuid() != 0) {
    setError(error, emu::wlan::createError(emu::wlan::kOperationNotPermittedErr));
    return false;
  }
  int failure = emu::wlan::saveKnownNetworks(configuration->profiles);
  setError(error, failure == 0 ? nullptr : posixError(failure));
  return failure == 0;
}

// --- The radio --------------------------------------------------------------

CFStringRef CoreWlanPlatform::copySsid(CoreWlanObject *handle) {
  Object *object = receiver<Object>(handle, "ssid", {Kind::Interface, Kind::NetworkProfile, Kind::Network});
  if (!object) return nullptr;
  if (object->kind == Kind::NetworkProfile) return static_cast<NetworkProfile *>(object)->copySsid().release();
  if (object->kind == Kind::Network) {
    CFStringRef ssid = static_cast<Network *>(object)->ssid.get();
    return ssid ? static_cast<CFStringRef>(CFRetain(ssid)) : nullptr;
  }
  RadioState radio(static_cast<emu::wlan::Interface *>(object));
  CFTypeRef ssid = valueOf(associatedNetwork(radio.radio.get(), radio.state), "SSID");
  return isString(ssid) ? static_cast<CFStringRef>(CFRetain(ssid)) : nullptr;
}

long CoreWlanPlatform::rssiValue(CoreWlanObject *handle) {
  Object *object = receiver<Object>(handle, "rssiValue", {Kind::Interface, Kind::Network});
  if (!object) return 0;
  if (object->kind == Kind::Network) return static_cast<Network *>(object)->rssi;
  RadioState radio(static_cast<emu::wlan::Interface *>(object));
  return numberOf(associatedNetwork(radio.radio.get(), radio.state), "RSSI");
}

bool CoreWlanPlatform::powerOn(CoreWlanObject *handle) {
  RadioState radio(receiver<emu::wlan::Interface>(handle, "powerOn", {Kind::Interface}));
  return flagOf(radio.state, "Power");
}

// Switching off also leaves the network and forgets the scan cache.
bool CoreWlanPlatform::setPower(CoreWlanObject *handle, bool on, CFErrorRef *error) {
  RadioState radio(receiver<emu::wlan::Interface>(handle, "setPower:error:", {Kind::Interface}));
  if (!radio.state) {
    setError(error, emu::wlan::createError(-3900));  // kCWInvalidParameterErr
    return false;
  }
  setValue(radio.state, "Power", on ? kCFBooleanTrue : kCFBooleanFalse);
  if (!on) {
    setValue(radio.state, "Associated", nullptr);
    setValue(radio.state, "ScanCache", nullptr);
  }
  CFErrorRef failure = saveRadio(radio.radio.get());
  setError(error, failure);
  return failure == nullptr;
}

CoreWlanObject *CoreWlanPlatform::copyCachedScanResults(CoreWlanObject *handle) {
  RadioState radio(receiver<emu::wlan::Interface>(handle, "cachedScanResults", {Kind::Interface}));
  CFArrayRef cache = arrayOf(radio.state, "ScanCache");
  if (!flagOf(radio.state, "Power") || !cache) return nullptr;
  std::vector<Ref> networks;
  for (CFIndex i = 0; i < CFArrayGetCount(cache); ++i) {
    CFTypeRef bssid = CFArrayGetValueAtIndex(cache, i);
    CFDictionaryRef entry =
        isString(bssid) ? networkWithBssid(radio.radio.get(), emu::sc::utf8(static_cast<CFStringRef>(bssid))) : nullptr;
    if (entry) networks.push_back(makeNetwork(entry, nullptr));
  }
  return wrap(new Collection(Kind::Array, false, std::move(networks)));
}

// Every network in range answers; a name adds a probe that reveals that
// hidden network. The results become the scan cache.
CoreWlanObject *CoreWlanPlatform::copyScanForNetworksWithName(CoreWlanObject *handle, CFStringRef name,
                                                              CFErrorRef *error) {
  RadioState radio(receiver<emu::wlan::Interface>(handle, "scanForNetworksWithName:error:", {Kind::Interface}));
  if (!flagOf(radio.state, "Power")) {
    setError(error, emu::wlan::createError(emu::wlan::kPowerOffErr));
    return nullptr;
  }
  std::vector<Ref> networks;
  Owned<CFMutableArrayRef> cache(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  for (CFDictionaryRef entry : visibleNetworks(radio.radio.get())) {
    networks.push_back(makeNetwork(entry, name));
    if (CFTypeRef bssid = valueOf(entry, "BSSID")) CFArrayAppendValue(cache.get(), bssid);
  }
  setValue(radio.state, "ScanCache", cache.get());
  CFErrorRef failure = saveRadio(radio.radio.get());
  setError(error, failure);
  return failure ? nullptr : wrap(new Collection(Kind::Array, false, std::move(networks)));
}

// A join fails while the radio is off, with each code queued under
// "JoinFailures" (one per attempt), and when the network is out of range.
bool CoreWlanPlatform::associateToNetwork(CoreWlanObject *handle, CoreWlanObject *networkHandle, CFErrorRef *error) {
  RadioState radio(receiver<emu::wlan::Interface>(handle, "associateToNetwork:password:error:", {Kind::Interface}));
  auto *network = receiver<Network>(networkHandle, "bssid", {Kind::Network});
  if (!radio.state || !network) {
    setError(error, emu::wlan::createError(-3900));  // kCWInvalidParameterErr
    return false;
  }
  CFIndex code = 0;
  CFArrayRef failures = arrayOf(radio.state, "JoinFailures");
  if (!flagOf(radio.state, "Power")) {
    code = emu::wlan::kPowerOffErr;
  } else if (failures && CFArrayGetCount(failures) > 0) {
    CFTypeRef queued = CFArrayGetValueAtIndex(failures, 0);
    if (isA(queued, CFNumberGetTypeID())) CFNumberGetValue(static_cast<CFNumberRef>(queued), kCFNumberCFIndexType, &code);
    Owned<CFMutableArrayRef> rest(CFArrayCreateMutableCopy(nullptr, 0, failures));
    CFArrayRemoveValueAtIndex(rest.get(), 0);
    setValue(radio.state, "JoinFailures", rest.get());
    if (code == 0) code = emu::wlan::kTimeoutErr;
  } else if (!networkWithBssid(radio.radio.get(), network->bssid)) {
    code = emu::wlan::kTimeoutErr;
  } else {
    Owned<CFStringRef> bssid(emu::sc::createString(network->bssid));
    setValue(radio.state, "Associated", bssid.get());
  }
  CFErrorRef failure = saveRadio(radio.radio.get());
  if (code != 0) {
    if (failure) CFRelease(failure);
    failure = emu::wlan::createError(code);
  }
  setError(error, failure);
  return failure == nullptr;
}

void CoreWlanPlatform::disassociate(CoreWlanObject *handle) {
  RadioState radio(receiver<emu::wlan::Interface>(handle, "disassociate", {Kind::Interface}));
  if (!radio.state || !valueOf(radio.state, "Associated")) return;
  setValue(radio.state, "Associated", nullptr);
  CFErrorRef failure = saveRadio(radio.radio.get());
  if (failure) CFRelease(failure);
}

void CoreWlanPlatform::sleepSeconds(unsigned int seconds) {
  void (^handler)(unsigned int) = nullptr;
  {
    std::lock_guard<std::mutex> lock(gSleepMutex);
    if (gSleepHandler) handler = Block_copy(gSleepHandler);
  }
  if (!handler) {
    sleep(seconds);
    return;
  }
  handler(seconds);
  Block_release(handler);
}

}  // namespace xpc
