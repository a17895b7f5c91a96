#include "ProfileStore.h"

#include <sys/stat.h>

#include <cerrno>

#include "common/Files.h"

using emu::Owned;

namespace {

bool isArray(CFTypeRef value) { return emu::isA(value, CFArrayGetTypeID()); }

// The index of the profile with the identifier in the owner's array, or kCFNotFound.
CFIndex indexOf(CFArrayRef profiles, CFStringRef identifier) {
  for (CFIndex i = 0; i < CFArrayGetCount(profiles); ++i) {
    auto profile = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(profiles, i));
    CFTypeRef stored = CFDictionaryGetValue(profile, CFSTR("ProfileIdentifier"));
    if (stored != nullptr && CFEqual(stored, identifier)) {
      return i;
    }
  }
  return kCFNotFound;
}

// Creates each missing folder of the path's directory.
void makeParents(const std::string &path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    mkdir(path.substr(0, slash).c_str(), 0755);
  }
}

}  // namespace

int ProfileStore::load() {
  std::vector<UInt8> bytes;
  struct stat status;
  if (!emu::readFile(kPath, bytes, status)) {
    if (errno != ENOENT) return errno != 0 ? errno : EIO;
    root_.reset(emu::createMutableDictionary());
    return 0;
  }
  mode_ = status.st_mode & 07777;
  Owned<CFDataRef> data(CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size())));
  Owned<CFPropertyListRef> plist(
      CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListMutableContainers, nullptr, nullptr));
  if (!emu::isDictionary(plist.get())) return EINVAL;
  for (const auto &[owner, profiles] : emu::entries(static_cast<CFDictionaryRef>(plist.get()))) {
    if (!emu::isString(owner) || !isArray(profiles)) return EINVAL;
    auto list = static_cast<CFArrayRef>(profiles);
    for (CFIndex i = 0; i < CFArrayGetCount(list); ++i) {
      if (!emu::isDictionary(CFArrayGetValueAtIndex(list, i))) return EINVAL;
    }
  }
  root_.reset(static_cast<CFMutableDictionaryRef>(const_cast<void *>(plist.release())));
  return 0;
}

int ProfileStore::save() {
  Owned<CFDataRef> data(CFPropertyListCreateData(nullptr, root_.get(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  if (!data) return EINVAL;
  makeParents(kPath);
  return emu::replaceFile(kPath, data.get(), mode_);
}

std::vector<Owned<CFDictionaryRef>> ProfileStore::all() const {
  std::vector<Owned<CFDictionaryRef>> profiles;
  for (const auto &[owner, list] : emu::entries(root_.get())) {
    for (CFIndex i = 0; i < CFArrayGetCount(static_cast<CFArrayRef>(list)); ++i) {
      CFTypeRef profile = CFArrayGetValueAtIndex(static_cast<CFArrayRef>(list), i);
      profiles.emplace_back(static_cast<CFDictionaryRef>(CFRetain(profile)));
    }
  }
  return profiles;
}

Owned<CFDictionaryRef> ProfileStore::put(const std::string &owner, CFDictionaryRef installed) {
  Owned<CFStringRef> identifier(
      static_cast<CFStringRef>(CFRetain(CFDictionaryGetValue(installed, CFSTR("ProfileIdentifier")))));
  Owned<CFDictionaryRef> replaced = take(owner, identifier.get());
  Owned<CFStringRef> key(emu::createString(owner));
  auto profiles = static_cast<CFMutableArrayRef>(const_cast<void *>(CFDictionaryGetValue(root_.get(), key.get())));
  if (profiles == nullptr) {
    Owned<CFMutableArrayRef> created(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    CFDictionarySetValue(root_.get(), key.get(), created.get());
    profiles = created.get();
  }
  CFArrayAppendValue(profiles, installed);
  return replaced;
}

Owned<CFDictionaryRef> ProfileStore::take(const std::string &owner, CFStringRef identifier) {
  Owned<CFStringRef> key(emu::createString(owner));
  auto profiles = static_cast<CFMutableArrayRef>(const_cast<void *>(CFDictionaryGetValue(root_.get(), key.get())));
  CFIndex index = profiles != nullptr ? indexOf(profiles, identifier) : kCFNotFound;
  if (index == kCFNotFound) return nullptr;
  Owned<CFDictionaryRef> taken(static_cast<CFDictionaryRef>(CFRetain(CFArrayGetValueAtIndex(profiles, index))));
  CFArrayRemoveValueAtIndex(profiles, index);
  // An owner without profiles is not listed.
  if (CFArrayGetCount(profiles) == 0) CFDictionaryRemoveValue(root_.get(), key.get());
  return taken;
}
