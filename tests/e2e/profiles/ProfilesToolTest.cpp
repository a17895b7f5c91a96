// /usr/bin/profiles in the fake Mac, as the helper and a person use it: what
// installing and removing change on the system, the listing the helper
// reads, and how the tool refuses what it cannot install.
#include <gtest/gtest.h>
#include <unistd.h>

#include <regex>

#include "ProfilesTestSupport.h"

using namespace profiletest;

namespace {

const char kCampusKey[] = "wifi.ssid.<43616d70 75732d53 65637572 65>";

// The first profile of the owner in the listing the tool writes.
xpc::CFRef<CFDictionaryRef> listedProfile(const std::string& owner) {
  EXPECT_EQ(profiles({"-P", "-o", "/tmp/listed.plist"}).status, 0);
  auto root = readPropertyList("/tmp/listed.plist");
  auto list = static_cast<CFArrayRef>(valueAt(root.get(), owner));
  if (list == nullptr || CFArrayGetCount(list) == 0) return {};
  return xpc::CFRef<CFDictionaryRef>(static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(list, 0)),
                                     xpc::RefPolicy::Retain);
}

std::set<std::string> keySet(CFTypeRef dictionary) {
  Names keys = keysOf(dictionary);
  return std::set<std::string>(keys.begin(), keys.end());
}

// A fixture with one part of its bytes replaced, as /tmp/<name>.mobileconfig.
std::string variant(const std::string& name, const std::string& fixture, const std::string& find,
                    const std::string& replacement) {
  std::string text = fileBytes(fixture);
  size_t at = text.find(find);
  EXPECT_NE(at, std::string::npos) << find;
  if (at != std::string::npos) text.replace(at, find.size(), replacement);
  std::string path = "/tmp/" + name + ".mobileconfig";
  writeFile(path, text);
  return path;
}

std::string installError(const std::string& file, const std::string& user, const std::string& result) {
  return "profiles install for file:\u2018" + file + "\u2019 and user:\u2018" + user + "\u2019 returned " + result +
         "\n";
}

class ProfilesTool : public CFTest {};

TEST_F(ProfilesTool, AnInstalledProfileIsAppliedAndListedAsTheMacListsIt) {
  ProcessResult run = profiles({"-i", "-F", kCampusSecure});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out + run.err, "");
  EXPECT_EQ(profiles({"-P"}).out,
            "_computerlevel[1] attribute: profileIdentifier: edu.example.onboarding.campus-secure\n"
            "There are 1 configuration profiles installed\n");

  // The new network comes last (its security type and system mode are ProfileCorpusTest's).
  EXPECT_EQ(rememberedNetworks(), (Names{"Corp-Secure", "HomeNet", "Cafe Guest", "Campus-Secure"}));
  Plist known(kKnownNetworksPlist);
  EXPECT_EQ(known.stringAt({"KnownNetworks", kCampusKey, "AddReason"}), "Profile");
  EXPECT_TRUE(CFEqual(known.at({"KnownNetworks", kCampusKey, "SSID"}), cfdata("Campus-Secure").get()));
  EXPECT_EQ(known.intAt({"Version"}), 2200) << "the rest of the file stays";
  EXPECT_EQ(systemCertificates(), Names{"Example Campus Root CA"});
  EXPECT_EQ(adminTrustedCount(), 1u);

  auto profile = listedProfile("_computerlevel");
  ASSERT_TRUE(profile);
  EXPECT_EQ(keySet(profile.get()),
            (std::set<std::string>{"ProfileDescription", "ProfileDisplayName", "ProfileIdentifier",
                                   "ProfileInstallDate", "ProfileItems", "ProfileOrganization", "ProfileType",
                                   "ProfileUUID", "ProfileVerificationState"}));
  EXPECT_EQ(utf8(valueAt(profile.get(), "ProfileDisplayName")), "Campus-Secure Wi-Fi");
  EXPECT_EQ(utf8(valueAt(profile.get(), "ProfileUUID")), "3F2E1D0C-9B8A-4765-8432-10FEDCBA9876");
  EXPECT_EQ(utf8(valueAt(profile.get(), "ProfileType")), "Configuration");
  EXPECT_EQ(utf8(valueAt(profile.get(), "ProfileVerificationState")), "unsigned");
  EXPECT_TRUE(std::regex_match(utf8(valueAt(profile.get(), "ProfileInstallDate")),
                               std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d \+0000)")));

  // Each payload's common keys beside its content, the rest in it.
  auto items = static_cast<CFArrayRef>(valueAt(profile.get(), "ProfileItems"));
  ASSERT_EQ(CFArrayGetCount(items), 2);
  CFTypeRef root = CFArrayGetValueAtIndex(items, 0);
  CFTypeRef wifi = CFArrayGetValueAtIndex(items, 1);
  EXPECT_EQ(keySet(wifi), (std::set<std::string>{"PayloadContent", "PayloadDescription", "PayloadDisplayName",
                                                 "PayloadIdentifier", "PayloadType", "PayloadUUID",
                                                 "PayloadVersion"}));
  EXPECT_EQ(utf8(valueAt(wifi, {"PayloadContent", "SSID_STR"})), "Campus-Secure");
  EXPECT_EQ(utf8(valueAt(wifi, {"PayloadContent", "EAPClientConfiguration", "UserName"})), "jdoe@example.edu");
  EXPECT_EQ(valueAt(wifi, {"PayloadContent", "PayloadIdentifier"}), nullptr);
  EXPECT_EQ(keySet(valueAt(root, "PayloadContent")),
            (std::set<std::string>{"PayloadCertificateFileName", "PayloadContent"}));
  EXPECT_EQ(utf8(valueAt(root, "PayloadType")), "com.apple.security.root");

  // The envelope's content is installed; no one here vouches for its signer.
  install(kSignedCampusSecure, "alex");
  EXPECT_EQ(utf8(valueAt(listedProfile("alex").get(), "ProfileVerificationState")), "unverified");
}

