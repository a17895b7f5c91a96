// The objects' life: reference counts, the live count tests read, and
// equality as CoreWLAN defines it for the ordered sets.

#include <algorithm>

#include "WlanInternal.h"
#include "emu/ObjectCounts.h"

namespace emu::wlan {
namespace {

std::atomic<long> gLiveObjects{0};

std::string securityOf(CFDictionaryRef entry) {
  CFTypeRef security = CFDictionaryGetValue(entry, CFSTR("SecurityType"));
  return emu::sc::isString(security) ? emu::sc::utf8(static_cast<CFStringRef>(security)) : "";
}

bool sameText(CFStringRef a, CFStringRef b) { return a == b || (a && b && CFEqual(a, b)); }

}  // namespace

Object::Object(Kind kind, bool isMutable) : kind(kind), isMutable(isMutable) { ++gLiveObjects; }

Object::~Object() { --gLiveObjects; }

Ref Ref::adopt(Object *object) {
  Ref ref;
  ref.object_ = object;
  return ref;
}

Ref Ref::retain(Object *object) {
  if (object) object->references.fetch_add(1, std::memory_order_relaxed);
  return adopt(object);
}

Ref::~Ref() {
  if (object_ && object_->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete object_;
}

NetworkProfile::NetworkProfile(std::string key, CFDictionaryRef entry, bool isMutable)
    : Object(Kind::NetworkProfile, isMutable),
      key(std::move(key)),
      entry(static_cast<CFDictionaryRef>(CFRetain(entry))) {}

Owned<CFStringRef> NetworkProfile::copySsid() const {
  CFTypeRef text = CFDictionaryGetValue(entry.get(), CFSTR("SSIDString"));
  if (emu::sc::isString(text)) return Owned<CFStringRef>(static_cast<CFStringRef>(CFRetain(text)));
  CFTypeRef bytes = CFDictionaryGetValue(entry.get(), CFSTR("SSID"));
  if (!emu::sc::isA(bytes, CFDataGetTypeID())) return nullptr;
  CFDataRef data = static_cast<CFDataRef>(bytes);
  return Owned<CFStringRef>(CFStringCreateWithBytes(nullptr, CFDataGetBytePtr(data), CFDataGetLength(data),
                                                    kCFStringEncodingUTF8, false));
}

bool NetworkProfile::isEqual(const Object &other) const {
  if (other.kind != Kind::NetworkProfile) return false;
  const auto &profile = static_cast<const NetworkProfile &>(other);
  return sameText(copySsid().get(), profile.copySsid().get()) &&
         securityOf(entry.get()) == securityOf(profile.entry.get());
}

Network::Network(CFStringRef ssid, std::string bssid, long rssi, std::string security)
    : Object(Kind::Network, false),
      ssid(ssid ? static_cast<CFStringRef>(CFRetain(ssid)) : nullptr),
      bssid(std::move(bssid)),
      rssi(rssi),
      security(std::move(security)) {}

bool Network::isEqual(const Object &other) const {
  if (other.kind != Kind::Network) return false;
  const auto &network = static_cast<const Network &>(other);
  return sameText(ssid.get(), network.ssid.get()) && bssid == network.bssid && security == network.security;
}

bool Collection::contains(const Object &object) const {
  return std::any_of(items.begin(), items.end(), [&](const Ref &item) { return item.get()->isEqual(object); });
}

CFErrorRef createError(CFIndex code) {
  Owned<CFStringRef> domain(emu::sc::createString(kErrorDomain));
  return CFErrorCreate(nullptr, domain.get(), code, nullptr);
}

}  // namespace emu::wlan

long emu_wlan_live_objects(void) { return emu::wlan::gLiveObjects.load(std::memory_order_relaxed); }
