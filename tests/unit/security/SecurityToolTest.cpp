// /usr/bin/security in the fake Mac, run as the helper and a person run it:
// what it changes, what it prints and its exit statuses.
#include <sys/stat.h>
#include <unistd.h>

#include "SecurityTestSupport.h"

using namespace sectest;

namespace {

class SecurityTool : public CFTest {
 protected:
  static ProcessResult security(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "/usr/bin/security");
    return ChildProcess::run(arguments);
  }
  static std::string pemFile(const char* name) { return std::string(kCertificateFolder) + name; }
};

// The command line the helper gives the tool.
std::vector<std::string> helperInstall(const std::string& file, const char* result = "trustRoot") {
  return {"add-trusted-cert", "-d", "-r", result, "-p", "basic", "-p", "ssl", "-p", "eap", file};
}

TEST_F(SecurityTool, AddTrustedCertPutsTheCertificateInTheSystemKeychainWithAdminTrust) {
  ProcessResult run = security(helperInstall(pemFile(kISRGRootX1)));
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out + run.err, "");
  ASSERT_EQ(storedItems().size(), 1u);
  EXPECT_EQ(utf8(valueAt(storedItems()[0].get(), "labl")), "ISRG Root X1");

  Certificate isrg(kISRGRootX1);
  auto certificate = certificateFrom(isrg.der);
  xpc::CFRef<CFArrayRef> settings;
  ASSERT_EQ(
      SecTrustSettingsCopyTrustSettings(certificate.get(), kSecTrustSettingsDomainAdmin, settings.initializeInto()),
      errSecSuccess);
  EXPECT_EQ(CFArrayGetCount(settings.get()), 3);

  // Again, and from DER: the same certificate, still once.
  writeFile("/tmp/isrg.cer", isrg.der);
  EXPECT_EQ(security(helperInstall("/tmp/isrg.cer")).status, 0);
  EXPECT_EQ(storedItems().size(), 1u);

  // The user domain by default, and no keychain unless one is named.
  run = security({"add-trusted-cert", "-k", kSystemKeychain, pemFile(kGoDaddyClass2)});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(storedItems().size(), 2u);
}

TEST_F(SecurityTool, TrustMustSuitTheCertificate) {
  ProcessResult run = security(helperInstall(pemFile(kISRGRootX1), "trustAsRoot"));
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "SecTrustSettingsSetTrustSettings: One or more parameters passed to a function were not valid.\n");
}

TEST_F(SecurityTool, AFileThatCannotBeReadIsReportedAsOnAMac) {
  ProcessResult run = security(helperInstall("/tmp/missing.cer"));
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "***Error reading file /tmp/missing.cer\n");
  EXPECT_EQ(run.err, "Error reading file /tmp/missing.cer\n");

  writeFile("/tmp/text.cer", "not a certificate");
  run = security(helperInstall("/tmp/text.cer"));
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "SecCertificateCreateFromData: Unknown format in import.\nError reading file /tmp/text.cer\n");

  writeFile("/tmp/bad.pem", "-----BEGIN CERTIFICATE-----\n!!!\n-----END CERTIFICATE-----\n");
  run = security(helperInstall("/tmp/bad.pem"));
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "Error decoding cert file /tmp/bad.pem\nError reading file /tmp/bad.pem\n");

  writeFile("/tmp/root-only.pem", fileBytes(pemFile(kISRGRootX1)));
  ASSERT_EQ(chmod("/tmp/root-only.pem", 0600), 0);
  EXPECT_EQ(asUser([] {
              ProcessResult user = security({"add-trusted-cert", "/tmp/root-only.pem"});
              return user.status == 1 && user.err == "Error reading file /tmp/root-only.pem\n" ? 0 : 1;
            }),
            0);
  EXPECT_TRUE(storedItems().empty());
}

TEST_F(SecurityTool, UsageErrorsExitWithTwo) {
  ProcessResult run = security({});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.out.rfind("Usage: security", 0), 0u) << run.out;
  run = security({"add-trusted-cert"});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err.rfind("No cert file specified.\nUsage: add-trusted-cert ", 0), 0u) << run.err;
  EXPECT_EQ(security({"add-trusted-cert", "-r", "always", pemFile(kISRGRootX1)}).status, 2);
  EXPECT_EQ(
      security({"add-trusted-cert", "-p", "smtp", pemFile(kISRGRootX1)}).err.rfind("***unknown policy (smtp)", 0),
      0u);
  EXPECT_EQ(security({"delete-certificate"}).status, 2);
  run = security({"frobnicate"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "security: unknown command \"frobnicate\"\n");
  EXPECT_EQ(security({"dump-trust", "-d"}).status, 1) << "a command by the start of its name";
}

