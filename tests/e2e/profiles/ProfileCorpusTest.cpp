// Profiles in the shapes administrators publish, installed through the helper
// for the machine and for a user and removed again, with what the fake Mac's
// profiles tool derives from them checked after each step: the remembered
// networks, the System keychain's certificates and their admin trust.
#include <gtest/gtest.h>

#include "ProfilesTestSupport.h"

using namespace profiletest;

namespace {

constexpr char kMachine[] = "_computerlevel";
constexpr char kRootCa[] = "Example University Root CA";
constexpr char kIssuingCa[] = "Example University Issuing CA";
constexpr char kProxyCa[] = "Example Corp Proxy CA";

struct Network {
  std::string ssid;
  std::string security;
};

struct Fixture {
  std::string name;  // kCorpus + name + ".mobileconfig"
  std::string identifier;
  std::vector<Network> networks;
  Names certificates;  // in the System keychain's order
  size_t trusted;      // of them, trusted in the admin domain
  bool machineOnly;
};

const Fixture kFixtures[] = {
    {"eduroam-ttls-pap", "edu.example.eduroam.ttls-pap", {{"eduroam", "WPA2 Enterprise"}}, {kRootCa, kIssuingCa}, 1, false},
    {"eduroam-signed", "edu.example.eduroam.ttls-pap", {{"eduroam", "WPA2 Enterprise"}}, {kRootCa, kIssuingCa}, 1, false},
    {"eduroam-ttls-mschapv2", "edu.example.eduroam.ttls-mschapv2", {{"eduroam", "WPA2 Enterprise"}},
     {kRootCa, kIssuingCa}, 1, false},
    {"staff-peap", "edu.example.staff-peap", {{"Staff", "WPA3 Enterprise"}}, {kRootCa}, 1, false},
    {"lab-tls-identity", "edu.example.lab.tls", {{"Lab-TLS", "WPA2 Enterprise"}},
     {kRootCa, kIssuingCa, "lab-device-042"}, 1, false},
    {"home-wpa2", "net.example.home.wpa2", {{"Home-WPA2", "WPA2 Personal"}}, {}, 0, false},
    {"studio-wpa3", "com.example.studio.wpa3", {{"Studio WPA3", "WPA3 Personal"}}, {}, 0, false},
    {"library-open", "org.example.library.open", {{"Library Open", "Open"}}, {}, 0, false},
    {"residence-non-ascii", "edu.example.residence", {{"R\u00e9sidence \u00c9tudiants \u5b66\u751f\u5bee", "WPA2 Personal"}},
     {}, 0, false},
    {"wired-8021x", "edu.example.wired", {}, {kRootCa}, 1, false},
    {"proxy-manual", "com.example.corp.proxy-manual", {}, {kProxyCa}, 1, true},
    {"proxy-pac", "com.example.corp.proxy-pac", {}, {kProxyCa}, 1, true},
    // An identifier with blanks in it, installed and removed as any other.
    {"visitors-blank-identifier", "Example University Visitors Wi-Fi", {{"Visitors", "WPA2 Personal"}}, {}, 0, false},
};

// The remembered network's entry, by its name's bytes in hex as macOS files it.
std::string networkKey(const std::string& ssid) {
  std::string key = "wifi.ssid.<";
  for (size_t i = 0; i < ssid.size(); ++i) {
    char hex[3];
    snprintf(hex, sizeof(hex), "%02x", static_cast<unsigned char>(ssid[i]));
    key += (i > 0 && i % 4 == 0 ? " " : "") + std::string(hex);
  }
  return key + ">";
}

class ProfileCorpusTest : public ::testing::Test {
 protected:
  bool install(const std::string& file, const std::string& owner) {
    Arg whose = owner == kMachine ? Arg("AsSystemProfile", true) : Arg("CurrentUsername", owner);
    return helper.succeeds("commitmobileconfig", {{"MobileConfigPath", file}, whose});
  }

  bool removeFor(const std::string& network, const std::string& owner) {
    return helper.succeeds("deleteprofilesforssid", {ssid(network), {"Username", owner}});
  }

