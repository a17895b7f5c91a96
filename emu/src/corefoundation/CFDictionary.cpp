// CFDictionary: entries kept in insertion order (so enumeration is
// deterministic) with a hash index over the keys. Keys and values are
// retained, compared and hashed through the dictionary's callbacks (none:
// plain pointers).

#include <list>
#include <unordered_map>
#include <vector>

#include "CFInternal.h"

struct __CFDictionary {
  struct Entry {
    const void *key;
    const void *value;
  };

  CFRuntimeBase base;
  CFDictionaryKeyCallBacks keyCallBacks;
  CFDictionaryValueCallBacks valueCallBacks;
  std::list<Entry> entries;
  std::unordered_multimap<CFHashCode, std::list<Entry>::iterator> index;

  CFHashCode hash(const void *key) const {
    return keyCallBacks.hash ? keyCallBacks.hash(key) : reinterpret_cast<CFHashCode>(key);
  }
  bool keysEqual(const void *a, const void *b) const {
    return a == b || (keyCallBacks.equal && keyCallBacks.equal(a, b));
  }
  bool valuesEqual(const void *a, const void *b) const {
    return a == b || (valueCallBacks.equal && valueCallBacks.equal(a, b));
  }
  const void *retainKey(const void *key) const {
    return keyCallBacks.retain ? keyCallBacks.retain(nullptr, key) : key;
  }
  const void *retainValue(const void *value) const {
    return valueCallBacks.retain ? valueCallBacks.retain(nullptr, value) : value;
  }
  void releaseKey(const void *key) const {
    if (keyCallBacks.release) keyCallBacks.release(nullptr, key);
  }
  void releaseValue(const void *value) const {
    if (valueCallBacks.release) valueCallBacks.release(nullptr, value);
  }

  Entry *find(const void *key) const {
    auto range = index.equal_range(hash(key));
    for (auto it = range.first; it != range.second; ++it)
      if (keysEqual(it->second->key, key)) return &*it->second;
    return nullptr;
  }
  void add(const void *key, const void *value) {
    entries.push_back({retainKey(key), retainValue(value)});
    index.emplace(hash(key), std::prev(entries.end()));
  }
  void replace(Entry &entry, const void *value) {
    const void *old = entry.value;
    entry.value = retainValue(value);
    releaseValue(old);
  }
  void remove(const void *key) {
    auto range = index.equal_range(hash(key));
    for (auto it = range.first; it != range.second; ++it) {
      if (!keysEqual(it->second->key, key)) continue;
      Entry entry = *it->second;
      entries.erase(it->second);
      index.erase(it);
      releaseKey(entry.key);
      releaseValue(entry.value);
      return;
    }
  }

  ~__CFDictionary() {
    for (const Entry &entry : entries) {
      releaseKey(entry.key);
      releaseValue(entry.value);
    }
  }
};

using Entry = __CFDictionary::Entry;

namespace emu {
namespace {

const __CFDictionary *dictionaryArg(CFDictionaryRef dictionary, const char *function) {
  requireType(dictionary, kDictionaryTypeID, function);
  return dictionary;
}

__CFDictionary *mutableDictionaryArg(CFMutableDictionaryRef dictionary, const char *function) {
  requireMutable(dictionary, kDictionaryTypeID, function);
  return dictionary;
}

const void *copyStringKey(CFAllocatorRef, const void *key) {
  return CFStringCreateCopy(nullptr, static_cast<CFStringRef>(key));
}

// A key already present keeps its first value.
__CFDictionary *create(const CFDictionaryKeyCallBacks *keyCallBacks, const CFDictionaryValueCallBacks *valueCallBacks,
                       bool isMutable) {
  __CFDictionary *dictionary = cfCreate<__CFDictionary>(kDictionaryTypeID);
  if (keyCallBacks) dictionary->keyCallBacks = *keyCallBacks;
  if (valueCallBacks) dictionary->valueCallBacks = *valueCallBacks;
  if (isMutable) setMutable(dictionary);
  return dictionary;
}

__CFDictionary *createCopy(const __CFDictionary *source, bool isMutable) {
  __CFDictionary *copy = create(&source->keyCallBacks, &source->valueCallBacks, isMutable);
  for (const Entry &entry : source->entries) copy->add(entry.key, entry.value);
  return copy;
}

Boolean dictionaryEqual(CFTypeRef a, CFTypeRef b) {
  auto x = static_cast<CFDictionaryRef>(a), y = static_cast<CFDictionaryRef>(b);
  if (x->entries.size() != y->entries.size()) return false;
  for (const Entry &entry : x->entries) {
    const Entry *other = y->find(entry.key);
    if (!other || !x->valuesEqual(entry.value, other->value)) return false;
  }
  return true;
}

CFHashCode dictionaryHash(CFTypeRef cf) { return static_cast<CFDictionaryRef>(cf)->entries.size(); }

std::u16string describe(CFDictionaryCopyDescriptionCallBack copyDescription, const void *value) {
  CFStringRef description = copyDescription ? copyDescription(value) : nullptr;
  if (!description) return utf16FromUTF8(strprintf("<0x%lx>", reinterpret_cast<unsigned long>(value)));
  std::u16string text = stringChars(description);
  CFRelease(description);
  return text;
}

CFStringRef dictionaryCopyDebugDesc(CFTypeRef cf) {
  auto dictionary = static_cast<CFDictionaryRef>(cf);
  // Shown as the Mac shows it, after the hash table behind dictionaries.
  std::u16string text = utf16FromUTF8(
      strprintf("<CFBasicHash 0x%lx [0x%lx]>{type = %s dict, count = %zu,\nentries =>\n", reinterpret_cast<unsigned long>(cf),
                reinterpret_cast<unsigned long>(kCFAllocatorSystemDefault), isMutable(cf) ? "mutable" : "immutable",
                dictionary->entries.size()));
  size_t i = 0;
  for (const Entry &entry : dictionary->entries) {
    text += utf16FromUTF8(strprintf("\t%zu : ", i++)) + describe(dictionary->keyCallBacks.copyDescription, entry.key) +
            u" = " + describe(dictionary->valueCallBacks.copyDescription, entry.value) + u"\n";
  }
  return stringCreate(text + u"}\n", false);
}

}  // namespace

const CFRuntimeClass kDictionaryClass = {"CFDictionary", cfFinalize<__CFDictionary>, dictionaryEqual, dictionaryHash,
                                         nullptr, dictionaryCopyDebugDesc};

}  // namespace emu

