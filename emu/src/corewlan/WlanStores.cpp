// The files behind the framework's state: the remembered networks, where
// macOS 12 keeps them (KnownNetworks entries named "wifi.ssid.<hex>", and
// PreferredOrder, their keys most preferred first), and the emulated radio
// environment. Both are read afresh on every use and replaced whole.

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <set>

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
  int error;
  mode_t mode;
  Owned<CFDictionaryRef> current = readDictionary(kKnownNetworksPath, kCFPropertyListImmutable, error, mode);
  if (error != 0) return error;
  Owned<CFMutableDictionaryRef> root(current ? CFDictionaryCreateMutableCopy(nullptr, 0, current.get())
                                             : emu::sc::createMutableDictionary());
  Owned<CFMutableDictionaryRef> known(emu::sc::createMutableDictionary());
  Owned<CFMutableArrayRef> order(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  for (const Ref &ref : profiles) {
    const auto *profile = static_cast<const NetworkProfile *>(ref.get());
    Owned<CFStringRef> key(emu::sc::createString(profile->key));
    if (CFDictionaryContainsKey(known.get(), key.get())) continue;
    CFDictionarySetValue(known.get(), key.get(), profile->entry.get());
    CFArrayAppendValue(order.get(), key.get());
  }
  CFDictionarySetValue(root.get(), CFSTR("KnownNetworks"), known.get());
  CFDictionarySetValue(root.get(), CFSTR("PreferredOrder"), order.get());
  return writeDictionary(kKnownNetworksPath, root.get(), mode);
}

Owned<CFMutableDictionaryRef> loadRadio() {
  int error;
  mode_t mode;
  Owned<CFDictionaryRef> root = readDictionary(kRadioPath, kCFPropertyListMutableContainers, error, mode);
  if (!root) return Owned<CFMutableDictionaryRef>(emu::sc::createMutableDictionary());
  return Owned<CFMutableDictionaryRef>(const_cast<CFMutableDictionaryRef>(static_cast<CFDictionaryRef>(root.release())));
}

int saveRadio(CFDictionaryRef radio) { return writeDictionary(kRadioPath, radio, 0644); }

}  // namespace emu::wlan
