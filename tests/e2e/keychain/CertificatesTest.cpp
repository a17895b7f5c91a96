// CA certificates through the built helper, with real certificates: install
// with trust (both ways), find by label and thumbprint, repair of existing
// trust settings, deletion, and the texts of refused requests.
#include <gtest/gtest.h>

#include <functional>

#include "Certificate.h"
#include "KeychainTestSupport.h"
#include "unit/keychain/TrustEntries.h"

namespace {

const char kAdminTrust[] = "/Library/Security/Trust Settings/Admin.plist";
const char kIsrgName[] = "ISRG Root X1";
const char kAmazonName[] = "Amazon Root CA 1";

TrustEntries trusted(long long result) {
  return {{"basicX509", result}, {"sslServer", result}, {"eapServer", result}};
}

std::string lower(std::string text) {
  for (char& c : text) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  return text;
}

// The certificate's entries in the admin trust settings file, in order.
TrustEntries adminTrust(const Certificate& certificate) {
  auto root = readPropertyList(kAdminTrust);
  return trustEntries(valueAt(root.get(), {"trustList", certificate.trustKey(), "trustSettings"}));
}

// How many certificates in the System keychain have these DER bytes.
int copiesInKeychain(const std::string& der) {
  int copies = 0;
  for (const auto& item : keychainItems(kSecClassCertificate)) {
    auto certificate = static_cast<SecCertificateRef>(const_cast<void*>(valueAt(item.get(), "v_Ref")));
    if (certificate != nullptr && CFEqual(adopt(SecCertificateCopyData(certificate)).get(), cfdata(der).get())) {
      ++copies;
    }
  }
  return copies;
}

// Rewrites a property-list file through `edit`, as another program would.
void editPropertyList(const char* path, const std::function<void(CFMutableDictionaryRef root)>& edit) {
  auto root = adopt(CFPropertyListCreateWithData(nullptr, cfdata(fileBytes(path)).get(),
                                                 kCFPropertyListMutableContainersAndLeaves, nullptr, nullptr));
  ASSERT_TRUE(root) << path;
  edit(static_cast<CFMutableDictionaryRef>(const_cast<void*>(root.get())));
  auto data = adopt(CFPropertyListCreateData(nullptr, root.get(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  writeFile(path, std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())),
                              static_cast<size_t>(CFDataGetLength(data.get()))));
}

// What the helper runs for "installsystemcacertwithsecuritycmd".
std::string securityCall(const std::string& trust) {
  return "Calling : /usr/bin/security add-trusted-cert -d -r " + trust +
         " -p basic -p ssl -p eap /tmp/tempcert.cer > /tmp/output.txt 2>&1";
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
  EXPECT_EQ(copiesInKeychain(isrg.der), 1);
  EXPECT_EQ(adminTrust(isrg), trusted(kSecTrustSettingsResultTrustRoot));

  EXPECT_TRUE(exists(kIsrgName, isrg.thumbprint));
  EXPECT_TRUE(helper.succeeds("CertificateExistsInSystemStore",
                              {{"CertLabel", kIsrgName}, {"CertAlias", "anything"}, {"Thumbprint", isrg.thumbprint}}))
      << "the alias plays no part";
  for (const auto& [label, thumbprint] : {std::pair<std::string, std::string>{kIsrgName, lower(isrg.thumbprint)},
                                          {kIsrgName, isrg.trustKey()},
                                          {kIsrgName, amazon.thumbprint},
                                          {"ISRG Root X2", isrg.thumbprint},
                                          {lower(kIsrgName), isrg.thumbprint}}) {
    EXPECT_FALSE(exists(label.c_str(), thumbprint)) << label << " / " << thumbprint;
  }

  // Installed again: not added twice, its settings found right as they are.
  EXPECT_TRUE(helper.succeeds("installsystemcacert", {Arg::data("CertificateData", isrg.der)}));
  EXPECT_TRUE(helper.logged(5, "The current trust setting result value is already correct.. Won't mess with it."));
  // Then as "trust as root": its settings rewritten. The system refuses that
  // result for a root, which is only noted.
  EXPECT_TRUE(helper.succeeds("InstallSystemCACert", {Arg::data("CertificateData", isrg.der), {"TrustModel", 1}}));
  EXPECT_TRUE(helper.logged(5, "(Error) Failed to write new trust settings for a certificate!"));
  EXPECT_EQ(copiesInKeychain(isrg.der), 1);
  EXPECT_EQ(adminTrust(isrg), trusted(kSecTrustSettingsResultTrustRoot));
}

TEST_F(CertificatesTest, ACertificateIsFoundByLabelOrCommonName) {
  ASSERT_TRUE(helper.succeeds("installsystemcacert", {Arg::data("CertificateData", isrg.der)}));
  // Another label, as a person could give it in Keychain Access. The file is
  // the emulation's own property list: {"Items": [attributes...]}.
  editPropertyList(kSystemKeychain, [](CFMutableDictionaryRef root) {
    auto items = static_cast<CFArrayRef>(valueAt(root, "Items"));
    for (CFIndex i = 0; items != nullptr && i < CFArrayGetCount(items); ++i) {
      auto item = static_cast<CFMutableDictionaryRef>(const_cast<void*>(CFArrayGetValueAtIndex(items, i)));
      if (utf8(valueAt(item, "class")) == "cert") CFDictionarySetValue(item, CFSTR("labl"), CFSTR("Let's Encrypt"));
    }
  });
  EXPECT_TRUE(exists("Let's Encrypt", isrg.thumbprint));
  EXPECT_TRUE(exists(kIsrgName, isrg.thumbprint));
  EXPECT_FALSE(exists("ISRG", isrg.thumbprint));

  // Without a common name, a certificate goes by its subject summary.
  Certificate goDaddy("Go_Daddy_Class_2_CA.crt");
  EXPECT_TRUE(helper.succeeds("installsystemcacert", {Arg::data("CertificateData", goDaddy.der)}));
  EXPECT_TRUE(exists("Go Daddy Class 2 Certification Authority", goDaddy.thumbprint));
  EXPECT_EQ(adminTrust(goDaddy), trusted(kSecTrustSettingsResultTrustRoot));
}

TEST_F(CertificatesTest, ExistingTrustSettingsAreRepairedNotDuplicated) {
  ASSERT_TRUE(helper.succeeds("installsystemcacert", {Arg::data("CertificateData", amazon.der)}));
  // As another tool might leave them: the X.509 entry denied, the SSL entry
  // misnamed and without a result, the EAP entry gone.
  editPropertyList(kAdminTrust, [&](CFMutableDictionaryRef root) {
    auto settings = static_cast<CFMutableArrayRef>(
        const_cast<void*>(valueAt(root, {"trustList", amazon.trustKey(), "trustSettings"})));
    ASSERT_NE(settings, nullptr);
    auto entry = [&](CFIndex i) {
      return static_cast<CFMutableDictionaryRef>(const_cast<void*>(CFArrayGetValueAtIndex(settings, i)));
    };
    CFDictionarySetValue(entry(0), CFSTR("kSecTrustSettingsResult"), cfnumber(3LL).get());
    CFDictionarySetValue(entry(1), CFSTR("kSecTrustSettingsPolicyName"), CFSTR("sslClient"));
    CFDictionaryRemoveValue(entry(1), CFSTR("kSecTrustSettingsResult"));
    CFArrayRemoveValueAtIndex(settings, 2);
  });
  ASSERT_EQ(adminTrust(amazon), (TrustEntries{{"basicX509", 3}, {"sslClient", -1}}));

  EXPECT_TRUE(helper.succeeds("installsystemcacert", {Arg::data("CertificateData", amazon.der)}));
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
  EXPECT_TRUE(helper.logged(4, "Unable to set the x.509 trust setting to our certificate!"));
  EXPECT_EQ(copiesInKeychain(amazon.der), 1);
  EXPECT_TRUE(adminTrust(amazon).empty());

  // Deleting it: there are no trust settings to remove, which is only a warning.
  EXPECT_TRUE(helper.succeeds("deletesystemcert", {{"CertLabel", kAmazonName}, {"Thumbprint", amazon.thumbprint}}));
  std::vector<LogLine> lines = helper.lines();
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

  for (const auto& [command, verb] : {std::pair<std::string, std::string>{"deletesystemcert", "delete"},
                                      {"certificateexistsinsystemstore", "locate"}}) {
    const std::string emptyLabel = "The label for the certificate to " + verb + " was empty!";
    const std::string emptyThumbprint = "The thumbprint for the certificate to " + verb + " was empty!";
    EXPECT_EQ(helper.error(command, {{"Thumbprint", isrg.thumbprint}}), emptyLabel);
    EXPECT_EQ(helper.error(command, {{"CertLabel", 1}, {"Thumbprint", isrg.thumbprint}}), emptyLabel);
    EXPECT_EQ(helper.error(command, {{"CertLabel", kIsrgName}, {"Thumbprint", ""}}), emptyThumbprint);
    EXPECT_EQ(helper.error(command, {{"CertLabel", kIsrgName}}), emptyThumbprint);
  }
}

TEST_F(CertificatesTest, TheSecurityToolInstallsPemText) {
  EXPECT_TRUE(helper.succeeds("installsystemcacertwithsecuritycmd", {{"PEMdata", isrg.pem}}));
  EXPECT_TRUE(helper.logged(5, securityCall("trustRoot")));
  EXPECT_EQ(fileBytes("/tmp/tempcert.cer"), "");
  EXPECT_EQ(fileBytes("/tmp/output.txt"), "");
  EXPECT_EQ(copiesInKeychain(isrg.der), 1);
  // The tool leaves out a result that is the default, trust root.
  EXPECT_EQ(adminTrust(isrg), trusted(-1));
  EXPECT_TRUE(exists(kIsrgName, isrg.thumbprint)) << "found through the framework too";

  // Only the key as clients spell it makes an intermediate.
  helper.send("installsystemcacertwithsecuritycmd", {{"PEMdata", amazon.pem}, {"IsIntermediate", true}});
  EXPECT_TRUE(helper.logged(5, securityCall("trustRoot")));
  helper.send("InstallSystemCACertWithSecurityCmd", {{"PEMdata", amazon.pem}, {"IsIntemediate", true}});
  EXPECT_TRUE(helper.logged(5, securityCall("trustAsRoot")));
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
