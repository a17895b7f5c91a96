// The files behind the framework's state: the remembered networks, where
// macOS 12 keeps them (KnownNetworks entries named "wifi.ssid.<hex>", and
// PreferredOrder, their keys most preferred first), and the emulated radio
// environment. Both are read afresh on every use and replaced whole.

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <set>

#include "RememberedNetworks.h"
#include "WlanInternal.h"

namespace emu::wlan {
namespace {

using emu::sc::isDictionary;
using emu::sc::isString;

// The file's dictionary; null with `error` set when it cannot be read or is
// not a dictionary, null with `error` 0 when there is no file.
Owned<CFDictionaryRef> readDictionary(const char *path, CFOptionFlags mutability, int &error, mode_t &mode) {
  std::vector<UInt8> bytes;
  struct stat status;
  error = 0;
  mode = 0644;
  if (!emu::sc::readFile(path, bytes, status)) {
    if (errno != ENOENT) error = errno != 0 ? errno : EIO;
    return nullptr;
  }
  mode = status.st_mode & 07777;
  Owned<CFDataRef> data(CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size())));
  Owned<CFPropertyListRef> plist(CFPropertyListCreateWithData(nullptr, data.get(), mutability, nullptr, nullptr));
  if (!isDictionary(plist.get())) {
    error = EINVAL;
    return nullptr;
  }
  return Owned<CFDictionaryRef>(static_cast<CFDictionaryRef>(CFRetain(plist.get())));
}