using namespace emu;

extern "C" {

const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {0, typeRetain, typeRelease, CFCopyDescription,
                                                                CFEqual, CFHash};
const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks = {0, copyStringKey, typeRelease,
                                                                      CFCopyDescription, CFEqual, CFHash};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {0, typeRetain, typeRelease, CFCopyDescription,
                                                                    CFEqual};

CFTypeID CFDictionaryGetTypeID(void) { return kDictionaryTypeID; }

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef, const void **keys, const void **values, CFIndex numValues,
                                   const CFDictionaryKeyCallBacks *keyCallBacks,
                                   const CFDictionaryValueCallBacks *valueCallBacks) {
  if (numValues < 0) fatal("CFDictionaryCreate() called with negative count %ld", numValues);
  __CFDictionary *dictionary = create(keyCallBacks, valueCallBacks, false);
  for (CFIndex i = 0; i < numValues; ++i)
    if (!dictionary->find(keys[i])) dictionary->add(keys[i], values[i]);
  return dictionary;
}

CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef, CFDictionaryRef theDict) {
  return createCopy(dictionaryArg(theDict, "CFDictionaryCreateCopy"), false);
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex, const CFDictionaryKeyCallBacks *keyCallBacks,
                                                 const CFDictionaryValueCallBacks *valueCallBacks) {
  return create(keyCallBacks, valueCallBacks, true);
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef, CFIndex, CFDictionaryRef theDict) {
  return createCopy(dictionaryArg(theDict, "CFDictionaryCreateMutableCopy"), true);
}

CFIndex CFDictionaryGetCount(CFDictionaryRef theDict) {
  return static_cast<CFIndex>(dictionaryArg(theDict, "CFDictionaryGetCount")->entries.size());
}

const void *CFDictionaryGetValue(CFDictionaryRef theDict, const void *key) {
  const Entry *entry = dictionaryArg(theDict, "CFDictionaryGetValue")->find(key);
  return entry ? entry->value : nullptr;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef theDict, const void *key, const void **value) {
  const Entry *entry = dictionaryArg(theDict, "CFDictionaryGetValueIfPresent")->find(key);
  if (entry && value) *value = entry->value;
  return entry != nullptr;
}

Boolean CFDictionaryContainsKey(CFDictionaryRef theDict, const void *key) {
  return dictionaryArg(theDict, "CFDictionaryContainsKey")->find(key) != nullptr;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef theDict, const void **keys, const void **values) {
  size_t i = 0;
  for (const Entry &entry : dictionaryArg(theDict, "CFDictionaryGetKeysAndValues")->entries) {
    if (keys) keys[i] = entry.key;
    if (values) values[i] = entry.value;
    ++i;
  }
}

void CFDictionaryApplyFunction(CFDictionaryRef theDict, CF_NOESCAPE CFDictionaryApplierFunction applier, void *context) {
  for (const Entry &entry : dictionaryArg(theDict, "CFDictionaryApplyFunction")->entries)
    applier(entry.key, entry.value, context);
}

void CFDictionaryAddValue(CFMutableDictionaryRef theDict, const void *key, const void *value) {
  __CFDictionary *dictionary = mutableDictionaryArg(theDict, "CFDictionaryAddValue");
  if (!dictionary->find(key)) dictionary->add(key, value);
}

void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void *key, const void *value) {
  __CFDictionary *dictionary = mutableDictionaryArg(theDict, "CFDictionarySetValue");
  if (Entry *entry = dictionary->find(key)) {
    dictionary->replace(*entry, value);
  } else {
    dictionary->add(key, value);
  }
}

void CFDictionaryReplaceValue(CFMutableDictionaryRef theDict, const void *key, const void *value) {
  __CFDictionary *dictionary = mutableDictionaryArg(theDict, "CFDictionaryReplaceValue");
  if (Entry *entry = dictionary->find(key)) dictionary->replace(*entry, value);
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef theDict, const void *key) {
  mutableDictionaryArg(theDict, "CFDictionaryRemoveValue")->remove(key);
}

}  // extern "C"
