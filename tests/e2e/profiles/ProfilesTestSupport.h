#pragma once
// What the profile tests share: the fixtures, and the fake Mac's profiles
// tool with the profiles it has installed.
#include <gtest/gtest.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "HelperSession.h"

namespace profiletest {

const std::string kFixtures = MACHELPER_SOURCE_DIR "/tests/fixtures/";
// The campus root CA and the PEAP network Campus-Secure.
const std::string kCampusSecure = kFixtures + "support/Campus-Secure.mobileconfig";
// The same document in a CMS envelope, made at build time.
const std::string kSignedCampusSecure =
    MACHELPER_BINARY_DIR "/tests/fixtures/profiles/Campus-Secure-signed.mobileconfig";
// A user profile: the TTLS network Lab-Guest with one-time passwords.
const std::string kGuestOtp = kFixtures + "profiles/Guest-OTP.mobileconfig";
// The campus root CA (pkcs1), then the networks Lab-5G and Lab-2G.
const std::string kLabNetworks = kFixtures + "profiles/Lab-Networks.mobileconfig";
// The campus root CA alone: no network.
const std::string kRootCa = kFixtures + "profiles/Root-CA.mobileconfig";
// The network Workshop in a profile whose display name is empty.
const std::string kUnnamed = kFixtures + "profiles/Unnamed.mobileconfig";
// Profiles in the shapes real deployments use, made at build time from
// tests/fixtures/corpus: <name>.mobileconfig.
const std::string kCorpus = MACHELPER_BINARY_DIR "/tests/fixtures/corpus/";
// helloworld.app, zipped at build time.
const std::string kAppZip = MACHELPER_BINARY_DIR "/tests/fixtures/profiles/helloworld.zip";

constexpr char kCampusId[] = "edu.example.onboarding.campus-secure";
constexpr char kGuestId[] = "edu.example.onboarding.lab-guest";
constexpr char kLabId[] = "edu.example.onboarding.lab";
constexpr char kRootCaId[] = "edu.example.onboarding.root-ca";
constexpr char kUnnamedId[] = "edu.example.onboarding.workshop";

using Owners = std::map<std::string, std::vector<std::string>>;
using Names = std::vector<std::string>;

const Names kImageNetworks{"Corp-Secure", "HomeNet", "Cafe Guest"};
constexpr char kAdminTrust[] = "/Library/Security/Trust Settings/Admin.plist";

// The labels of the System keychain's certificates.
inline Names systemCertificates() {
  Names labels;
  Plist keychain("/Library/Keychains/System.keychain");
  auto items = static_cast<CFArrayRef>(keychain.at({"Items"}));
  for (CFIndex i = 0; items != nullptr && i < CFArrayGetCount(items); ++i) {
    CFTypeRef item = CFArrayGetValueAtIndex(items, i);
    if (utf8(valueAt(item, "class")) == "cert") labels.push_back(utf8(valueAt(item, "labl")));
  }
  return labels;
}

// An SSID as clients send it: the name's bytes and a NUL.
inline Arg ssid(const std::string& name) { return Arg::data("SSID", name + std::string(1, '\0')); }

inline size_t adminTrustedCount() { return Plist(kAdminTrust).keysAt({"trustList"}).size(); }

// /usr/bin/profiles with the arguments.
inline ProcessResult profiles(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "/usr/bin/profiles");
  return ChildProcess::run(arguments);
}

// Installs a fixture for the machine, or for the user.
inline void install(const std::string& file, const std::string& user = "") {
  ProcessResult run = user.empty() ? profiles({"-i", "-F", file}) : profiles({"-I", "-U", user, "-F", file});
  ASSERT_EQ(run.status, 0) << run.err;
}

// The installed profiles' identifiers by owner, as the tool lists them.
inline Owners installedProfiles() {
  const char listing[] = "/tmp/listing.plist";
  ProcessResult run = profiles({"-P", "-o", listing});
  EXPECT_EQ(run.status, 0) << run.err;
  Plist dump(listing);
  Owners owners;
  for (const std::string& owner : dump.keysAt({})) {
    auto list = static_cast<CFArrayRef>(dump.at({owner}));
    for (CFIndex i = 0; i < CFArrayGetCount(list); ++i) {
      owners[owner].push_back(utf8(valueAt(CFArrayGetValueAtIndex(list, i), "ProfileIdentifier")));
    }
  }
  unlink(listing);
  return owners;
}

}  // namespace profiletest
