#pragma once
// What the fake Mac's base image holds: the network preferences, their two
// locations and the services of each.
constexpr char kPreferencesPlist[] = "/Library/Preferences/SystemConfiguration/preferences.plist";
constexpr char kAutomatic[] = "55F5F3EB-CA2D-46D6-82AC-BF4B034A965C";  // the current location
constexpr char kOffice[] = "891D29FB-ACB2-4EDE-8520-0A8B171D263A";
// Automatic's services, in the order its set stores them.
constexpr char kEthernet[] = "38C9FE51-C1A3-4CC9-AD73-425D4F3C28A9";  // en0, manual IPv6
constexpr char kBridge[] = "6681F971-0F45-4AF9-BD04-72F2660C8E85";
constexpr char kWiFi[] = "AB93766D-7442-4933-9E58-5494AA69EC06";  // en1
// Office's services; its Thunderbolt Bridge is disabled.
constexpr char kOfficeEthernet[] = "9C312E92-4BFB-4FC0-9811-0CA93BA51278";  // manual HTTP and HTTPS proxies
constexpr char kOfficeWiFi[] = "2077CEBC-D428-42C3-8B87-7B895755D47E";
constexpr char kOfficeBridge[] = "00E24EC6-B3A4-4A44-BCC3-FC647953ED81";
// The remembered Wi-Fi networks, most preferred first: Corp-Secure, HomeNet,
// Cafe Guest.
constexpr char kKnownNetworksPlist[] = "/Library/Preferences/SystemConfiguration/com.apple.airport.preferences.plist";
