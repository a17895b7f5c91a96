// Certificates from DER, their digests and names, and certificates in the
// System keychain, checked against openssl on Debian's CA certificates.
#include <CommonCrypto/CommonDigest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>

#include "SecurityTestSupport.h"
#include "XpcBase64.h"

using namespace sectest;

namespace {

class Certificates : public CFTest {};

// CC_SHA1 of the certificate's data, upper-case hex without separators.
std::string sha1Hex(SecCertificateRef certificate) {
  auto data = adopt(SecCertificateCopyData(certificate));
  unsigned char digest[CC_SHA1_DIGEST_LENGTH];
  CC_SHA1(CFDataGetBytePtr(data.get()), static_cast<CC_LONG>(CFDataGetLength(data.get())), digest);
  return hex(cfdata(std::string(reinterpret_cast<const char*>(digest), sizeof digest)).get());
}

// What openssl says of a CA certificate file, in one run: its SHA-1 in
// upper-case hex without separators, and the last value of each subject
// component under openssl's long name.
struct OpensslView {
  std::string sha1;
  std::map<std::string, std::string> subject;
};
OpensslView openssl(const std::string& file) {
  OpensslView view;
  std::istringstream lines(ChildProcess::run({"/usr/bin/openssl", "x509", "-in", kCertificateFolder + file, "-noout",
                                              "-fingerprint", "-sha1", "-subject", "-nameopt",
                                              "multiline,utf8,-esc_msb"})
                               .out);
  for (std::string line; std::getline(lines, line);) {
    size_t name = line.find_first_not_of(' '), equals = line.find(" = ");
    if (line.find("Fingerprint=") != std::string::npos) {
      for (char c : line.substr(line.find('=') + 1)) {
        if (c != ':') view.sha1 += c;
      }
    } else if (equals != std::string::npos) {
      view.subject[line.substr(name, line.find(' ', name) - name)] = line.substr(equals + 3);
    }
  }
  return view;
}

// The bytes of a PEM file's first block, decoded here so that each file
// needs a single run of openssl.
std::string derFromPem(const std::string& pem) {
  size_t begin = pem.find("-----\n") + 6, end = pem.find("-----END");
  std::string base64;
  for (char c : pem.substr(begin, end - begin)) {
    if (c != '\n' && c != '\r') base64 += c;
  }
  unsigned long length = 0;
  unsigned char* bytes = xpc::XpcBase64(nullptr).decode(base64, &length);
  std::string der(reinterpret_cast<const char*>(bytes), bytes != nullptr ? length : 0);
  free(bytes);
  return der;
}

// What the helper's certificate search finds in the System keychain, and its status.
OSStatus findCertificates(xpc::CFRef<CFTypeRef>* found) {
  return SecItemCopyMatching(searchAll(kSecClassCertificate).get(), found->initializeInto());
}

TEST_F(Certificates, EveryDebianCACertificateReadsAsOpensslReadsIt) {
  std::vector<std::string> files;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(kCertificateFolder, error)) {
    if (entry.path().extension() == ".crt") files.push_back(entry.path().filename());
  }
  ASSERT_GT(files.size(), 100u) << "install the ca-certificates package";
  for (const std::string& file : files) {
    SCOPED_TRACE(file);
    OpensslView expected = openssl(file);
    std::string der = derFromPem(fileBytes(kCertificateFolder + file));
    auto certificate = certificateFrom(der);
    ASSERT_TRUE(certificate);
    EXPECT_EQ(CFGetTypeID(certificate.get()), SecCertificateGetTypeID());
    EXPECT_TRUE(CFEqual(adopt(SecCertificateCopyData(certificate.get())).get(), cfdata(der).get()));
    EXPECT_EQ(sha1Hex(certificate.get()), expected.sha1);

    xpc::CFRef<CFStringRef> name;
    std::string commonName = expected.subject["commonName"];
    std::string summary = utf8(adopt(SecCertificateCopySubjectSummary(certificate.get())).get());
    if (commonName.empty()) {
      EXPECT_NE(SecCertificateCopyCommonName(certificate.get(), name.initializeInto()), errSecSuccess);
      EXPECT_EQ(summary, expected.subject["organizationalUnitName"]);
    } else {
      ASSERT_EQ(SecCertificateCopyCommonName(certificate.get(), name.initializeInto()), errSecSuccess);
      EXPECT_EQ(utf8(name.get()), commonName);
      EXPECT_EQ(summary, commonName);
    }
    // Each is a root, so it can be trusted as one.
    EXPECT_EQ(SecTrustSettingsSetTrustSettings(certificate.get(), kSecTrustSettingsDomainAdmin, nullptr),
              errSecSuccess);
  }
}

TEST_F(Certificates, BytesThatAreNotOneDERCertificateAreRefused) {
  Certificate isrg(kISRGRootX1);
  const std::string& der = isrg.der;
  for (const std::string& bytes : {std::string(), std::string("\x30\x03\x02\x01\x01", 5), der.substr(0, der.size() - 1),
                                   der + '\0', isrg.pem, std::string(1024, '\x30')}) {
    EXPECT_FALSE(certificateFrom(bytes)) << bytes.size() << " bytes";
  }
  EXPECT_EQ(SecCertificateCreateWithData(nullptr, nullptr), nullptr);
  EXPECT_EQ(SecCertificateCreateWithData(nullptr, reinterpret_cast<CFDataRef>(CFSTR("x"))), nullptr);
}