TEST_F(SecurityTool, FindCertificateShowsAndHashesWhatTheKeychainHolds) {
  ProcessResult run = security({"find-certificate", "-c", "ISRG"});
  EXPECT_EQ(run.status, 44) << "errSecItemNotFound, as the Mac's exit status";
  EXPECT_EQ(run.err, "security: SecKeychainSearchCopyNext: The specified item could not be found in the keychain.\n");
  EXPECT_EQ(security({"find-certificate", "-a", "-c", "ISRG"}).status, 0);

  ASSERT_EQ(security(helperInstall(pemFile(kISRGRootX1))).status, 0);
  ASSERT_EQ(security(helperInstall(pemFile(kGoDaddyClass2))).status, 0);
  run = security({"find-certificate", "-c", "isrg root", "-Z", "/Library/Keychains/System.keychain"});
  EXPECT_EQ(run.status, 0) << run.err;
  std::string sha256 =
      ChildProcess::run({"/usr/bin/openssl", "x509", "-in", pemFile(kISRGRootX1), "-noout", "-fingerprint", "-sha256"})
          .out;
  sha256.erase(0, sha256.find('=') + 1);
  sha256.erase(std::remove(sha256.begin(), sha256.end(), ':'), sha256.end());
  EXPECT_EQ(run.out.rfind("SHA-256 hash: " + sha256 + "SHA-1 hash: " + Certificate(kISRGRootX1).trustKey() + "\n" +
                              "keychain: \"/Library/Keychains/System.keychain\"\n",
                          0),
            0u)
      << run.out;
  EXPECT_NE(run.out.find("    \"labl\"<blob>=\"ISRG Root X1\"\n"), std::string::npos) << run.out;

  run = security({"find-certificate", "-c", "ISRG", "-p"});
  EXPECT_EQ(run.out, fileBytes(pemFile(kISRGRootX1)));
  run = security({"find-certificate", "-a", "-Z"});
  size_t certificates = 0;
  for (size_t at = run.out.find("SHA-1 hash: "); at != std::string::npos; at = run.out.find("SHA-1 hash: ", at + 1)) {
    ++certificates;
  }
  EXPECT_EQ(certificates, 2u) << run.out;
}

TEST_F(SecurityTool, DeleteCertificateNeedsOneCertificateAndCanTakeItsTrust) {
  ASSERT_EQ(security(helperInstall(pemFile(kISRGRootX1))).status, 0);
  ASSERT_EQ(security(helperInstall(pemFile(kGoDaddyClass2))).status, 0);
  ASSERT_EQ(
      security({"add-trusted-cert", "-k", kSystemKeychain, pemFile("ISRG_Root_X2.crt")}).status,
      0);
  ProcessResult run = security({"delete-certificate", "-c", "ISRG Root"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err,
            "security: \"ISRG Root\" is ambiguous, matches more than one certificate\n"
            "Unable to delete certificate matching \"ISRG Root\"");
  run = security({"delete-certificate", "-c", "Nobody"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "Unable to delete certificate matching \"Nobody\"");

  // An exact name wins over a partial one.
  EXPECT_EQ(security({"delete-certificate", "-c", "ISRG Root X2"}).status, 0);
  Certificate isrg(kISRGRootX1);
  std::string sha1 = isrg.trustKey();
  for (char& c : sha1) c = static_cast<char>(tolower(c));
  EXPECT_EQ(security({"delete-certificate", "-t", "-Z", sha1}).status, 0);
  ASSERT_EQ(storedItems().size(), 1u);
  EXPECT_EQ(utf8(valueAt(storedItems()[0].get(), "labl")), "Go Daddy Class 2 Certification Authority");
  auto certificate = certificateFrom(isrg.der);
  xpc::CFRef<CFArrayRef> settings;
  EXPECT_EQ(SecTrustSettingsCopyTrustSettings(certificate.get(), kSecTrustSettingsDomainAdmin, settings.initializeInto()),
            errSecItemNotFound);
}

TEST_F(SecurityTool, DumpTrustSettingsListsTheAdminDomainsCertificatesInTheKeychain) {
  const std::string none = "SecTrustSettingsCopyCertificates: No Trust Settings were found.\n";
  ProcessResult run = security({"dump-trust-settings", "-d"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, none);

  ASSERT_EQ(security(helperInstall(pemFile(kISRGRootX1))).status, 0);
  ASSERT_EQ(security({"add-trusted-cert", "-d", "-p", "ssl", pemFile(kGoDaddyClass2)}).status, 0);
  EXPECT_EQ(security({"dump-trust-settings"}).status, 1) << "nothing in the user domain";
  // In the keychain, but with trust in the user domain only.
  ASSERT_EQ(security({"add-trusted-cert", "-k", kSystemKeychain, pemFile("ISRG_Root_X2.crt")}).status, 0);
  run = security({"dump-trust-settings", "-d"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out,
            "Number of trusted certs = 2\n"
            "Cert 0: ISRG Root X1\n"
            "   Number of trust settings : 3\n"
            "   Trust Setting 0:\n"
            "      Policy OID            : Apple X509 Basic\n"
            "   Trust Setting 1:\n"
            "      Policy OID            : SSL\n"
            "   Trust Setting 2:\n"
            "      Policy OID            : EAP\n"
            "Cert 1: Go Daddy Class 2 Certification Authority\n"
            "   Number of trust settings : 1\n"
            "   Trust Setting 0:\n"
            "      Policy OID            : SSL\n");

  // Trust settings whose certificate has left the keychain are not listed.
  ASSERT_EQ(security({"delete-certificate", "-c", "ISRG Root X1"}).status, 0);
  ASSERT_EQ(security({"delete-certificate", "-Z", Certificate(kGoDaddyClass2).trustKey()}).status, 0);
  EXPECT_EQ(security({"dump-trust-settings", "-d"}).err, none);
}

}  // namespace
