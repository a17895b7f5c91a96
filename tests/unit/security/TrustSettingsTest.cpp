// Policies and per-domain trust settings: what callers get back, and the
// record as macOS lays it out in /Library/Security/Trust Settings.
#include <sys/stat.h>
#include <unistd.h>

#include "SecurityTestSupport.h"

using namespace sectest;

namespace {

constexpr char kAdminPlist[] = "/Library/Security/Trust Settings/Admin.plist";
constexpr SecTrustSettingsDomain kAdmin = kSecTrustSettingsDomainAdmin;

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

// SecTrustSettingsCopyTrustSettings' status; the settings into *settings when given.
OSStatus copySettings(SecCertificateRef certificate, SecTrustSettingsDomain domain,
                      xpc::CFRef<CFArrayRef>* settings = nullptr) {
  xpc::CFRef<CFArrayRef> copied;
  OSStatus status = SecTrustSettingsCopyTrustSettings(certificate, domain, copied.initializeInto());
  if (settings != nullptr) *settings = copied;
  return status;
}

// An intermediate: a certificate that a made-up root issued.
std::string intermediateDer() {
  auto run = [](const std::vector<std::string>& argv) { EXPECT_EQ(ChildProcess::run(argv).status, 0) << argv[1]; };
  run({"/usr/bin/openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-keyout",
       "/tmp/ca.key", "-out", "/tmp/ca.pem", "-subj", "/CN=Test Root", "-days", "2"});
  run({"/usr/bin/openssl", "req", "-new", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-keyout",
       "/tmp/sub.key", "-out", "/tmp/sub.csr", "-subj", "/CN=Test Intermediate"});
  run({"/usr/bin/openssl", "x509", "-req", "-in", "/tmp/sub.csr", "-CA", "/tmp/ca.pem", "-CAkey", "/tmp/ca.key",
       "-CAcreateserial", "-outform", "DER", "-out", "/tmp/sub.der", "-days", "2"});
  return fileBytes("/tmp/sub.der");
}

class TrustSettings : public CFTest {
 protected:
  // Trust for ISRG Root X1 in `domain`, as the helper sets it.
  OSStatus trust(long long result, SecTrustSettingsDomain domain = kAdmin) {
    return SecTrustSettingsSetTrustSettings(root_.get(), domain, helperSettings(result).get());
  }