  // What the profile brings, and nothing else, is on the system.
  void expectInstalled(const Fixture& fixture, const std::string& owner) {
    EXPECT_EQ(installedProfiles(), (Owners{{owner, {fixture.identifier}}}));
    Names networks = kImageNetworks;
    for (const Network& network : fixture.networks) networks.push_back(network.ssid);
    EXPECT_EQ(rememberedNetworks(), networks);
    Plist known(kKnownNetworksPlist);
    for (const Network& network : fixture.networks) {
      std::string key = networkKey(network.ssid);
      EXPECT_EQ(known.stringAt({"KnownNetworks", key, "SSIDString"}), network.ssid);
      EXPECT_EQ(known.stringAt({"KnownNetworks", key, "SecurityType"}), network.security);
      EXPECT_EQ(known.at({"KnownNetworks", key, "SystemMode"}), owner == kMachine ? kCFBooleanTrue : kCFBooleanFalse);
    }
    EXPECT_EQ(systemCertificates(), fixture.certificates);
    EXPECT_EQ(adminTrustedCount(), fixture.trusted);
  }

  void expectNothingInstalled() {
    EXPECT_EQ(installedProfiles(), Owners{});
    EXPECT_EQ(rememberedNetworks(), kImageNetworks);
    EXPECT_EQ(systemCertificates(), Names{});
    EXPECT_EQ(adminTrustedCount(), 0u);
  }

  HelperSession helper;
};

TEST_F(ProfileCorpusTest, EachProfileInstallsAndUninstallsForTheMachineAndForAUser) {
  for (const Fixture& fixture : kFixtures) {
    const std::string file = kCorpus + fixture.name + ".mobileconfig";
    for (const std::string owner : {kMachine, "alex"}) {
      SCOPED_TRACE(fixture.name + " for " + owner);
      if (fixture.machineOnly && owner != kMachine) {
        EXPECT_TRUE(helper.fails("commitmobileconfig", {{"MobileConfigPath", file}, {"CurrentUsername", owner}}));
        expectNothingInstalled();
        continue;
      }
      ASSERT_TRUE(install(file, owner));
      expectInstalled(fixture, owner);
      if (!fixture.networks.empty()) {
        EXPECT_TRUE(removeFor(fixture.networks.front().ssid, owner));
      } else {
        // The helper knows a profile by its Wi-Fi network; one without any
        // is not its to remove, so the tool takes it away.
        EXPECT_TRUE(removeFor(fixture.name, owner));
        EXPECT_EQ(installedProfiles(), (Owners{{owner, {fixture.identifier}}}));
        std::vector<std::string> removal{"-R", "-p", fixture.identifier};
        if (owner != kMachine) removal.insert(removal.end(), {"-U", owner});
        EXPECT_EQ(profiles(removal).status, 0);
      }
      expectNothingInstalled();
    }
  }
}

TEST_F(ProfileCorpusTest, TheMachineAndAUserOwnProfilesForOneNetworkApart) {
  // The same CAs, as DER in one profile and PEM in the other.
  ASSERT_TRUE(install(kCorpus + "eduroam-ttls-pap.mobileconfig", kMachine));
  ASSERT_TRUE(install(kCorpus + "eduroam-ttls-mschapv2.mobileconfig", "alex"));
  EXPECT_EQ(installedProfiles(), (Owners{{kMachine, {"edu.example.eduroam.ttls-pap"}},
                                         {"alex", {"edu.example.eduroam.ttls-mschapv2"}}}));
  Names withEduroam = kImageNetworks;
  withEduroam.push_back("eduroam");
  EXPECT_EQ(rememberedNetworks(), withEduroam);
  EXPECT_EQ(systemCertificates(), (Names{kRootCa, kIssuingCa}));

  // The user's profile goes; what the machine's brings stays.
  EXPECT_TRUE(removeFor("eduroam", "alex"));
  EXPECT_EQ(installedProfiles(), (Owners{{kMachine, {"edu.example.eduroam.ttls-pap"}}}));
  EXPECT_EQ(rememberedNetworks(), withEduroam);
  EXPECT_EQ(systemCertificates(), (Names{kRootCa, kIssuingCa}));
  EXPECT_EQ(adminTrustedCount(), 1u);
  EXPECT_TRUE(removeFor("eduroam", kMachine));
  expectNothingInstalled();
}

}  // namespace
