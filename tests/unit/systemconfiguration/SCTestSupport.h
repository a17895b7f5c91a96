#pragma once
#include <Security/Security.h>
#include <SystemConfiguration/SystemConfiguration.h>

#include <string>
#include <vector>

#include "CFTestSupport.h"
#include "ChildProcess.h"

namespace sctest {

// The base root's network preferences.
constexpr char kPreferencesPath[] = "/Library/Preferences/SystemConfiguration/preferences.plist";
constexpr char kAutomatic[] = "55F5F3EB-CA2D-46D6-82AC-BF4B034A965C";
constexpr char kOffice[] = "891D29FB-ACB2-4EDE-8520-0A8B171D263A";
// Automatic's services, in the order its set stores them.
constexpr char kEthernet[] = "38C9FE51-C1A3-4CC9-AD73-425D4F3C28A9";
constexpr char kBridge[] = "6681F971-0F45-4AF9-BD04-72F2660C8E85";
constexpr char kWiFi[] = "AB93766D-7442-4933-9E58-5494AA69EC06";
// Office's services; its Thunderbolt Bridge is disabled.
constexpr char kOfficeEthernet[] = "9C312E92-4BFB-4FC0-9811-0CA93BA51278";
constexpr char kOfficeWiFi[] = "2077CEBC-D428-42C3-8B87-7B895755D47E";
constexpr char kOfficeBridge[] = "00E24EC6-B3A4-4A44-BCC3-FC647953ED81";

xpc::CFRef<CFDictionaryRef> dictionary(const std::vector<std::pair<std::string, CFTypeRef>>& entries);
std::vector<std::string> texts(CFArrayRef strings);

// That a call came back false or null, leaving `status` as the last error.
template <typename Result>
::testing::AssertionResult failedWith(const Result& result, int status) {
  int error = SCError();
  if (result) return ::testing::AssertionFailure() << "it succeeded";
  if (error != status) return ::testing::AssertionFailure() << "it failed with " << error << ", not " << status;
  return ::testing::AssertionSuccess();
}

xpc::CFRef<SCPreferencesRef> openPreferences();
// The preferences file as stored, parsed; null if it does not parse.
inline xpc::CFRef<CFPropertyListRef> storedPreferences() { return readPropertyList(kPreferencesPath); }


// One-way signalling between processes.
class Pipe {
 public:
  Pipe();
  ~Pipe();
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  void signal();
  // False when nothing came within a generous time.
  bool wait();

 private:
  int fds_[2];
};

}  // namespace sctest
