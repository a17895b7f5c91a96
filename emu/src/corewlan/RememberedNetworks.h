#pragma once
// The remembered networks as the system's own installers change them (a
// configuration profile's Wi-Fi payload), apart from the CoreWLAN objects:
// entries of the airport preferences, filed under "wifi.ssid.<hex>".

#include <CoreFoundation/CoreFoundation.h>

#include <string>

namespace emu::wlan {

// "wifi.ssid.<43616665 20477565 7374>": the SSID's bytes as NSData describes
// them, four to a group.
std::string knownNetworkKey(CFDataRef ssid);

// Files the entry under the key of its "SSID" data: it replaces an entry of
// that network where it stands in the preferred order, and a new network
// comes last. 0 or an errno (EINVAL for an entry without SSID data).
int rememberNetwork(CFDictionaryRef entry);
// Removes the network from the entries and the order; 0 also when it was not
// remembered.
int forgetNetwork(CFDataRef ssid);

}  // namespace emu::wlan