TEST_F(ProfilesTool, RemovalTakesAwayOnlyWhatNoOtherInstalledProfileBrings) {
  install(kCampusSecure);
  install(kRootCa);
  install(kLabNetworks, "alex");
  install(kLabNetworks, "alex");  // the same identifier replaces the profile
  EXPECT_EQ(installedProfiles(), (Owners{{"_computerlevel", {kCampusId, kRootCaId}}, {"alex", {kLabId}}}));
  EXPECT_EQ(rememberedNetworks(), (Names{"Corp-Secure", "HomeNet", "Cafe Guest", "Campus-Secure", "Lab-5G", "Lab-2G"}));
  EXPECT_EQ(systemCertificates(), Names{"Example Campus Root CA"}) << "one certificate for three payloads";

  EXPECT_EQ(profiles({"-R", "-p", kCampusId}).status, 0);
  EXPECT_EQ(rememberedNetworks(), (Names{"Corp-Secure", "HomeNet", "Cafe Guest", "Lab-5G", "Lab-2G"}));
  EXPECT_EQ(profiles({"-R", "-p", kRootCaId}).status, 0);
  EXPECT_EQ(systemCertificates(), Names{"Example Campus Root CA"}) << "the lab profile still brings it";
  EXPECT_EQ(adminTrustedCount(), 1u);

  // A user's profile is removed with the user named; the machine's is another profile.
  ProcessResult run = profiles({"-R", "-p", kLabId});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "profiles remove for identifier:\u2018edu.example.onboarding.lab\u2019 and user:\u2018root\u2019 "
                     "returned 2 (The profile is not installed)\n");
  EXPECT_EQ(profiles({"-R", "-p", kLabId, "-U", "alex"}).status, 0);
  EXPECT_EQ(installedProfiles(), Owners{});
  EXPECT_EQ(rememberedNetworks(), kImageNetworks);
  EXPECT_EQ(systemCertificates(), Names{});
  EXPECT_EQ(access(kAdminTrust, F_OK), -1) << "the last trust setting took the file with it";
}

