// Paths into the preferences. Every component but the last may be a link (a
// dictionary holding __LINK__), which stands for the dictionary at the linked
// path; a lookup that follows more than eight links gives up.

#include "SCInternal.h"

using emu::sc::Owned;

namespace {

const int kMaxLinks = 8;

using Components = std::vector<std::string>;

// The components of an absolute path, empty ones dropped; false for anything else.
bool split(CFTypeRef path, Components &components) {
  if (!emu::sc::isString(path)) return false;
  std::string text = emu::sc::utf8(static_cast<CFStringRef>(path));
  if (text.compare(0, 1, "/") != 0) return false;
  components.clear();
  for (size_t start = 1; start <= text.size();) {
    size_t end = std::min(text.find('/', start), text.size());
    if (end > start) components.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return true;
}

// Replaces the components up to and including the i-th by the link's.
bool followLink(CFTypeRef link, size_t i, Components &components, int &links) {
  if (++links > kMaxLinks) {
    _SCErrorSet(kSCStatusMaxLink);
    return false;
  }
  Components target;
  if (!split(link, target)) {
    _SCErrorSet(kSCStatusNoKey);
    return false;
  }
  target.insert(target.end(), components.begin() + static_cast<long>(i) + 1, components.end());
  components = std::move(target);
  return true;
}

// The value named by the i-th component under node (the preferences for i == 0).
CFTypeRef child(SCPreferencesRef prefs, CFTypeRef node, size_t i, const std::string &component) {
  Owned<CFStringRef> key(emu::sc::createString(component));
  if (i == 0) return SCPreferencesGetValue(prefs, key.get());
  return CFDictionaryGetValue(static_cast<CFDictionaryRef>(node), key.get());
}

CFTypeRef linkOf(CFTypeRef dictionary) {
  return CFDictionaryGetValue(static_cast<CFDictionaryRef>(dictionary), kSCResvLink);
}

// The dictionary at a path, following links on the way there.
CFDictionaryRef lookup(SCPreferencesRef prefs, CFTypeRef path) {
  Components components;
  if (!split(path, components)) {
    _SCErrorSet(kSCStatusNoKey);
    return nullptr;
  }
  int links = 0;
  for (;;) {
    if (components.empty()) return emu::sc::preferencesValues(prefs);
    CFTypeRef node = nullptr;
    bool relinked = false;
    for (size_t i = 0; i < components.size() && !relinked; ++i) {
      node = child(prefs, node, i, components[i]);
      if (!emu::sc::isDictionary(node)) {
        _SCErrorSet(kSCStatusNoKey);
        return nullptr;
      }
      CFTypeRef link = linkOf(node);
      if (i + 1 < components.size() && link != nullptr) {
        if (!followLink(link, i, components, links)) return nullptr;
        relinked = true;
      }
    }
    if (!relinked) return static_cast<CFDictionaryRef>(node);
  }
}

// Stores entity at the path, or removes what is there when entity is null.
// Missing dictionaries on the way are created; dictionaries a removal
// leaves empty are removed too.
bool store(SCPreferencesRef prefs, CFStringRef path, CFDictionaryRef entity) {
  Components components;
  if (!split(path, components)) {
    _SCErrorSet(kSCStatusNoKey);
    return false;
  }
  int links = 0;
  std::vector<Owned<CFDictionaryRef>> parents;
  for (bool relinked = true; relinked;) {
    if (components.empty()) {
      Owned<CFDictionaryRef> empty(emu::sc::createMutableDictionary());
      emu::sc::replacePreferencesValues(prefs, entity != nullptr ? entity : empty.get());
      return true;
    }
    relinked = false;
    parents.clear();
    CFTypeRef node = nullptr;
    for (size_t i = 0; i + 1 < components.size() && !relinked; ++i) {
      node = child(prefs, node, i, components[i]);
      Owned<CFDictionaryRef> held(node != nullptr ? static_cast<CFDictionaryRef>(CFRetain(node))
                                                  : emu::sc::createMutableDictionary());
      if (!emu::sc::isDictionary(held.get())) {
        _SCErrorSet(kSCStatusNoKey);
        return false;
      }
      node = held.get();
      parents.push_back(std::move(held));
      if (CFTypeRef link = linkOf(node)) {
        if (!followLink(link, i, components, links)) return false;
        relinked = true;
      }
    }
  }

  size_t last = components.size() - 1;
  CFTypeRef existing = child(prefs, last == 0 ? nullptr : parents.back().get(), last, components[last]);
  if (existing != nullptr && !emu::sc::isDictionary(existing)) {
    _SCErrorSet(kSCStatusInvalidArgument);  // a path never replaces a value that is not a dictionary
    return false;
  }

  Owned<CFDictionaryRef> value(entity != nullptr ? static_cast<CFDictionaryRef>(CFRetain(entity)) : nullptr);
  for (size_t i = last; i > 0; --i) {
    Owned<CFMutableDictionaryRef> parent(CFDictionaryCreateMutableCopy(nullptr, 0, parents[i - 1].get()));
    Owned<CFStringRef> key(emu::sc::createString(components[i]));
    if (value) {
      CFDictionarySetValue(parent.get(), key.get(), value.get());
    } else {
      CFDictionaryRemoveValue(parent.get(), key.get());
    }
    bool keep = value || CFDictionaryGetCount(parent.get()) > 0;
    value.reset(keep ? parent.release() : nullptr);
  }
  Owned<CFStringRef> top(emu::sc::createString(components[0]));
  return value ? SCPreferencesSetValue(prefs, top.get(), value.get()) : SCPreferencesRemoveValue(prefs, top.get());
}

bool isSession(SCPreferencesRef prefs) {
  if (emu::sc::isA(prefs, SCPreferencesGetTypeID())) return true;
  _SCErrorSet(kSCStatusNoPrefsSession);
  return false;
}

}  // namespace

CFDictionaryRef SCPreferencesPathGetValue(SCPreferencesRef prefs, CFStringRef path) {
  if (!isSession(prefs)) return nullptr;
  CFDictionaryRef entity = lookup(prefs, path);
  if (entity == nullptr) return nullptr;
  CFTypeRef link = linkOf(entity);
  return link != nullptr ? lookup(prefs, link) : entity;
}

CFStringRef SCPreferencesPathGetLink(SCPreferencesRef prefs, CFStringRef path) {
  if (!isSession(prefs)) return nullptr;
  CFDictionaryRef entity = lookup(prefs, path);
  if (entity == nullptr) return nullptr;
  CFTypeRef link = linkOf(entity);
  return emu::sc::isString(link) ? static_cast<CFStringRef>(link) : nullptr;
}

Boolean SCPreferencesPathSetValue(SCPreferencesRef prefs, CFStringRef path, CFDictionaryRef value) {
  if (!isSession(prefs)) return FALSE;
  if (!emu::sc::isDictionary(value)) {
    _SCErrorSet(kSCStatusInvalidArgument);
    return FALSE;
  }
  return store(prefs, path, value);
}

Boolean SCPreferencesPathSetLink(SCPreferencesRef prefs, CFStringRef path, CFStringRef link) {
  if (!isSession(prefs)) return FALSE;
  if (!emu::sc::isString(link)) {
    _SCErrorSet(kSCStatusInvalidArgument);
    return FALSE;
  }
  if (lookup(prefs, link) == nullptr) return FALSE;  // a link must lead somewhere
  const void *keys[] = {kSCResvLink};
  const void *values[] = {link};
  Owned<CFDictionaryRef> entity(
      CFDictionaryCreate(nullptr, keys, values, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  return store(prefs, path, entity.get());
}

Boolean SCPreferencesPathRemoveValue(SCPreferencesRef prefs, CFStringRef path) {
  if (!isSession(prefs)) return FALSE;
  if (lookup(prefs, path) == nullptr) return FALSE;
  return store(prefs, path, nullptr);
}
