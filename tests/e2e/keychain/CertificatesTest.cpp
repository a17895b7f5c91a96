// CA certificates through the built helper, with real certificates: install
// with trust (both ways), find by label and thumbprint, repair of existing
// trust settings, deletion, and the texts of refused requests.
#include <gtest/gtest.h>

#include "CFTestSupport.h"
#include "HelperSession.h"
#include "SystemKeychain.h"

namespace {

const char kIsrgName[] = "ISRG Root X1";
const char kAmazonName[] = "Amazon Root CA 1";

std::vector<TrustEntry> trusted(long long result) {
  return {{"basicX509", result}, {"sslServer", result}, {"eapServer", result}};
}

std::string lower(std::string text) {
  for (char& c : text) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  return text;
}

class CertificatesTest : public ::testing::Test {
 protected:
  bool exists(const char* label, const std::string& thumbprint) {
    return helper.succeeds("certificateexistsinsystemstore", {{"CertLabel", label}, {"Thumbprint", thumbprint}});
  }

  HelperSession helper;
  Certificate isrg{"ISRG_Root_X1.crt"};
  Certificate amazon{"Amazon_Root_CA_1.crt"};
};

TEST_F(CertificatesTest, ACaIsInstalledOnceAndTrustedForThreePolicies) {
  EXPECT_TRUE(helper.succeeds("installsystemcacert", {Arg::data("CertificateData", isrg.der)}));
  std::vector<LogLine> lines = helper.lines();
  EXPECT_TRUE(contains(lines, {5, "Trust model setting is : 0"}));
  EXPECT_TRUE(contains(lines, {5, "Calculated thumbprint : " + isrg.thumbprint}));
  EXPECT_TRUE(contains(lines, {5, "The certificate doesn't exist.. Will attempt to install it.."}));
  EXPECT_TRUE(contains(lines, {5, "Will attempt to install a certificate with a common name of : ISRG Root X1"}));
  EXPECT_TRUE(contains(lines, {5, "Using the admin domain for setting trust settings!"}));
  EXPECT_TRUE(contains(lines, {5, "The certificate was installed, and trust settings were set..."}));
  EXPECT_EQ(copiesInKeychain(isrg.der), 1);
  EXPECT_EQ(adminTrust(isrg), trusted(kSecTrustSettingsResultTrustRoot));

  EXPECT_TRUE(exists(kIsrgName, isrg.thumbprint));
  EXPECT_TRUE(helper.logged(5, "Thumbprints match!"));
  EXPECT_TRUE(helper.succeeds("CertificateExistsInSystemStore",
                              {{"CertLabel", kIsrgName}, {"CertAlias", "anything"}, {"Thumbprint", isrg.thumbprint}}))
      << "the alias plays no part";
  std::string noBlanks = isrg.trustKey();
  for (const auto& [label, thumbprint] : {std::pair<std::string, std::string>{kIsrgName, lower(isrg.thumbprint)},
                                          {kIsrgName, noBlanks},
                                          {kIsrgName, amazon.thumbprint},
                                          {"ISRG Root X2", isrg.thumbprint},
                                          {lower(kIsrgName), isrg.thumbprint}}) {
    EXPECT_FALSE(helper.succeeds("certificateexistsinsystemstore", {{"CertLabel", label}, {"Thumbprint", thumbprint}}))
        << label << " / " << thumbprint;
  }

  // Installed again as "trust as root": not added twice, its settings
  // rewritten. The system refuses that result for a root, which is only noted.
  EXPECT_TRUE(helper.succeeds("InstallSystemCACert", {Arg::data("CertificateData", isrg.der), {"TrustModel", 1}}));
  lines = helper.lines();
  EXPECT_TRUE(contains(
      lines, {5, "The target certificate already exists in the system store.  Just updating the policy for it!"}));
  EXPECT_TRUE(contains(lines, {5, "Attempting to set the value for 'EAP' to 'trust as root'."}));
  EXPECT_TRUE(contains(lines, {5, "(Error) Failed to write new trust settings for a certificate!"}));
  EXPECT_EQ(copiesInKeychain(isrg.der), 1);
  EXPECT_EQ(adminTrust(isrg), trusted(kSecTrustSettingsResultTrustRoot));
}

TEST_F(CertificatesTest, ACertificateIsFoundByLabelOrCommonName) {
  ASSERT_TRUE(helper.succeeds("installsystemcacert", {Arg::data("CertificateData", isrg.der)}));
  relabelCertificates("Let's Encrypt");
  EXPECT_TRUE(exists("Let's Encrypt", isrg.thumbprint));
  EXPECT_TRUE(helper.logged(5, "All requirements matched! (2)"));
  EXPECT_TRUE(exists(kIsrgName, isrg.thumbprint));
  std::vector<LogLine> lines = helper.lines();
  EXPECT_TRUE(contains(lines, {5, "Found our target cert via raw CN value."}));
  EXPECT_TRUE(contains(lines, {5, "All requirements matched! (3)"}));
  EXPECT_FALSE(exists("ISRG", isrg.thumbprint));

  // Without a common name, a certificate goes by its subject summary.
  Certificate goDaddy("Go_Daddy_Class_2_CA.crt");
  const char summary[] = "Go Daddy Class 2 Certification Authority";
  EXPECT_TRUE(helper.succeeds("installsystemcacert", {Arg::data("CertificateData", goDaddy.der)}));
  EXPECT_TRUE(helper.logged(
      5, "Unable to determine the common name using the first method.  Will attempt a different method."));
  EXPECT_TRUE(exists(summary, goDaddy.thumbprint));
  EXPECT_EQ(adminTrust(goDaddy), trusted(kSecTrustSettingsResultTrustRoot));
}

TEST_F(CertificatesTest, ExistingTrustSettingsAreRepairedNotDuplicated) {
  ASSERT_TRUE(helper.succeeds("installsystemcacert", {Arg::data("CertificateData", amazon.der)}));
  // As another tool might leave them: the X.509 entry denied, the SSL entry
  // misnamed and without a result, the EAP entry gone.
  editAdminTrust(amazon, [](CFMutableArrayRef settings) {
    auto entry = [&](CFIndex i) {
      return static_cast<CFMutableDictionaryRef>(const_cast<void*>(CFArrayGetValueAtIndex(settings, i)));
    };
    CFDictionarySetValue(entry(0), CFSTR("kSecTrustSettingsResult"), cfnumber(3LL).get());
    CFDictionarySetValue(entry(1), CFSTR("kSecTrustSettingsPolicyName"), CFSTR("sslClient"));
    CFDictionaryRemoveValue(entry(1), CFSTR("kSecTrustSettingsResult"));
    CFArrayRemoveValueAtIndex(settings, 2);
  });
  ASSERT_EQ(adminTrust(amazon), (std::vector<TrustEntry>{{"basicX509", 3}, {"sslClient", -1}}));

  EXPECT_TRUE(helper.succeeds("installsystemcacert", {Arg::data("CertificateData", amazon.der)}));
  std::vector<LogLine> lines = helper.lines();
  EXPECT_TRUE(contains(lines, {5, "Certificate has existing trust settings.  Will copy the existing settings."}));
  EXPECT_TRUE(contains(lines, {5, "The trust setting result value is : 3"}));
  EXPECT_TRUE(contains(lines, {5, "The incorrect trust setting was deleted."}));
  EXPECT_TRUE(contains(lines, {5, "The certificate already has the SSL trust setting..  Modifying if needed.."}));
  EXPECT_TRUE(contains(lines, {5, "The incorrect trust setting policy name was deleted."}));
  EXPECT_TRUE(contains(lines, {5, "Our trust policy doesn't currently exist.  Adding it."}));
  EXPECT_EQ(adminTrust(amazon), trusted(kSecTrustSettingsResultTrustRoot));
  EXPECT_EQ(copiesInKeychain(amazon.der), 1);
}

TEST_F(CertificatesTest, TrustModelsOtherThanZeroAndOneAreRefused) {
  ASSERT_TRUE(helper.succeeds("installsystemcacert", {Arg::data("CertificateData", isrg.der)}));
  // Present already: the settings are left alone and the reply says so.
  for (long long model : {2LL, -1LL, 1LL << 32}) {  // the last is not wrapped to 0
    EXPECT_TRUE(helper.fails("installsystemcacert", {Arg::data("CertificateData", isrg.der), {"TrustModel", model}}))
        << model;
    EXPECT_TRUE(helper.logged(4, "Unexpected trust result/model value provided while setting x.509 trust settings!"));
  }
  EXPECT_EQ(adminTrust(isrg), trusted(kSecTrustSettingsResultTrustRoot));

  // New: the certificate goes in, its trust fails quietly, then once more
  // after a pause, out loud.
  EXPECT_TRUE(helper.fails("installsystemcacert", {Arg::data("CertificateData", amazon.der), {"TrustModel", 2}}));
  std::vector<LogLine> lines = helper.lines();
  EXPECT_TRUE(contains(lines, {5, "(Error) Unexpected trust result/model value provided while setting x.509 trust "
                                  "settings!"}));
  EXPECT_TRUE(contains(lines, {5, "Failed to write certificate trust items... Will wait a few seconds and then try "
                                  "again.."}));
  EXPECT_TRUE(contains(lines, {4, "Unable to set the x.509 trust setting to our certificate!"}));
  EXPECT_EQ(copiesInKeychain(amazon.der), 1);
  EXPECT_TRUE(adminTrust(amazon).empty());

  // Deleting it: there are no trust settings to remove, which is only a warning.
  EXPECT_TRUE(helper.succeeds("deletesystemcert", {{"CertLabel", kAmazonName}, {"Thumbprint", amazon.thumbprint}}));
  lines = helper.lines();
  EXPECT_TRUE(contains(lines, {4, "Unable to locate a certificate policy to delete!"}));
  EXPECT_TRUE(contains(lines, {3, "Unable to delete any certificate trust items!"}));
  EXPECT_EQ(copiesInKeychain(amazon.der), 0);
}

TEST_F(CertificatesTest, DeletionTakesTheCertificateAndItsTrust) {
  ASSERT_TRUE(helper.succeeds("installsystemcacert", {Arg::data("CertificateData", isrg.der)}));
  ASSERT_TRUE(helper.succeeds("installsystemcacert", {Arg::data("CertificateData", amazon.der)}));

  EXPECT_EQ(helper.error("deletesystemcert", {{"CertLabel", kIsrgName}, {"Thumbprint", lower(isrg.thumbprint)}}),
            "The certificate for label 'ISRG Root X1' could not be found!");
  EXPECT_EQ(copiesInKeychain(isrg.der), 1);

  EXPECT_TRUE(helper.succeeds("DeleteSystemCert", {{"CertLabel", kIsrgName}, {"Thumbprint", isrg.thumbprint}}));
  std::vector<LogLine> lines = helper.lines();
  EXPECT_TRUE(contains(lines, {5, "Attempting to delete a certificate with the label : ISRG Root X1"}));
  EXPECT_TRUE(contains(lines, {5, "Have trust settings in domain 1."}));
  EXPECT_TRUE(contains(lines, {5, "Deleted the trust settings for the certificate..."}));
  EXPECT_EQ(copiesInKeychain(isrg.der), 0);
  EXPECT_TRUE(adminTrust(isrg).empty());
  EXPECT_FALSE(exists(kIsrgName, isrg.thumbprint));

  EXPECT_EQ(copiesInKeychain(amazon.der), 1) << "the other one stays";
  EXPECT_EQ(adminTrust(amazon), trusted(kSecTrustSettingsResultTrustRoot));
}

TEST_F(CertificatesTest, CertificateArgumentsAreChecked) {
  for (const std::vector<Arg>& args : std::vector<std::vector<Arg>>{
           {}, {Arg::data("CertificateData", "")}, {{"CertificateData", isrg.der}}, {{"TrustModel", 1}}}) {
    EXPECT_EQ(helper.error("installsystemcacert", args), "The certificate length or data provided was invalid!");
  }
  EXPECT_TRUE(helper.fails("installsystemcacert", {Arg::data("CertificateData", "not a certificate")}));
  EXPECT_TRUE(helper.logged(4, "Unable to convert our DER encoded data in to a format usable with the keychain!"));
  EXPECT_TRUE(helper.fails("installsystemcacert", {Arg::data("CertificateData", isrg.der.substr(0, 300))}));
  EXPECT_TRUE(keychainItems(kSecClassCertificate).empty());

  struct Case {
    const char* command;
    const char* emptyLabel;
    const char* emptyThumbprint;
  };
  for (const Case& c : {Case{"deletesystemcert", "The label for the certificate to delete was empty!",
                             "The thumbprint for the certificate to delete was empty!"},
                        Case{"certificateexistsinsystemstore", "The label for the certificate to locate was empty!",
                             "The thumbprint for the certificate to locate was empty!"}}) {
    EXPECT_EQ(helper.error(c.command, {{"Thumbprint", isrg.thumbprint}}), c.emptyLabel);
    EXPECT_EQ(helper.error(c.command, {{"CertLabel", 1}, {"Thumbprint", isrg.thumbprint}}), c.emptyLabel);
    EXPECT_EQ(helper.error(c.command, {{"CertLabel", kIsrgName}, {"Thumbprint", ""}}), c.emptyThumbprint);
    EXPECT_EQ(helper.error(c.command, {{"CertLabel", kIsrgName}}), c.emptyThumbprint);
  }
}

TEST_F(CertificatesTest, TheSecurityToolInstallsPemText) {
  EXPECT_TRUE(helper.succeeds("installsystemcacertwithsecuritycmd", {{"PEMdata", isrg.pem}}));
  std::vector<LogLine> lines = helper.lines();
  EXPECT_TRUE(contains(lines, {5, "Attempting to install a CA certificate to the system store."}));
  EXPECT_TRUE(contains(lines, {5, "Calling : /usr/bin/security add-trusted-cert -d -r trustRoot -p basic -p ssl -p eap "
                                  "/tmp/tempcert.cer > /tmp/output.txt 2>&1"}));
  EXPECT_TRUE(contains(lines, {5, "The certificate should be installed."}));
  EXPECT_FALSE(contains(lines, {5, "No system keychain object cached.  Will open the keychain."}))
      << "the tool opens its own";
  EXPECT_EQ(fileBytes("/tmp/tempcert.cer"), "");
  EXPECT_EQ(fileBytes("/tmp/output.txt"), "");
  EXPECT_EQ(copiesInKeychain(isrg.der), 1);
  // The tool leaves out a result that is the default, trust root.
  EXPECT_EQ(adminTrust(isrg), trusted(-1));
  EXPECT_TRUE(exists(kIsrgName, isrg.thumbprint)) << "found through the framework too";

  // Only the key as clients spell it makes an intermediate.
  helper.send("installsystemcacertwithsecuritycmd", {{"PEMdata", amazon.pem}, {"IsIntermediate", true}});
  EXPECT_TRUE(helper.logged(5, "Calling : /usr/bin/security add-trusted-cert -d -r trustRoot -p basic -p ssl -p eap "
                               "/tmp/tempcert.cer > /tmp/output.txt 2>&1"));
  helper.send("InstallSystemCACertWithSecurityCmd", {{"PEMdata", amazon.pem}, {"IsIntemediate", true}});
  EXPECT_TRUE(helper.logged(5, "Calling : /usr/bin/security add-trusted-cert -d -r trustAsRoot -p basic -p ssl -p eap "
                               "/tmp/tempcert.cer > /tmp/output.txt 2>&1"));
}

TEST_F(CertificatesTest, TheSecurityToolsRefusalIsPassedOn) {
  for (const std::vector<Arg>& args : std::vector<std::vector<Arg>>{{}, {Arg::data("PEMdata", isrg.pem)}}) {
    EXPECT_EQ(helper.error("installsystemcacertwithsecuritycmd", args),
              "No certificate data was provided while trying to install a CA certificate!");
  }
  EXPECT_TRUE(helper.fails("installsystemcacertwithsecuritycmd", {{"PEMdata", ""}}));
  EXPECT_TRUE(helper.logged(4, "No PEM certificate data was provided while trying to install!!"));

  EXPECT_TRUE(helper.fails("installsystemcacertwithsecuritycmd", {{"PEMdata", "-----BEGIN CERTIFICATE-----\nnope\n"}}));
  std::vector<LogLine> lines = helper.lines();
  EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const LogLine& line) {
    return line.level == 4 && line.text.rfind("Unable to install the requested certificate!  (Result : ", 0) == 0 &&
           line.text != "Unable to install the requested certificate!  (Result : 0)";
  }));
  EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const LogLine& line) {
    return line.level == 5 && line.text.rfind("Command output : ", 0) == 0 && line.text.size() > 18;
  })) << "the tool's own words";
  EXPECT_EQ(fileBytes("/tmp/tempcert.cer"), "");
  EXPECT_TRUE(keychainItems(kSecClassCertificate).empty());
}

}  // namespace