  Certificate isrg_{kISRGRootX1};
  xpc::CFRef<SecCertificateRef> root_ = certificateFrom(isrg_.der);
};

// Each policy's identifier is checked where the helper's settings come back.
TEST_F(TrustSettings, PoliciesAnswerTheirIdentifiers) {
  auto server = adopt(SecPolicyCreateSSL(true, nullptr));
  EXPECT_EQ(keysOf(adopt(SecPolicyCopyProperties(server.get())).get()), std::vector<std::string>{"SecPolicyOid"});
  EXPECT_TRUE(CFEqual(server.get(), adopt(SecPolicyCreateWithOID(kSecPolicyAppleSSL)).get()));
  EXPECT_EQ(SecPolicyCreateWithOID(CFSTR("1.2.3.4")), nullptr);
  EXPECT_EQ(SecPolicyCreateWithOID(cfnumber(1LL).get()), nullptr);
}

TEST_F(TrustSettings, AdminSettingsComeBackAsGivenAndAreLaidOutAsOnAMac) {
  EXPECT_EQ(copySettings(root_.get(), kAdmin), errSecItemNotFound) << "no settings yet";
  ASSERT_EQ(trust(kSecTrustSettingsResultTrustRoot), errSecSuccess);
  xpc::CFRef<CFArrayRef> settings;
  ASSERT_EQ(copySettings(root_.get(), kAdmin, &settings), errSecSuccess);
  ASSERT_EQ(CFArrayGetCount(settings.get()), 3);
  const char* oids[] = {"1.2.840.113635.100.1.2", "1.2.840.113635.100.1.3", "1.2.840.113635.100.1.12"};
  const char* names[] = {"basicX509", "sslServer", "eapServer"};
  for (CFIndex i = 0; i < 3; ++i) {
    CFTypeRef one = CFArrayGetValueAtIndex(settings.get(), i);
    EXPECT_EQ(policyOid(valueAt(one, "kSecTrustSettingsPolicy")), oids[i]);
    EXPECT_EQ(utf8(valueAt(one, "kSecTrustSettingsPolicyName")), names[i]);
    EXPECT_EQ(number(valueAt(one, "kSecTrustSettingsResult")), kSecTrustSettingsResultTrustRoot);
  }
  EXPECT_EQ(copySettings(certificateFrom(Certificate(kGoDaddyClass2).der).get(), kAdmin), errSecItemNotFound);

  struct stat status;
  ASSERT_EQ(stat(kAdminPlist, &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0644u);
  auto record = readPropertyList(kAdminPlist);
  EXPECT_EQ(keysOf(record.get()).size(), 2u);
  EXPECT_EQ(number(valueAt(record.get(), "trustVersion")), 1);
  EXPECT_EQ(keysOf(valueAt(record.get(), "trustList")), std::vector<std::string>{isrg_.trustKey()});

  CFTypeRef entry = valueAt(record.get(), {"trustList", isrg_.trustKey()});
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
  ASSERT_EQ(SecTrustSettingsSetTrustSettings(root_.get(), kAdmin, setting(basicOnly.get(), "basicX509", 1).get()),
            errSecSuccess);
  record = readPropertyList(kAdminPlist);
  EXPECT_EQ(CFArrayGetCount(
                static_cast<CFArrayRef>(valueAt(record.get(), {"trustList", isrg_.trustKey(), "trustSettings"}))),
            1);
}

TEST_F(TrustSettings, ResultsMustSuitTheCertificate) {
  // A root is trusted as a root, an intermediate as if it were one.
  for (long long result : {2, 0, 9}) EXPECT_EQ(trust(result), errSecParam) << result;
  EXPECT_NE(access(kAdminPlist, F_OK), 0) << "nothing written";

  auto intermediate = certificateFrom(intermediateDer());
  ASSERT_TRUE(intermediate);
  EXPECT_EQ(SecTrustSettingsSetTrustSettings(intermediate.get(), kAdmin, helperSettings(1).get()), errSecParam);
  EXPECT_EQ(SecTrustSettingsSetTrustSettings(intermediate.get(), kAdmin, nullptr), errSecParam);
  EXPECT_EQ(SecTrustSettingsSetTrustSettings(intermediate.get(), kAdmin, helperSettings(2).get()), errSecSuccess);

  // No constraints at all: trusted for everything, stored without settings.
  ASSERT_EQ(SecTrustSettingsSetTrustSettings(root_.get(), kAdmin, nullptr), errSecSuccess);
  xpc::CFRef<CFArrayRef> settings;
  ASSERT_EQ(copySettings(root_.get(), kAdmin, &settings), errSecSuccess);
  EXPECT_EQ(CFArrayGetCount(settings.get()), 0);
  EXPECT_EQ(valueAt(readPropertyList(kAdminPlist).get(), {"trustList", isrg_.trustKey(), "trustSettings"}), nullptr);
}

TEST_F(TrustSettings, RemovingTheLastEntryRemovesTheRecord) {
  EXPECT_EQ(SecTrustSettingsRemoveTrustSettings(root_.get(), kAdmin), errSecNoTrustSettings);
  ASSERT_EQ(trust(1), errSecSuccess);
  auto other = certificateFrom(Certificate(kGoDaddyClass2).der);
  EXPECT_EQ(SecTrustSettingsRemoveTrustSettings(other.get(), kAdmin), errSecItemNotFound);
  ASSERT_EQ(SecTrustSettingsRemoveTrustSettings(root_.get(), kAdmin), errSecSuccess);
  EXPECT_NE(access(kAdminPlist, F_OK), 0);
  EXPECT_EQ(copySettings(root_.get(), kAdmin), errSecItemNotFound);
}

TEST_F(TrustSettings, TheSystemDomainIsReadOnlyAndTheUserDomainIsRootsOwn) {
  EXPECT_EQ(trust(1, kSecTrustSettingsDomainSystem), errSecDataNotModifiable);
  EXPECT_EQ(SecTrustSettingsRemoveTrustSettings(root_.get(), kSecTrustSettingsDomainSystem), errSecDataNotModifiable);
  EXPECT_EQ(copySettings(root_.get(), kSecTrustSettingsDomainSystem), errSecItemNotFound);
  EXPECT_EQ(trust(1, static_cast<SecTrustSettingsDomain>(7)), errSecParam);

  ASSERT_EQ(trust(1), errSecSuccess);
  EXPECT_EQ(copySettings(root_.get(), kSecTrustSettingsDomainUser), errSecItemNotFound) << "the user domain is another";
  ASSERT_EQ(trust(1, kSecTrustSettingsDomainUser), errSecSuccess);
  struct stat file;
  ASSERT_EQ(stat("/Library/Security/Trust Settings/FFFFEEEE-DDDD-CCCC-BBBB-AAAA00000000.plist", &file), 0);
  EXPECT_EQ(file.st_mode & 07777, 0600u);
  EXPECT_EQ(copySettings(root_.get(), kSecTrustSettingsDomainUser), errSecSuccess);
}

TEST_F(TrustSettings, OnlyRootChangesAdminSettingsButEveryoneReadsThem) {
  ASSERT_EQ(trust(1), errSecSuccess);
  std::string before = fileBytes(kAdminPlist);
  std::string der = isrg_.der;
  EXPECT_EQ(asUser([&] {
              auto certificate = certificateFrom(der);
              xpc::CFRef<CFArrayRef> settings;
              if (copySettings(certificate.get(), kAdmin, &settings) != errSecSuccess) return 1;
              if (CFArrayGetCount(settings.get()) != 3) return 1;
              if (SecTrustSettingsSetTrustSettings(certificate.get(), kAdmin, nullptr) != errAuthorizationDenied) {
                return 2;
              }
              if (SecTrustSettingsRemoveTrustSettings(certificate.get(), kAdmin) != errAuthorizationDenied) return 3;
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
    EXPECT_EQ(copySettings(root_.get(), kAdmin), errSecInvalidTrustSettings);
    EXPECT_EQ(SecTrustSettingsSetTrustSettings(root_.get(), kAdmin, nullptr), errSecInvalidTrustSettings);
    EXPECT_EQ(fileBytes(kAdminPlist), broken);
  }
}

}  // namespace
