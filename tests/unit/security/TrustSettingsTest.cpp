// Policies and per-domain trust settings: what callers get back, and the
// record as macOS lays it out in /Library/Security/Trust Settings.
#include <sys/stat.h>
#include <unistd.h>

#include "SecurityTestSupport.h"

using namespace sectest;

namespace {

constexpr char kAdminPlist[] = "/Library/Security/Trust Settings/Admin.plist";
const CFStringRef kPolicyName = CFSTR("kSecTrustSettingsPolicyName");

class TrustSettings : public CFTest {
 protected:
  xpc::CFRef<SecCertificateRef> root_ = certificateFrom(openssl(kISRGRootX1).der);
};

std::string policyOid(CFTypeRef policy) {
  if (policy == nullptr || CFGetTypeID(policy) != SecPolicyGetTypeID()) return "<not a policy>";
  auto properties = adopt(SecPolicyCopyProperties(static_cast<SecPolicyRef>(const_cast<void*>(policy))));
  return utf8(valueAt(properties.get(), "SecPolicyOid"));
}

long long number(CFTypeRef value) {
  long long result = -1;
  if (value != nullptr && CFGetTypeID(value) == CFNumberGetTypeID()) {
    CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberLongLongType, &result);
  }
  return result;
}

std::string hex(CFTypeRef data) {
  if (data == nullptr || CFGetTypeID(data) != CFDataGetTypeID()) return "<not data>";
  std::string text;
  for (CFIndex i = 0; i < CFDataGetLength(static_cast<CFDataRef>(data)); ++i) {
    char pair[3];
    snprintf(pair, sizeof(pair), "%02X", CFDataGetBytePtr(static_cast<CFDataRef>(data))[i]);
    text += pair;
  }
  return text;
}

// One setting as the helper builds it.
xpc::CFRef<CFMutableDictionaryRef> setting(SecPolicyRef policy, const char* name, long long result) {
  auto dictionary = cfdictionary(
      {{"kSecTrustSettingsPolicyName", cfstring(name).get()}, {"kSecTrustSettingsResult", cfnumber(result).get()}});
  CFDictionarySetValue(dictionary.get(), kSecTrustSettingsPolicy, policy);
  return dictionary;
}

xpc::CFRef<CFArrayRef> helperSettings(long long result) {
  auto basic = adopt(SecPolicyCreateBasicX509());
  auto ssl = adopt(SecPolicyCreateSSL(true, nullptr));
  auto eap = adopt(SecPolicyCreateWithOID(kSecPolicyAppleEAP));
  // A wrong name is not what gets stored: the record keeps the policy's own.
  auto settings = {setting(basic.get(), "basicX509", result), setting(ssl.get(), "wrong", result),
                   setting(eap.get(), "eapServer", result)};
  std::vector<const void*> values;
  for (const auto& one : settings) values.push_back(one.get());
  return adopt(CFArrayCreate(nullptr, values.data(), static_cast<CFIndex>(values.size()), &kCFTypeArrayCallBacks));
}

xpc::CFRef<CFArrayRef> copySettings(SecCertificateRef certificate, SecTrustSettingsDomain domain, OSStatus* status) {
  xpc::CFRef<CFArrayRef> settings;
  *status = SecTrustSettingsCopyTrustSettings(certificate, domain, settings.initializeInto());
  return settings;
}

// An intermediate: a certificate that a made-up root issued.
std::string intermediateDer() {
  auto run = [](const std::vector<std::string>& argv) { EXPECT_EQ(ChildProcess::run(argv).status, 0) << argv[1]; };
  run({"/usr/bin/openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-keyout",
       "/tmp/ca.key", "-out", "/tmp/ca.pem", "-subj", "/CN=Test Root", "-days", "2"});
  run({"/usr/bin/openssl", "req", "-new", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-keyout",
       "/tmp/sub.key", "-out", "/tmp/sub.csr", "-subj", "/CN=Test Intermediate"});
  run({"/usr/bin/openssl", "x509", "-req", "-in", "/tmp/sub.csr", "-CA", "/tmp/ca.pem", "-CAkey", "/tmp/ca.key",
       "-CAcreateserial", "-out", "/tmp/sub.pem", "-days", "2"});
  return derFromPem(fileBytes("/tmp/sub.pem"));
}

