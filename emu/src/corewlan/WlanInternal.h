#pragma once
// Shared by the CoreWLAN sources: the framework's objects, reference counted
// and counted while alive, and the two stores behind them: the remembered
// networks (the airport preferences, shared by every Wi-Fi interface as on
// macOS 12) and the emulated radio environment.

#include <atomic>
#include <string>
#include <vector>

#include "../systemconfiguration/SCInternal.h"
#include "CoreWlanPlatform.h"

namespace emu::wlan {

using emu::sc::Owned;

constexpr char kKnownNetworksPath[] =
    "/Library/Preferences/SystemConfiguration/com.apple.airport.preferences.plist";
constexpr char kRadioPath[] = "/var/emu/radio.plist";

// CWErrorDomain and the codes the emulation reports.
constexpr char kErrorDomain[] = "com.apple.coreWLAN.error";
constexpr CFIndex kTimeoutErr = -3905;              // kCWTimeoutErr
constexpr CFIndex kOperationNotPermittedErr = -3930;  // kCWOperationNotPermittedErr
constexpr CFIndex kPowerOffErr = 82;                // EPWROFF: the radio is off

enum class Kind { Interface, Configuration, NetworkProfile, Network, OrderedSet, Array };

// The base of every object handed out through xpc::CoreWlanObject.
struct Object {
  Object(Kind kind, bool isMutable);
  virtual ~Object();
  Object(const Object &) = delete;
  Object &operator=(const Object &) = delete;
  // NSObject's isEqual: for the ordered sets.
  virtual bool isEqual(const Object &other) const { return this == &other; }

  const Kind kind;
  const bool isMutable;
  std::atomic<long> references{1};
};

// One reference to an object.
class Ref {
 public:
  Ref() = default;
  static Ref adopt(Object *object);
  static Ref retain(Object *object);
  Ref(const Ref &other) : Ref(retain(other.object_)) {}
  Ref(Ref &&other) noexcept : object_(other.object_) { other.object_ = nullptr; }
  Ref &operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ref();
  Object *get() const { return object_; }
  // Hands the reference to the caller.
  Object *release() { return std::exchange(object_, nullptr); }

 private:
  Object *object_ = nullptr;
};

struct Interface : Object {
  explicit Interface(std::string name) : Object(Kind::Interface, false), name(std::move(name)) {}
  const std::string name;
};

// A remembered network: its KnownNetworks key and entry, kept whole so a
// commit writes back every field it does not change.
struct NetworkProfile : Object {
  NetworkProfile(std::string key, CFDictionaryRef entry, bool isMutable);
  bool isEqual(const Object &other) const override;  // same SSID and security, as CoreWLAN
  Owned<CFStringRef> copySsid() const;

  const std::string key;
  const Owned<CFDictionaryRef> entry;
};

struct Configuration : Object {
  Configuration(std::vector<Ref> profiles, bool isMutable)
      : Object(Kind::Configuration, isMutable), profiles(std::move(profiles)) {}
  std::vector<Ref> profiles;
};

// A network seen by a scan. Hidden networks have no SSID unless probed for.
struct Network : Object {
  Network(CFStringRef ssid, std::string bssid, long rssi, std::string security);
  bool isEqual(const Object &other) const override;  // same SSID, BSSID and security

  const Owned<CFStringRef> ssid;
  const std::string bssid;
  const long rssi;
  const std::string security;
};

struct Collection : Object {
  Collection(Kind kind, bool isMutable, std::vector<Ref> items = {})
      : Object(kind, isMutable), items(std::move(items)) {}
  // NSMutableOrderedSet: an object equal to a member is not added again.
  bool contains(const Object &object) const;
  std::vector<Ref> items;
};

// The remembered networks in preference order. False when the file exists
// but is not a property-list dictionary: such a file is never overwritten.
bool loadKnownNetworks(std::vector<Ref> &profiles);
// Replaces the remembered networks; 0 or an errno.
int saveKnownNetworks(const std::vector<Ref> &profiles);

// The radio environment: a mutable copy of the file's dictionary (empty
// when there is none), written back whole.
Owned<CFMutableDictionaryRef> loadRadio();
int saveRadio(CFDictionaryRef radio);

CFErrorRef createError(CFIndex code);

}  // namespace emu::wlan
