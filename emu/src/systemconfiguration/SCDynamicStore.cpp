// The dynamic store. On the Mac configd holds it in memory for all processes;
// here it is a property list file under /var/run, which every process reads
// and rewrites whole under an exclusive flock, replacing it by rename. The
// fake Mac starts with no store file: the first process to touch the store
// publishes the stored network preferences first, as configd does at boot.
// The State: keys of the network interfaces are not stored: they are read
// from the running system on every query, as configd tracks the kernel.

#include <fcntl.h>
#include <net/if.h>
#include <regex.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "SCInternal.h"

using emu::sc::Owned;

struct __SCDynamicStore {
  CFRuntimeBase base;
  Owned<CFStringRef> name;
  SCDynamicStoreCallBack callout = nullptr;  // kept, never called: notifications are not emulated
  SCDynamicStoreContext context = {};

  ~__SCDynamicStore() {
    if (context.release != nullptr) context.release(context.info);
  }
};

namespace {

const CFRuntimeClass kDynamicStoreClass = {
    "SCDynamicStore", emu::cfFinalize<__SCDynamicStore>, nullptr, nullptr, nullptr, nullptr};

const char kStoreDirectory[] = "/var/run/configd";
const char kStorePath[] = "/var/run/configd/store.plist";
const char kStoreLockPath[] = "/var/run/configd/store.plist-lock";

// Adds the dictionary at base to the Setup: keys as configd flattens the
// preferences: its plain values under the key for path, each dictionary
// under a key of its own. A link stands for the dictionary it names; an
// inactive dictionary is left out with everything below it.
void flatten(SCPreferencesRef prefs, const std::string &path, CFDictionaryRef base, CFMutableDictionaryRef setup) {
  CFDictionaryRef subset = base;
  if (CFTypeRef link = CFDictionaryGetValue(base, kSCResvLink)) {
    subset = emu::sc::isString(link) ? SCPreferencesPathGetValue(prefs, static_cast<CFStringRef>(link)) : nullptr;
    if (subset == nullptr) return;
  }
  if (CFDictionaryContainsKey(subset, kSCResvInactive)) return;

  Owned<CFStringRef> key(emu::sc::createString("Setup:" + path));
  auto existing = static_cast<CFDictionaryRef>(CFDictionaryGetValue(setup, key.get()));
  Owned<CFMutableDictionaryRef> values(existing != nullptr ? CFDictionaryCreateMutableCopy(nullptr, 0, existing)
                                                           : emu::sc::createMutableDictionary());
  for (const auto &[name, value] : emu::sc::entries(subset)) {
    if (emu::sc::isDictionary(value)) {
      std::string component = emu::sc::utf8(static_cast<CFStringRef>(name));
      flatten(prefs, path == "/" ? path + component : path + "/" + component, static_cast<CFDictionaryRef>(value),
              setup);
    } else {
      CFDictionarySetValue(values.get(), name, value);
    }
  }
  if (CFDictionaryGetCount(values.get()) > 0) CFDictionarySetValue(setup, key.get(), values.get());
}

// What configd publishes for the stored network preferences: the system
// settings and the current set flattened under Setup:/, and Setup: itself
// naming the current set and the time of the update.
Owned<CFMutableDictionaryRef> setupKeys() {
  Owned<CFMutableDictionaryRef> setup(emu::sc::createMutableDictionary());
  Owned<CFMutableDictionaryRef> status(emu::sc::createMutableDictionary());
  Owned<SCPreferencesRef> prefs(SCPreferencesCreate(nullptr, CFSTR("PreferencesMonitor.bundle"), nullptr));
  CFPropertyListRef system = prefs ? SCPreferencesGetValue(prefs.get(), kSCPrefSystem) : nullptr;
  if (emu::sc::isDictionary(system)) flatten(prefs.get(), "/", static_cast<CFDictionaryRef>(system), setup.get());
  CFPropertyListRef current = prefs ? SCPreferencesGetValue(prefs.get(), kSCPrefCurrentSet) : nullptr;
  if ((system == nullptr || emu::sc::isDictionary(system)) && emu::sc::isString(current)) {
    CFDictionaryRef set = SCPreferencesPathGetValue(prefs.get(), static_cast<CFStringRef>(current));
    if (set != nullptr) {
      flatten(prefs.get(), "/", set, setup.get());
      CFDictionarySetValue(status.get(), kSCDynamicStorePropSetupCurrentSet, current);
    }
  }
  Owned<CFDateRef> now(CFDateCreate(nullptr, CFAbsoluteTimeGetCurrent()));
  CFDictionarySetValue(status.get(), kSCDynamicStorePropSetupLastUpdated, now.get());
  CFDictionarySetValue(setup.get(), kSCDynamicStoreDomainSetup, status.get());
  return setup;
}

void replaceSetupKeys(CFMutableDictionaryRef keys) {
  int status = SCError();  // reading the preferences here is nobody else's business
  Owned<CFMutableDictionaryRef> setup = setupKeys();
  _SCErrorSet(status);
  std::vector<Owned<CFTypeRef>> published;
  for (const auto &entry : emu::sc::entries(keys)) {
    if (CFStringHasPrefix(static_cast<CFStringRef>(entry.first), kSCDynamicStoreDomainSetup)) {
      published.emplace_back(CFRetain(entry.first));
    }
  }
  for (const auto &key : published) CFDictionaryRemoveValue(keys, key.get());
  for (const auto &[key, value] : emu::sc::entries(setup.get())) CFDictionarySetValue(keys, key, value);
}

Owned<CFMutableDictionaryRef> readStore() {
  std::vector<UInt8> bytes;
  struct stat status;
  if (!emu::sc::readFile(kStorePath, bytes, status)) return nullptr;
  Owned<CFDataRef> data(CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size())));
  Owned<CFPropertyListRef> plist(
      CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
  if (!emu::sc::isDictionary(plist.get())) return nullptr;
  return Owned<CFMutableDictionaryRef>(
      CFDictionaryCreateMutableCopy(nullptr, 0, static_cast<CFDictionaryRef>(plist.get())));
}