int writeDictionary(const char *path, CFDictionaryRef dictionary, mode_t mode) {
  Owned<CFDataRef> data(CFPropertyListCreateData(nullptr, dictionary, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  return data ? emu::sc::replaceFile(path, data.get(), mode) : EINVAL;
}

// Reads the remembered networks, lets `change` edit or replace the entries
// and the order (it answers whether it changed anything) and writes them
// back; the rest of the file stays as it was.
template <typename Change>
int editKnownNetworks(Change change) {
  int error;
  mode_t mode;
  Owned<CFDictionaryRef> current = readDictionary(kKnownNetworksPath, kCFPropertyListImmutable, error, mode);
  if (error != 0) return error;
  Owned<CFMutableDictionaryRef> root(current ? CFDictionaryCreateMutableCopy(nullptr, 0, current.get())
                                             : emu::sc::createMutableDictionary());
  CFTypeRef known = CFDictionaryGetValue(root.get(), CFSTR("KnownNetworks"));
  CFTypeRef order = CFDictionaryGetValue(root.get(), CFSTR("PreferredOrder"));
  Owned<CFMutableDictionaryRef> networks(
      isDictionary(known) ? CFDictionaryCreateMutableCopy(nullptr, 0, static_cast<CFDictionaryRef>(known))
                          : emu::sc::createMutableDictionary());
  Owned<CFMutableArrayRef> keys(emu::sc::isA(order, CFArrayGetTypeID())
                                    ? CFArrayCreateMutableCopy(nullptr, 0, static_cast<CFArrayRef>(order))
                                    : CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  if (!change(networks, keys)) return 0;
  CFDictionarySetValue(root.get(), CFSTR("KnownNetworks"), networks.get());
  CFDictionarySetValue(root.get(), CFSTR("PreferredOrder"), keys.get());
  return writeDictionary(kKnownNetworksPath, root.get(), mode);
}

void addProfile(std::vector<Ref> &profiles, std::set<std::string> &added, CFStringRef key, CFTypeRef entry) {
  std::string name = emu::sc::utf8(key);
  if (!isDictionary(entry) || !added.insert(name).second) return;
  profiles.push_back(Ref::adopt(new NetworkProfile(name, static_cast<CFDictionaryRef>(entry), false)));
}

}  // namespace

bool loadKnownNetworks(std::vector<Ref> &profiles) {
  profiles.clear();
  int error;
  mode_t mode;
  Owned<CFDictionaryRef> root = readDictionary(kKnownNetworksPath, kCFPropertyListImmutable, error, mode);
  if (!root) return error == 0;
  CFTypeRef known = CFDictionaryGetValue(root.get(), CFSTR("KnownNetworks"));
  if (!isDictionary(known)) return true;
  CFDictionaryRef networks = static_cast<CFDictionaryRef>(known);
  std::set<std::string> added;
  CFTypeRef order = CFDictionaryGetValue(root.get(), CFSTR("PreferredOrder"));
  if (emu::sc::isA(order, CFArrayGetTypeID())) {
    CFArrayRef keys = static_cast<CFArrayRef>(order);
    for (CFIndex i = 0; i < CFArrayGetCount(keys); ++i) {
      CFTypeRef key = CFArrayGetValueAtIndex(keys, i);
      if (isString(key)) addProfile(profiles, added, static_cast<CFStringRef>(key), CFDictionaryGetValue(networks, key));
    }
  }
  // Entries missing from the order come last, in key order.
  auto rest = emu::sc::entries(networks);
  std::sort(rest.begin(), rest.end(), [](const auto &a, const auto &b) {
    return isString(a.first) && isString(b.first) &&
           CFStringCompare(static_cast<CFStringRef>(a.first), static_cast<CFStringRef>(b.first), 0) < 0;
  });
  for (const auto &[key, entry] : rest) {
    if (isString(key)) addProfile(profiles, added, static_cast<CFStringRef>(key), entry);
  }
  return true;
}

int saveKnownNetworks(const std::vector<Ref> &profiles) {
  return editKnownNetworks([&](auto &networks, auto &order) {
    networks.reset(emu::sc::createMutableDictionary());
    order.reset(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (const Ref &ref : profiles) {
      const auto *profile = static_cast<const NetworkProfile *>(ref.get());
      Owned<CFStringRef> key(emu::sc::createString(profile->key));
      if (CFDictionaryContainsKey(networks.get(), key.get())) continue;
      CFDictionarySetValue(networks.get(), key.get(), profile->entry.get());
      CFArrayAppendValue(order.get(), key.get());
    }
    return true;
  });
}

Owned<CFMutableDictionaryRef> loadRadio() {
  int error;
  mode_t mode;
  Owned<CFDictionaryRef> root = readDictionary(kRadioPath, kCFPropertyListMutableContainers, error, mode);
  if (!root) return Owned<CFMutableDictionaryRef>(emu::sc::createMutableDictionary());
  return Owned<CFMutableDictionaryRef>(const_cast<CFMutableDictionaryRef>(static_cast<CFDictionaryRef>(root.release())));
}

int saveRadio(CFDictionaryRef radio) { return writeDictionary(kRadioPath, radio, 0644); }

std::string knownNetworkKey(CFDataRef ssid) {
  static const char kDigits[] = "0123456789abcdef";
  std::string key = "wifi.ssid.<";
  const UInt8 *bytes = CFDataGetBytePtr(ssid);
  for (CFIndex i = 0; i < CFDataGetLength(ssid); ++i) {
    if (i > 0 && i % 4 == 0) key += ' ';
    key += kDigits[bytes[i] >> 4];
    key += kDigits[bytes[i] & 0xf];
  }
  return key + ">";
}

int rememberNetwork(CFDictionaryRef entry) {
  CFTypeRef ssid = CFDictionaryGetValue(entry, CFSTR("SSID"));
  if (!emu::sc::isA(ssid, CFDataGetTypeID())) return EINVAL;
  Owned<CFStringRef> key(emu::sc::createString(knownNetworkKey(static_cast<CFDataRef>(ssid))));
  return editKnownNetworks([&](auto &networks, auto &order) {
    CFDictionarySetValue(networks.get(), key.get(), entry);
    if (!CFArrayContainsValue(order.get(), CFRangeMake(0, CFArrayGetCount(order.get())), key.get())) {
      CFArrayAppendValue(order.get(), key.get());
    }
    return true;
  });
}

int forgetNetwork(CFDataRef ssid) {
  Owned<CFStringRef> key(emu::sc::createString(knownNetworkKey(ssid)));
  return editKnownNetworks([&](auto &networks, auto &order) {
    CFIndex position =
        CFArrayGetFirstIndexOfValue(order.get(), CFRangeMake(0, CFArrayGetCount(order.get())), key.get());
    bool known = CFDictionaryContainsKey(networks.get(), key.get());
    if (position != kCFNotFound) CFArrayRemoveValueAtIndex(order.get(), position);
    CFDictionaryRemoveValue(networks.get(), key.get());
    return known || position != kCFNotFound;
  });
}

}  // namespace emu::wlan
