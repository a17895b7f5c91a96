#pragma once
// What the profile tests share: the fixtures, the fake Mac's profiles tool,
// and the system state that installing a profile changes.
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
// helloworld.app, zipped at build time.
const std::string kAppZip = MACHELPER_BINARY_DIR "/tests/fixtures/profiles/helloworld.zip";

constexpr char kCampusId[] = "edu.example.onboarding.campus-secure";
constexpr char kGuestId[] = "edu.example.onboarding.lab-guest";
constexpr char kLabId[] = "edu.example.onboarding.lab";
constexpr char kRootCaId[] = "edu.example.onboarding.root-ca";
constexpr char kUnnamedId[] = "edu.example.onboarding.workshop";

constexpr char kStore[] = "/var/db/ConfigurationProfiles/Store/ConfigProfiles.plist";
constexpr char kDump[] = "/tmp/profiledump.txt";
constexpr char kSystemKeychain[] = "/Library/Keychains/System.keychain";
constexpr char kAdminTrust[] = "/Library/Security/Trust Settings/Admin.plist";

// /usr/bin/profiles with the arguments.
ProcessResult profiles(std::vector<std::string> arguments);
// Installs a fixture for the machine, or for the user.
void install(const std::string& file, const std::string& user = "");

// The installed profiles' identifiers by owner, as the tool lists them.
std::map<std::string, std::vector<std::string>> installedProfiles();
// The labels of the System keychain's certificates.
std::vector<std::string> systemCertificates();
// How many certificates the admin trust settings hold.
size_t adminTrustedCount();

}  // namespace profiletest
