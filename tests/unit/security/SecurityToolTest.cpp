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

TEST_F(SecurityTool, AddTrustedCertPutsTheCertificateInTheSystemKeychainOnce) {
  ProcessResult run = security(helperInstall(pemFile(kISRGRootX1)));
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out + run.err, "");
  EXPECT_EQ(storedItems().size(), 1u);

  // Again, and from DER: the same certificate, still once.
  writeFile("/tmp/isrg.cer", Certificate(kISRGRootX1).der);
  EXPECT_EQ(security(helperInstall("/tmp/isrg.cer")).status, 0);
  EXPECT_EQ(storedItems().size(), 1u);

  // The user domain by default, and no keychain unless one is named.
  run = security({"add-trusted-cert", "-k", kSystemKeychain, pemFile(kGoDaddyClass2)});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(storedItems().size(), 2u);
}

TEST_F(SecurityTool, RefusalsExitAndSayWhyAsOnAMac) {
  writeFile("/tmp/text.cer", "not a certificate");
  writeFile("/tmp/bad.pem", "-----BEGIN CERTIFICATE-----\n!!!\n-----END CERTIFICATE-----\n");
  const struct {
    std::vector<std::string> arguments;
    int status;
    std::string err;
  } refusals[] = {
      {helperInstall("/tmp/missing.cer"), 1, "Error reading file /tmp/missing.cer\n"},
      {helperInstall("/tmp/text.cer"), 1,
       "SecCertificateCreateFromData: Unknown format in import.\nError reading file /tmp/text.cer\n"},
      {helperInstall("/tmp/bad.pem"), 1, "Error decoding cert file /tmp/bad.pem\nError reading file /tmp/bad.pem\n"},
      {{"frobnicate"}, 1, "security: unknown command \"frobnicate\"\n"},
      // errSecItemNotFound, as the Mac's exit status.
      {{"find-certificate", "-c", "ISRG"}, 44,
       "security: SecKeychainSearchCopyNext: The specified item could not be found in the keychain.\n"},
      {{"delete-certificate", "-c", "Nobody"}, 1, "Unable to delete certificate matching \"Nobody\""},
      {{"dump-trust-settings", "-d"}, 1, "SecTrustSettingsCopyCertificates: No Trust Settings were found.\n"},
  };
  for (const auto& [arguments, status, err] : refusals) {
    ProcessResult run = security(arguments);
    EXPECT_EQ(run.status, status) << arguments.back();
    EXPECT_EQ(run.err, err);
  }
  EXPECT_EQ(security(helperInstall("/tmp/missing.cer")).out, "***Error reading file /tmp/missing.cer\n");
  EXPECT_EQ(security({"find-certificate", "-a", "-c", "ISRG"}).status, 0);

  writeFile("/tmp/root-only.pem", fileBytes(pemFile(kISRGRootX1)));
  ASSERT_EQ(chmod("/tmp/root-only.pem", 0600), 0);
  EXPECT_EQ(asUser([] {
              ProcessResult user = security({"add-trusted-cert", "/tmp/root-only.pem"});
              return user.status == 1 && user.err == "Error reading file /tmp/root-only.pem\n" ? 0 : 1;
            }),
            0);
  EXPECT_TRUE(storedItems().empty());

  ProcessResult run = security(helperInstall(pemFile(kISRGRootX1), "trustAsRoot"));
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "SecTrustSettingsSetTrustSettings: One or more parameters passed to a function were not valid.\n");
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
  EXPECT_EQ(security({"dump-trust", "-d"}).status, 1) << "a command by the start of its name";
}

// What a person sees of the helper's certificates, and how they take them away.
TEST_F(SecurityTool, CertificatesAreFoundDumpedAndDeleted) {
  ASSERT_EQ(security(helperInstall(pemFile(kISRGRootX1))).status, 0);
  ASSERT_EQ(security({"add-trusted-cert", "-d", "-p", "ssl", pemFile(kGoDaddyClass2)}).status, 0);
  EXPECT_EQ(security({"dump-trust-settings"}).status, 1) << "nothing in the user domain";
  // In the keychain, but with trust in the user domain only.
  ASSERT_EQ(security({"add-trusted-cert", "-k", kSystemKeychain, pemFile("ISRG_Root_X2.crt")}).status, 0);

  ProcessResult run = security({"find-certificate", "-c", "isrg root", "-Z", kSystemKeychain});
  EXPECT_EQ(run.status, 0) << run.err;
  std::string sha256 =
      ChildProcess::run({"/usr/bin/openssl", "x509", "-in", pemFile(kISRGRootX1), "-noout", "-fingerprint", "-sha256"})
          .out;
  sha256.erase(0, sha256.find('=') + 1);
  sha256.erase(std::remove(sha256.begin(), sha256.end(), ':'), sha256.end());
  Certificate isrg(kISRGRootX1);
  const std::string head = "SHA-256 hash: " + sha256 + "SHA-1 hash: " + isrg.trustKey() + "\n";
  EXPECT_EQ(run.out.rfind(head + "keychain: \"/Library/Keychains/System.keychain\"\n", 0), 0u) << run.out;
  EXPECT_NE(run.out.find("    \"labl\"<blob>=\"ISRG Root X1\"\n"), std::string::npos) << run.out;
  EXPECT_EQ(security({"find-certificate", "-c", "ISRG", "-p"}).out, isrg.pem);
  run = security({"find-certificate", "-a", "-Z"});
  size_t certificates = 0;
  for (size_t at = 0; (at = run.out.find("SHA-1 hash: ", at)) != std::string::npos; ++at) ++certificates;
  EXPECT_EQ(certificates, 3u) << run.out;

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

  run = security({"delete-certificate", "-c", "ISRG Root"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err,
            "security: \"ISRG Root\" is ambiguous, matches more than one certificate\n"
            "Unable to delete certificate matching \"ISRG Root\"");
  // An exact name wins over a partial one.
  EXPECT_EQ(security({"delete-certificate", "-c", "ISRG Root X2"}).status, 0);
  std::string sha1 = isrg.trustKey();
  for (char& c : sha1) c = static_cast<char>(tolower(c));
  EXPECT_EQ(security({"delete-certificate", "-t", "-Z", sha1}).status, 0);
  ASSERT_EQ(storedItems().size(), 1u);
  EXPECT_EQ(utf8(valueAt(storedItems()[0].get(), "labl")), "Go Daddy Class 2 Certification Authority");
  xpc::CFRef<CFArrayRef> settings;
  EXPECT_EQ(SecTrustSettingsCopyTrustSettings(certificateFrom(isrg.der).get(), kSecTrustSettingsDomainAdmin,
                                              settings.initializeInto()),
            errSecItemNotFound);

  // Without -t the trust stays, but a certificate gone from the keychain is not listed.
  ASSERT_EQ(security({"delete-certificate", "-Z", Certificate(kGoDaddyClass2).trustKey()}).status, 0);
  EXPECT_EQ(access("/Library/Security/Trust Settings/Admin.plist", F_OK), 0);
  EXPECT_EQ(security({"dump-trust-settings", "-d"}).err,
            "SecTrustSettingsCopyCertificates: No Trust Settings were found.\n");
}

}  // namespace