TEST_F(TrustSettings, PoliciesAnswerTheirIdentifiers) {
  auto basic = adopt(SecPolicyCreateBasicX509());
  auto server = adopt(SecPolicyCreateSSL(true, nullptr));
  auto client = adopt(SecPolicyCreateSSL(false, CFSTR("wifi.example.com")));
  auto eap = adopt(SecPolicyCreateWithOID(kSecPolicyAppleEAP));
  EXPECT_EQ(CFGetTypeID(basic.get()), SecPolicyGetTypeID());
  EXPECT_EQ(utf8(kSecPolicyAppleX509Basic), "1.2.840.113635.100.1.2");
  EXPECT_EQ(utf8(kSecPolicyAppleSSL), "1.2.840.113635.100.1.3");
  EXPECT_EQ(utf8(kSecPolicyAppleEAP), "1.2.840.113635.100.1.12");
  EXPECT_EQ(policyOid(basic.get()), "1.2.840.113635.100.1.2");
  EXPECT_EQ(policyOid(server.get()), "1.2.840.113635.100.1.3");
  EXPECT_EQ(policyOid(eap.get()), "1.2.840.113635.100.1.12");
  EXPECT_EQ(keysOf(adopt(SecPolicyCopyProperties(server.get())).get()), std::vector<std::string>{"SecPolicyOid"});
  auto properties = adopt(SecPolicyCopyProperties(client.get()));
  EXPECT_EQ(utf8(valueAt(properties.get(), "SecPolicyName")), "wifi.example.com");
  EXPECT_EQ(valueAt(properties.get(), "SecPolicyClient"), kCFBooleanTrue);
  EXPECT_TRUE(CFEqual(server.get(), adopt(SecPolicyCreateWithOID(kSecPolicyAppleSSL)).get()));
  EXPECT_FALSE(CFEqual(server.get(), client.get()));
  EXPECT_EQ(SecPolicyCreateWithOID(CFSTR("1.2.3.4")), nullptr);
  EXPECT_EQ(SecPolicyCreateWithOID(cfnumber(1LL).get()), nullptr);
}

TEST_F(TrustSettings, AdminSettingsComeBackAsTheyWereGiven) {
  OSStatus status;
  copySettings(root_.get(), kSecTrustSettingsDomainAdmin, &status);
  EXPECT_EQ(status, errSecItemNotFound) << "no settings yet";

  ASSERT_EQ(SecTrustSettingsSetTrustSettings(root_.get(), kSecTrustSettingsDomainAdmin, helperSettings(1).get()),
            errSecSuccess);
  auto settings = copySettings(root_.get(), kSecTrustSettingsDomainAdmin, &status);
  ASSERT_EQ(status, errSecSuccess);
  ASSERT_EQ(CFArrayGetCount(settings.get()), 3);
  const char* oids[] = {"1.2.840.113635.100.1.2", "1.2.840.113635.100.1.3", "1.2.840.113635.100.1.12"};
  const char* names[] = {"basicX509", "sslServer", "eapServer"};
  for (CFIndex i = 0; i < 3; ++i) {
    CFTypeRef one = CFArrayGetValueAtIndex(settings.get(), i);
    EXPECT_EQ(policyOid(valueAt(one, "kSecTrustSettingsPolicy")), oids[i]);
    EXPECT_EQ(utf8(valueAt(one, "kSecTrustSettingsPolicyName")), names[i]);
    EXPECT_EQ(number(valueAt(one, "kSecTrustSettingsResult")), kSecTrustSettingsResultTrustRoot);
  }
  copySettings(root_.get(), kSecTrustSettingsDomainUser, &status);
  EXPECT_EQ(status, errSecItemNotFound) << "the user domain is another";
  auto other = certificateFrom(openssl(kGoDaddyClass2).der);
  copySettings(other.get(), kSecTrustSettingsDomainAdmin, &status);
  EXPECT_EQ(status, errSecItemNotFound);
}