bool writeStore(CFDictionaryRef keys) {
  Owned<CFDataRef> data(CFPropertyListCreateData(nullptr, keys, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  return data && emu::sc::replaceFile(kStorePath, data.get(), 0644) == 0;
}

// Runs change on the stored keys with the store locked, and stores them
// again when it returns true. Only root changes the store, as on the Mac;
// anyone may read it, without the lock if they cannot take it, since the
// store is only ever replaced whole.
template <typename Change>
bool withStore(Change change) {
  mkdir(kStoreDirectory, 0755);
  int fd = open(kStoreLockPath, O_RDONLY | O_CREAT | O_CLOEXEC, 0644);
  while (fd != -1 && flock(fd, LOCK_EX) == -1 && errno == EINTR) {
  }
  Owned<CFMutableDictionaryRef> keys = readStore();
  bool booting = !keys;
  if (booting) {
    keys.reset(emu::sc::createMutableDictionary());
    replaceSetupKeys(keys.get());
  }
  bool changed = change(keys.get());
  // A reader that may not store what it found at boot still answers with it.
  bool saved = !(changed || booting) || (fd != -1 && writeStore(keys.get()));
  if (fd != -1) close(fd);
  if (changed && !saved) {
    _SCErrorSet(kSCStatusFailed);
    return false;
  }
  return true;
}

// The State: keys of the network interfaces, from the running system: the
// list of interfaces and the link state of each. Loopback is left out: the
// Mac's is lo0, the fake Mac's is Linux's lo.
void addInterfaceState(CFMutableDictionaryRef keys) {
  struct if_nameindex *interfaces = if_nameindex();
  if (interfaces == nullptr) return;
  int sock = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  Owned<CFMutableArrayRef> names(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  for (struct if_nameindex *entry = interfaces; sock != -1 && entry->if_index != 0; ++entry) {
    struct ifreq request {};
    std::strncpy(request.ifr_name, entry->if_name, IFNAMSIZ - 1);
    if (ioctl(sock, SIOCGIFFLAGS, &request) == -1 || (request.ifr_flags & IFF_LOOPBACK) != 0) continue;
    Owned<CFStringRef> name(emu::sc::createString(entry->if_name));
    CFArrayAppendValue(names.get(), name.get());
    Owned<CFStringRef> key(
        SCDynamicStoreKeyCreateNetworkInterfaceEntity(nullptr, kSCDynamicStoreDomainState, name.get(), kSCEntNetLink));
    const void *linkKeys[] = {kSCPropNetLinkActive};
    const void *linkValues[] = {(request.ifr_flags & IFF_RUNNING) != 0 ? kCFBooleanTrue : kCFBooleanFalse};
    Owned<CFDictionaryRef> link(CFDictionaryCreate(nullptr, linkKeys, linkValues, 1, &kCFTypeDictionaryKeyCallBacks,
                                                   &kCFTypeDictionaryValueCallBacks));
    CFDictionarySetValue(keys, key.get(), link.get());
  }
  if (sock != -1) close(sock);
  if_freenameindex(interfaces);

  Owned<CFStringRef> key(SCDynamicStoreKeyCreateNetworkInterface(nullptr, kSCDynamicStoreDomainState));
  const void *listKeys[] = {kSCDynamicStorePropNetInterfaces};
  const void *listValues[] = {names.get()};
  Owned<CFDictionaryRef> list(CFDictionaryCreate(nullptr, listKeys, listValues, 1, &kCFTypeDictionaryKeyCallBacks,
                                                 &kCFTypeDictionaryValueCallBacks));
  CFDictionarySetValue(keys, key.get(), list.get());
}

// Every key the store answers with: the stored ones and the live ones.
Owned<CFMutableDictionaryRef> snapshot() {
  Owned<CFMutableDictionaryRef> keys;
  bool ok = withStore([&](CFMutableDictionaryRef stored) {
    keys.reset(CFDictionaryCreateMutableCopy(nullptr, 0, stored));
    return false;
  });
  if (!ok) return nullptr;
  addInterfaceState(keys.get());
  return keys;
}

// A key pattern as configd compiles it: extended syntax, anchored at both ends.
class Pattern {
 public:
  explicit Pattern(CFStringRef pattern) {
    std::string text = emu::sc::utf8(pattern);
    if (text.compare(0, 1, "^") != 0) text.insert(0, "^");
    bool anchored = text.size() > 1 && text.back() == '$' && text.compare(text.size() - 2, 2, "\\$") != 0;
    if (!anchored) text += "$";
    compiled_ = regcomp(&regex_, text.c_str(), REG_EXTENDED | REG_NOSUB) == 0;
  }
  ~Pattern() {
    if (compiled_) regfree(&regex_);
  }
  Pattern(const Pattern &) = delete;
  Pattern &operator=(const Pattern &) = delete;

  bool compiled() const { return compiled_; }
  bool matches(CFStringRef key) const { return regexec(&regex_, emu::sc::utf8(key).c_str(), 0, nullptr, 0) == 0; }

 private:
  regex_t regex_{};
  bool compiled_;
};

bool validKey(CFStringRef key) {
  if (emu::sc::isString(key)) return true;
  _SCErrorSet(kSCStatusInvalidArgument);
  return false;
}

// Only root may change the store.
bool mayWrite() {
  if (geteuid() == 0) return true;
  _SCErrorSet(kSCStatusAccessError);
  return false;
}

}  // namespace

namespace emu::sc {

void primeStore() {
  withStore([](CFMutableDictionaryRef) { return false; });
}

bool publishSetup() {
  return withStore([](CFMutableDictionaryRef keys) {
    replaceSetupKeys(keys);
    return true;
  });
}

bool interfaceExists(CFStringRef bsdName) { return if_nametoindex(utf8(bsdName).c_str()) != 0; }

}  // namespace emu::sc

CFTypeID SCDynamicStoreGetTypeID(void) {
  static const CFTypeID typeID = _CFRuntimeRegisterClass(&kDynamicStoreClass);
  return typeID;
}

SCDynamicStoreRef SCDynamicStoreCreate(CFAllocatorRef, CFStringRef name, SCDynamicStoreCallBack callout,
                                       SCDynamicStoreContext *context) {
  auto *store = emu::cfCreate<__SCDynamicStore>(SCDynamicStoreGetTypeID());
  if (name != nullptr) store->name.reset(CFStringCreateCopy(nullptr, name));
  store->callout = callout;
  if (context != nullptr) {
    store->context = *context;
    if (context->retain != nullptr) store->context.info = const_cast<void *>(context->retain(context->info));
  }
  return store;
}

CFPropertyListRef SCDynamicStoreCopyValue(SCDynamicStoreRef, CFStringRef key) {
  if (!validKey(key)) return nullptr;
  Owned<CFMutableDictionaryRef> keys = snapshot();
  if (!keys) return nullptr;
  CFPropertyListRef value = CFDictionaryGetValue(keys.get(), key);
  if (value == nullptr) {
    _SCErrorSet(kSCStatusNoKey);
    return nullptr;
  }
  return CFRetain(value);
}

CFArrayRef SCDynamicStoreCopyKeyList(SCDynamicStoreRef, CFStringRef pattern) {
  if (!validKey(pattern)) return nullptr;
  Pattern compiled(pattern);
  if (!compiled.compiled()) {
    _SCErrorSet(kSCStatusFailed);
    return nullptr;
  }
  Owned<CFMutableDictionaryRef> keys = snapshot();
  if (!keys) return nullptr;
  std::vector<const void *> matching;
  for (const auto &entry : emu::sc::entries(keys.get())) {
    if (compiled.matches(static_cast<CFStringRef>(entry.first))) matching.push_back(entry.first);
  }
  std::sort(matching.begin(), matching.end(), [](const void *a, const void *b) {
    return CFStringCompare(static_cast<CFStringRef>(a), static_cast<CFStringRef>(b), 0) == kCFCompareLessThan;
  });
  return CFArrayCreate(nullptr, matching.data(), static_cast<CFIndex>(matching.size()), &kCFTypeArrayCallBacks);
}

CFDictionaryRef SCDynamicStoreCopyMultiple(SCDynamicStoreRef, CFArrayRef keys, CFArrayRef patterns) {
  Owned<CFMutableDictionaryRef> all = snapshot();
  if (!all) return nullptr;
  CFMutableDictionaryRef result = emu::sc::createMutableDictionary();
  for (CFIndex i = 0, n = keys != nullptr ? CFArrayGetCount(keys) : 0; i < n; ++i) {
    const void *key = CFArrayGetValueAtIndex(keys, i);
    if (const void *value = CFDictionaryGetValue(all.get(), key)) CFDictionarySetValue(result, key, value);
  }
  for (CFIndex i = 0, n = patterns != nullptr ? CFArrayGetCount(patterns) : 0; i < n; ++i) {
    auto pattern = static_cast<CFStringRef>(CFArrayGetValueAtIndex(patterns, i));
    if (!emu::sc::isString(pattern)) continue;
    Pattern compiled(pattern);
    if (!compiled.compiled()) continue;
    for (const auto &[key, value] : emu::sc::entries(all.get())) {
      if (compiled.matches(static_cast<CFStringRef>(key))) CFDictionarySetValue(result, key, value);
    }
  }
  return result;
}

Boolean SCDynamicStoreSetValue(SCDynamicStoreRef, CFStringRef key, CFPropertyListRef value) {
  if (!validKey(key) || !mayWrite()) return FALSE;
  if (value == nullptr || !CFPropertyListIsValid(value, kCFPropertyListXMLFormat_v1_0)) {
    _SCErrorSet(kSCStatusFailed);
    return FALSE;
  }
  return withStore([&](CFMutableDictionaryRef keys) {
    CFDictionarySetValue(keys, key, value);
    return true;
  });
}

Boolean SCDynamicStoreRemoveValue(SCDynamicStoreRef, CFStringRef key) {
  if (!validKey(key) || !mayWrite()) return FALSE;
  bool found = false;
  bool ok = withStore([&](CFMutableDictionaryRef keys) {
    found = CFDictionaryContainsKey(keys, key);
    CFDictionaryRemoveValue(keys, key);
    return found;
  });
  if (ok && !found) _SCErrorSet(kSCStatusNoKey);
  return ok && found;
}

CFStringRef SCDynamicStoreKeyCreate(CFAllocatorRef allocator, CFStringRef fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  CFStringRef key = CFStringCreateWithFormatAndArguments(allocator, nullptr, fmt, arguments);
  va_end(arguments);
  return key;
}

// <domain>/Network/<component>/<id>[/<entity>]: interface and service keys.
static CFStringRef networkEntityKey(CFAllocatorRef allocator, CFStringRef domain, CFStringRef component,
                                    CFStringRef id, CFStringRef entity) {
  if (entity == nullptr) {
    return CFStringCreateWithFormat(allocator, nullptr, CFSTR("%@/%@/%@/%@"), domain, kSCCompNetwork, component, id);
  }
  return CFStringCreateWithFormat(allocator, nullptr, CFSTR("%@/%@/%@/%@/%@"), domain, kSCCompNetwork, component, id,
                                  entity);
}

CFStringRef SCDynamicStoreKeyCreateNetworkGlobalEntity(CFAllocatorRef allocator, CFStringRef domain,
                                                       CFStringRef entity) {
  return CFStringCreateWithFormat(allocator, nullptr, CFSTR("%@/%@/%@/%@"), domain, kSCCompNetwork, kSCCompGlobal,
                                  entity);
}

CFStringRef SCDynamicStoreKeyCreateNetworkInterface(CFAllocatorRef allocator, CFStringRef domain) {
  return CFStringCreateWithFormat(allocator, nullptr, CFSTR("%@/%@/%@"), domain, kSCCompNetwork, kSCCompInterface);
}

CFStringRef SCDynamicStoreKeyCreateNetworkInterfaceEntity(CFAllocatorRef allocator, CFStringRef domain,
                                                          CFStringRef ifname, CFStringRef entity) {
  return networkEntityKey(allocator, domain, kSCCompInterface, ifname, entity);
}

CFStringRef SCDynamicStoreKeyCreateNetworkServiceEntity(CFAllocatorRef allocator, CFStringRef domain,
                                                        CFStringRef serviceID, CFStringRef entity) {
  return networkEntityKey(allocator, domain, kSCCompService, serviceID, entity);
}