TEST_F(Certificates, TheSystemKeychainKeepsEachCertificateOnceUnderItsLabel) {
  auto isrg = certificateFrom(Certificate(kISRGRootX1).der);
  auto goDaddy = certificateFrom(Certificate(kGoDaddyClass2).der);
  auto keychain = openKeychain();
  ASSERT_EQ(SecCertificateAddToKeychain(isrg.get(), keychain.get()), errSecSuccess);
  ASSERT_EQ(SecCertificateAddToKeychain(goDaddy.get(), keychain.get()), errSecSuccess);
  EXPECT_EQ(SecCertificateAddToKeychain(isrg.get(), keychain.get()), errSecDuplicateItem);
  EXPECT_EQ(SecCertificateAddToKeychain(isrg.get(), nullptr), errSecDuplicateItem) << "root's default keychain";

  auto items = storedItems();
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(utf8(valueAt(items[0].get(), "class")), "cert");
  EXPECT_EQ(utf8(valueAt(items[0].get(), "labl")), "ISRG Root X1");
  EXPECT_EQ(utf8(valueAt(items[1].get(), "labl")), "Go Daddy Class 2 Certification Authority");
  EXPECT_TRUE(CFEqual(valueAt(items[0].get(), "v_Data"), adopt(SecCertificateCopyData(isrg.get())).get()));

  xpc::CFRef<CFTypeRef> found;
  ASSERT_EQ(findCertificates(&found), errSecSuccess);
  ASSERT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(found.get())), 2);
  CFTypeRef first = CFArrayGetValueAtIndex(static_cast<CFArrayRef>(found.get()), 0);
  EXPECT_EQ(utf8(valueAt(first, "labl")), "ISRG Root X1");
  EXPECT_EQ(utf8(valueAt(first, "class")), "cert");
  EXPECT_NE(valueAt(first, "issr"), nullptr);
  auto reference = static_cast<SecKeychainItemRef>(const_cast<void*>(valueAt(first, "v_Ref")));
  ASSERT_NE(reference, nullptr);
  EXPECT_EQ(CFGetTypeID(reference), SecCertificateGetTypeID());
  EXPECT_TRUE(CFEqual(reference, isrg.get()));

  // A certificate from a search is a keychain item; one made from bytes is not.
  EXPECT_EQ(SecKeychainItemDelete(reinterpret_cast<SecKeychainItemRef>(isrg.get())), errSecInvalidItemRef);
  EXPECT_EQ(SecKeychainItemDelete(reference), errSecSuccess);
  EXPECT_EQ(storedItems().size(), 1u);
  EXPECT_EQ(SecKeychainItemDelete(reference), errSecInvalidItemRef);
}

TEST_F(Certificates, OnlyRootAddsCertificatesToTheSystemKeychain) {
  std::string der = Certificate(kISRGRootX1).der;
  EXPECT_EQ(asUser([&] {
              auto keychain = openKeychain();
              return SecCertificateAddToKeychain(certificateFrom(der).get(), keychain.get()) == errSecWrPerm ? 0 : 1;
            }),
            0);
  EXPECT_TRUE(storedItems().empty());
}

TEST_F(Certificates, AKeychainWithACertificateThatDoesNotParseIsBroken) {
  writeFile(kSystemKeychain,
            "<plist><dict><key>Items</key><array><dict><key>class</key><string>cert</string>"
            "<key>v_Data</key><data>MAMCAQE=</data></dict></array></dict></plist>");
  xpc::CFRef<CFTypeRef> found;
  EXPECT_EQ(findCertificates(&found), errSecInvalidKeychain);
}

TEST_F(Certificates, ValuesDescribeTheSubjectIssuerAndValidity) {
  auto isrg = certificateFrom(Certificate(kISRGRootX1).der);
  auto values = adopt(SecCertificateCopyValues(isrg.get(), nullptr, nullptr));
  ASSERT_TRUE(values);
  CFTypeRef subject = valueAt(values.get(), utf8(kSecOIDX509V1SubjectName));
  EXPECT_EQ(utf8(valueAt(subject, "label")), "Subject Name");
  EXPECT_EQ(utf8(valueAt(subject, "type")), "section");
  auto components = static_cast<CFArrayRef>(valueAt(subject, "value"));
  ASSERT_EQ(CFArrayGetCount(components), 3);
  EXPECT_EQ(utf8(valueAt(CFArrayGetValueAtIndex(components, 2), "label")), "2.5.4.3");
  EXPECT_EQ(utf8(valueAt(CFArrayGetValueAtIndex(components, 2), "value")), "ISRG Root X1");
  EXPECT_EQ(utf8(valueAt(values.get(), {utf8(kSecOIDX509V1Version), "value"})), "3");
  // 2015-06-04 11:04:38 UTC.
  double notBefore = 0;
  CFNumberGetValue(static_cast<CFNumberRef>(valueAt(values.get(), {utf8(kSecOIDX509V1ValidityNotBefore), "value"})),
                   kCFNumberDoubleType, &notBefore);
  EXPECT_EQ(notBefore, 1433415878.0 - 978307200.0);

  const void* keys[] = {kSecOIDX509V1IssuerName};
  auto only = adopt(CFArrayCreate(nullptr, keys, 1, &kCFTypeArrayCallBacks));
  values = adopt(SecCertificateCopyValues(isrg.get(), only.get(), nullptr));
  EXPECT_EQ(keysOf(values.get()), std::vector<std::string>{utf8(kSecOIDX509V1IssuerName)});

  CFErrorRef error = nullptr;
  EXPECT_EQ(SecCertificateCopyValues(nullptr, nullptr, &error), nullptr);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(CFErrorGetCode(error), errSecParam);
  CFRelease(error);
}

}  // namespace