TEST_F(TrustSettings, TheAdminRecordIsLaidOutAsOnAMac) {
  ASSERT_EQ(SecTrustSettingsSetTrustSettings(root_.get(), kSecTrustSettingsDomainAdmin, helperSettings(1).get()),
            errSecSuccess);
  struct stat status;
  ASSERT_EQ(stat(kAdminPlist, &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0644u);
  auto record = readPropertyList(kAdminPlist);
  EXPECT_EQ(keysOf(record.get()).size(), 2u);
  EXPECT_EQ(number(valueAt(record.get(), "trustVersion")), 1);
  OpensslView isrg = openssl(kISRGRootX1);
  EXPECT_EQ(keysOf(valueAt(record.get(), "trustList")), std::vector<std::string>{isrg.sha1});

  CFTypeRef entry = valueAt(record.get(), {"trustList", isrg.sha1});
  std::string serial = ChildProcess::run({"/usr/bin/openssl", "x509", "-in",
                                          std::string(kCertificateFolder) + kISRGRootX1, "-noout", "-serial"})
                           .out;
  EXPECT_EQ("serial=" + hex(valueAt(entry, "serialNumber")).substr(2) + "\n", serial) << "content octets, 00 first";
  EXPECT_EQ(hex(valueAt(entry, "issuerName")).substr(0, 4), "304F") << "the issuer's DER";
  EXPECT_EQ(CFGetTypeID(valueAt(entry, "modDate")), CFDateGetTypeID());
  auto stored = static_cast<CFArrayRef>(valueAt(entry, "trustSettings"));
  ASSERT_EQ(CFArrayGetCount(stored), 3);
  CFTypeRef ssl = CFArrayGetValueAtIndex(stored, 1);
  EXPECT_EQ(hex(valueAt(ssl, "kSecTrustSettingsPolicy")), "2A864886F763640103");
  EXPECT_EQ(utf8(valueAt(ssl, "kSecTrustSettingsPolicyName")), "sslServer");
  EXPECT_EQ(number(valueAt(ssl, "kSecTrustSettingsResult")), 1);
  EXPECT_EQ(hex(valueAt(CFArrayGetValueAtIndex(stored, 2), "kSecTrustSettingsPolicy")), "2A864886F76364010C");

  // Replacing the settings keeps one entry.
  auto basicOnly = adopt(SecPolicyCreateBasicX509());
  ASSERT_EQ(SecTrustSettingsSetTrustSettings(root_.get(), kSecTrustSettingsDomainAdmin,
                                             setting(basicOnly.get(), "basicX509", 1).get()),
            errSecSuccess);
  record = readPropertyList(kAdminPlist);
  EXPECT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(valueAt(record.get(), {"trustList", isrg.sha1, "trustSettings"}))),
            1);
}