TEST_F(ProfilesTool, WhatCannotBeInstalledIsRefusedWithItsReasonAndChangesNothing) {
  const std::string profileKeys =
      "<key>PayloadIdentifier</key><string>x</string><key>PayloadUUID</key><string>y</string><key>PayloadType</key>"
      "<string>Configuration</string><key>PayloadVersion</key><integer>1</integer>";
  writeFile("/tmp/array.mobileconfig", "<plist version=\"1.0\"><array/></plist>");
  writeFile("/tmp/empty.mobileconfig",
            "<plist version=\"1.0\"><dict><key>PayloadContent</key><array/>" + profileKeys + "</dict></plist>");
  writeFile("/tmp/encrypted.mobileconfig", "<plist version=\"1.0\"><dict><key>EncryptedPayloadContent</key>"
                                           "<data>MIAGCSqGSIb3DQEHA6CAMIACAQA=</data><key>IsEncrypted</key><true/>" +
                                               profileKeys + "</dict></plist>");
  const std::string pem = kCorpus + "eduroam-ttls-mschapv2.mobileconfig", der = kCorpus + "staff-peap.mobileconfig";
  const std::string identity = kCorpus + "lab-tls-identity.mobileconfig", proxy = kCorpus + "proxy-manual.mobileconfig";
  const std::string password = "<key>Password</key>\n\t\t\t<string>lab-identity</string>\n";
  const std::pair<std::string, std::string> refused[] = {
      {"/tmp/missing.mobileconfig", "1000 (The file cannot be read)"},
      {"/tmp", "1000 (The file cannot be read)"},
      {"/tmp/array.mobileconfig", "1000 (Malformed profile)"},
      {"/tmp/empty.mobileconfig", "1005 (Empty profile)"},
      {variant("forged", kSignedCampusSecure, "Campus-Secure Wi-Fi", "Campus-Secure Wi-Fu"), "1004 (Bad signature)"},
      {variant("no-identifier", kCampusSecure,
               "<key>PayloadIdentifier</key>\n\t<string>edu.example.onboarding.campus-secure</string>", ""),
       "1002 (Missing required field: PayloadIdentifier)"},
      {variant("text-version", kCampusSecure, "<integer>1</integer>\n</dict>", "<string>1</string>\n</dict>"),
       "1003 (Bad data type in field: PayloadVersion (a number is expected, not a string))"},
      {variant("other-type", kCampusSecure, "<string>Configuration</string>", "<string>Settings</string>"),
       "1010 (Unsupported field value: PayloadType)"},
      {variant("no-ssid", kGuestOtp, "<key>SSID_STR</key>", "<key>SSID</key>"),
       "2002 (Missing required field: SSID_STR)"},
      {variant("bad-certificate", kRootCa, "MIIDbzCC", "AAAAAAAA"),
       "2000 (Malformed payload: the certificate cannot be read)"},
      {"/tmp/encrypted.mobileconfig",
       "1006 (The profile is encrypted for another device and cannot be decrypted on this Mac)"},
      {variant("template", kGuestOtp, "edu.example.onboarding.lab-guest", ""),
       "1002 (Missing required field: PayloadIdentifier (it is empty))"},
      {variant("pem-as-root", pem, "com.apple.security.pem</string>", "com.apple.security.root</string>"),
       "2000 (Malformed payload: com.apple.security.root takes a DER certificate and this one is PEM text (PEM goes "
       "in com.apple.security.pem))"},
      {variant("der-as-pem", der, "com.apple.security.root</string>", "com.apple.security.pem</string>"),
       "2000 (Malformed payload: com.apple.security.pem takes PEM text and this certificate is not (DER goes in "
       "com.apple.security.pkcs1))"},
      {variant("text-autojoin", kGuestOtp, "<true/>", "<string>true</string>"),
       "2003 (Bad data type in field: AutoJoin (a boolean is expected, not a string))"},
      {variant("wrong-password", identity, password, "<key>Password</key><string>lab-identiti</string>"),
       "2000 (Malformed payload: the identity's password is not the one in the profile)"},
      {variant("no-password", identity, password, ""),
       "2002 (Missing required field: Password (only an installation by hand can ask for the identity's "
       "password))"},
      {variant("text-port", proxy, "<integer>3128</integer>", "<string>3128</string>"),
       "2003 (Bad data type in field: ProxyServerPort (a number is expected, not a string))"},
      {proxy, "2004 (Unsupported payload for a user: com.apple.proxy.http.global is installed for the machine only)"},
  };
  for (const auto& [file, result] : refused) {
    ProcessResult run = profiles({"-I", "-U", "alex", "-F", file});
    EXPECT_EQ(run.status, 1) << result;
    EXPECT_EQ(run.err, installError(file, "alex", result));
  }
  EXPECT_EQ(installedProfiles(), Owners{});
  EXPECT_EQ(rememberedNetworks(), kImageNetworks);
  EXPECT_EQ(systemCertificates(), Names{});
}

TEST_F(ProfilesTool, UsageUsersAndRootAreChecked) {
  for (const std::vector<std::string>& misuse :
       {std::vector<std::string>{"-i"}, {"-R"}, {"-i", "-F", kRootCa, "-U", "alex"}, {"-P", "-p", kRootCaId},
        {"-I", "-U", "alex", "smith", "-F", kRootCa}, {"-X"}, {}}) {
    ProcessResult run = profiles(misuse);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("Usage: profiles -i -F file\n"), std::string::npos);
  }
  EXPECT_EQ(profiles({"-I", "-U", "nobody-here", "-F", kRootCa}).err,
            installError(kRootCa, "nobody-here", "2 (No such user)"));

  int status = ChildProcess([] {
    if (setgid(20) != 0 || setuid(501) != 0) return 77;
    ProcessResult run = profiles({"-I", "-U", "alex", "-F", kRootCa});
    bool denied = run.status == 1 && run.err == installError(kRootCa, "alex", "-60005 (The authorization was denied.)");
    return denied ? 0 : 1;
  }).wait();
  if (status != 77) EXPECT_EQ(status, 0);
  EXPECT_EQ(profiles({"-P"}).out, "There are no configuration profiles installed\n");
}

}  // namespace
