#pragma once
// What installing a profile changes on the system, as macOS applies the
// payloads that matter here: a Wi-Fi payload becomes a remembered network, a
// certificate payload a certificate of the System keychain, trusted as a root
// when it is self-signed (an identity's certificate is not trusted). Other
// payloads are only listed.
//
// Everything is read from installed profiles as the listing shows them
// (their "ProfileItems"), so removal needs nothing else.

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <vector>

#include "ProfileError.h"
#include "common/CFSupport.h"

class PayloadInstaller {
 public:
  static constexpr char kWifiType[] = "com.apple.wifi.managed";

  // Applies the profile's payloads; false, with `error` set, at the first
  // one that fails.
  bool apply(CFDictionaryRef installed, bool machineLevel, ProfileError &error);
  // Takes away what the profile's payloads brought unless one of the
  // profiles still installed brings it too.
  void remove(CFDictionaryRef installed, const std::vector<emu::Owned<CFDictionaryRef>> &remaining);
};