TEST_F(TrustSettings, ResultsMustSuitTheCertificate) {
  // A root is trusted as a root, an intermediate as if it were one.
  EXPECT_EQ(SecTrustSettingsSetTrustSettings(root_.get(), kSecTrustSettingsDomainAdmin, helperSettings(2).get()),
            errSecParam);
  EXPECT_EQ(SecTrustSettingsSetTrustSettings(root_.get(), kSecTrustSettingsDomainAdmin, helperSettings(0).get()),
            errSecParam);
  EXPECT_EQ(SecTrustSettingsSetTrustSettings(root_.get(), kSecTrustSettingsDomainAdmin, helperSettings(9).get()),
            errSecParam);
  EXPECT_NE(access(kAdminPlist, F_OK), 0) << "nothing written";

  auto intermediate = certificateFrom(intermediateDer());
  ASSERT_TRUE(intermediate);
  EXPECT_EQ(SecTrustSettingsSetTrustSettings(intermediate.get(), kSecTrustSettingsDomainAdmin, helperSettings(1).get()),
            errSecParam);
  EXPECT_EQ(SecTrustSettingsSetTrustSettings(intermediate.get(), kSecTrustSettingsDomainAdmin, nullptr), errSecParam);
  EXPECT_EQ(SecTrustSettingsSetTrustSettings(intermediate.get(), kSecTrustSettingsDomainAdmin, helperSettings(2).get()),
            errSecSuccess);

  // No constraints at all: trusted for everything, stored without settings.
  ASSERT_EQ(SecTrustSettingsSetTrustSettings(root_.get(), kSecTrustSettingsDomainAdmin, nullptr), errSecSuccess);
  OSStatus status;
  auto settings = copySettings(root_.get(), kSecTrustSettingsDomainAdmin, &status);
  ASSERT_EQ(status, errSecSuccess);
  EXPECT_EQ(CFArrayGetCount(settings.get()), 0);
  EXPECT_EQ(valueAt(readPropertyList(kAdminPlist).get(), {"trustList", openssl(kISRGRootX1).sha1, "trustSettings"}),
            nullptr);
}

TEST_F(TrustSettings, RemovingTheLastEntryRemovesTheRecord) {
  EXPECT_EQ(SecTrustSettingsRemoveTrustSettings(root_.get(), kSecTrustSettingsDomainAdmin), errSecNoTrustSettings);
  ASSERT_EQ(SecTrustSettingsSetTrustSettings(root_.get(), kSecTrustSettingsDomainAdmin, helperSettings(1).get()),
            errSecSuccess);
  auto other = certificateFrom(openssl(kGoDaddyClass2).der);
  EXPECT_EQ(SecTrustSettingsRemoveTrustSettings(other.get(), kSecTrustSettingsDomainAdmin), errSecItemNotFound);
  ASSERT_EQ(SecTrustSettingsRemoveTrustSettings(root_.get(), kSecTrustSettingsDomainAdmin), errSecSuccess);
  EXPECT_NE(access(kAdminPlist, F_OK), 0);
  OSStatus status;
  copySettings(root_.get(), kSecTrustSettingsDomainAdmin, &status);
  EXPECT_EQ(status, errSecItemNotFound);
}

TEST_F(TrustSettings, TheSystemDomainIsReadOnlyAndTheUserDomainIsRootsOwn) {
  EXPECT_EQ(SecTrustSettingsSetTrustSettings(root_.get(), kSecTrustSettingsDomainSystem, helperSettings(1).get()),
            errSecDataNotModifiable);
  EXPECT_EQ(SecTrustSettingsRemoveTrustSettings(root_.get(), kSecTrustSettingsDomainSystem), errSecDataNotModifiable);
  OSStatus status;
  copySettings(root_.get(), kSecTrustSettingsDomainSystem, &status);
  EXPECT_EQ(status, errSecItemNotFound);
  EXPECT_EQ(SecTrustSettingsSetTrustSettings(root_.get(), static_cast<SecTrustSettingsDomain>(7), nullptr),
            errSecParam);

  ASSERT_EQ(SecTrustSettingsSetTrustSettings(root_.get(), kSecTrustSettingsDomainUser, helperSettings(1).get()),
            errSecSuccess);
  const std::string rootRecord = "/Library/Security/Trust Settings/FFFFEEEE-DDDD-CCCC-BBBB-AAAA00000000.plist";
  struct stat file;
  ASSERT_EQ(stat(rootRecord.c_str(), &file), 0);
  EXPECT_EQ(file.st_mode & 07777, 0600u);
  copySettings(root_.get(), kSecTrustSettingsDomainUser, &status);
  EXPECT_EQ(status, errSecSuccess);
}

TEST_F(TrustSettings, OnlyRootChangesAdminSettingsButEveryoneReadsThem) {
  ASSERT_EQ(SecTrustSettingsSetTrustSettings(root_.get(), kSecTrustSettingsDomainAdmin, helperSettings(1).get()),
            errSecSuccess);
  std::string before = fileBytes(kAdminPlist);
  std::string der = openssl(kISRGRootX1).der;
  EXPECT_EQ(asUser([&] {
              auto certificate = certificateFrom(der);
              OSStatus status;
              if (CFArrayGetCount(copySettings(certificate.get(), kSecTrustSettingsDomainAdmin, &status).get()) != 3) {
                return 1;
              }
              if (SecTrustSettingsSetTrustSettings(certificate.get(), kSecTrustSettingsDomainAdmin, nullptr) !=
                  errAuthorizationDenied) {
                return 2;
              }
              if (SecTrustSettingsRemoveTrustSettings(certificate.get(), kSecTrustSettingsDomainAdmin) !=
                  errAuthorizationDenied) {
                return 3;
              }
              return 0;
            }),
            0);
  EXPECT_EQ(fileBytes(kAdminPlist), before);
}

TEST_F(TrustSettings, ABrokenRecordIsReportedNotUsed) {
  for (const std::string& broken :
       {std::string("garbage"),
        std::string("<plist><dict><key>trustVersion</key><integer>2</integer>"
                    "<key>trustList</key><dict/></dict></plist>"),
        std::string("<plist><dict><key>trustVersion</key><integer>1</integer><key>trustList</key><dict>"
                    "<key>AB</key><dict><key>issuerName</key><data></data></dict></dict></dict></plist>")}) {
    mkdir("/Library/Security/Trust Settings", 0755);
    writeFile(kAdminPlist, broken);
    OSStatus status;
    copySettings(root_.get(), kSecTrustSettingsDomainAdmin, &status);
    EXPECT_EQ(status, errSecInvalidTrustSettings);
    EXPECT_EQ(SecTrustSettingsSetTrustSettings(root_.get(), kSecTrustSettingsDomainAdmin, nullptr),
              errSecInvalidTrustSettings);
    EXPECT_EQ(fileBytes(kAdminPlist), broken);
  }
}

TEST_F(TrustSettings, TheCertificatesWithSettingsAreThoseInTheKeychains) {
  xpc::CFRef<CFArrayRef> certificates;
  EXPECT_EQ(SecTrustSettingsCopyCertificates(kSecTrustSettingsDomainAdmin, certificates.initializeInto()),
            errSecNoTrustSettings);
  ASSERT_EQ(SecTrustSettingsSetTrustSettings(root_.get(), kSecTrustSettingsDomainAdmin, helperSettings(1).get()),
            errSecSuccess);
  EXPECT_EQ(SecTrustSettingsCopyCertificates(kSecTrustSettingsDomainAdmin, certificates.initializeInto()),
            errSecNoTrustSettings)
      << "not in a keychain";
  auto keychain = openKeychain();
  ASSERT_EQ(SecCertificateAddToKeychain(root_.get(), keychain.get()), errSecSuccess);
  auto other = certificateFrom(openssl(kGoDaddyClass2).der);
  ASSERT_EQ(SecCertificateAddToKeychain(other.get(), keychain.get()), errSecSuccess);
  ASSERT_EQ(SecTrustSettingsCopyCertificates(kSecTrustSettingsDomainAdmin, certificates.initializeInto()),
            errSecSuccess);
  ASSERT_EQ(CFArrayGetCount(certificates.get()), 1);
  EXPECT_TRUE(CFEqual(CFArrayGetValueAtIndex(certificates.get(), 0), root_.get()));
}

}  // namespace
