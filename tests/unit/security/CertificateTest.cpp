// Certificates from DER, their digests and names, and certificates in the
// System keychain, checked against openssl on Debian's CA certificates.
#include <CommonCrypto/CommonDigest.h>

#include <cstring>

#include "SecurityTestSupport.h"

using namespace sectest;

namespace {

class Certificate : public CFTest {};

// The query the helper's certificate search makes.
xpc::CFRef<CFMutableDictionaryRef> searchAllCertificates() {
  auto keychain = openKeychain();
  const void* values[] = {keychain.get()};
  auto keychains = adopt(CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks));
  auto query = cfdictionary({{"class", kSecClassCertificate}, {"u_Keychain", keychains.get()}});
  CFDictionarySetValue(query.get(), kSecReturnAttributes, kCFBooleanTrue);
  CFDictionarySetValue(query.get(), kSecReturnRef, kCFBooleanTrue);
  CFDictionarySetValue(query.get(), kSecMatchLimit, kSecMatchLimitAll);
  return query;
}

xpc::CFRef<CFArrayRef> certificatesInSystemKeychain() {
  CFTypeRef result = nullptr;
  OSStatus status = SecItemCopyMatching(searchAllCertificates().get(), &result);
  if (status == errSecItemNotFound) return adopt(CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks));
  EXPECT_EQ(status, errSecSuccess);
  return adopt(static_cast<CFArrayRef>(result));
}

TEST_F(Certificate, EveryDebianCACertificateReadsAsOpensslReadsIt) {
  std::vector<std::string> files = caCertificateFiles();
  ASSERT_GT(files.size(), 100u) << "install the ca-certificates package";
  for (const std::string& file : files) {
    SCOPED_TRACE(file);
    OpensslView expected = openssl(file);
    ASSERT_FALSE(expected.der.empty());
    auto certificate = certificateFrom(expected.der);
    ASSERT_TRUE(certificate);
    EXPECT_EQ(CFGetTypeID(certificate.get()), SecCertificateGetTypeID());
    auto data = adopt(SecCertificateCopyData(certificate.get()));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())), CFDataGetLength(data.get())),
              expected.der);
    EXPECT_EQ(sha1Hex(certificate.get()), expected.sha1);

    xpc::CFRef<CFStringRef> name;
    std::string commonName = expected.last("commonName");
    if (commonName.empty()) {
      EXPECT_NE(SecCertificateCopyCommonName(certificate.get(), name.initializeInto()), errSecSuccess);
      EXPECT_EQ(utf8(adopt(SecCertificateCopySubjectSummary(certificate.get())).get()),
                expected.last("organizationalUnitName"));
    } else {
      ASSERT_EQ(SecCertificateCopyCommonName(certificate.get(), name.initializeInto()), errSecSuccess);
      EXPECT_EQ(utf8(name.get()), commonName);
      EXPECT_EQ(utf8(adopt(SecCertificateCopySubjectSummary(certificate.get())).get()), commonName);
    }
    // Each is a root, so it can be trusted as one.
    EXPECT_EQ(SecTrustSettingsSetTrustSettings(certificate.get(), kSecTrustSettingsDomainAdmin, nullptr),
              errSecSuccess);
  }
}

TEST_F(Certificate, BytesThatAreNotOneDERCertificateAreRefused) {
  std::string der = openssl(kISRGRootX1).der;
  std::string pem = fileBytes(std::string(kCertificateFolder) + kISRGRootX1);
  for (const std::string& bytes : {std::string(), std::string("\x30\x03\x02\x01\x01", 5), der.substr(0, der.size() - 1),
                                   der + '\0', pem, std::string(1024, '\x30')}) {
    EXPECT_FALSE(certificateFrom(bytes)) << bytes.size() << " bytes";
  }
  EXPECT_EQ(SecCertificateCreateWithData(nullptr, nullptr), nullptr);
  EXPECT_EQ(SecCertificateCreateWithData(nullptr, reinterpret_cast<CFDataRef>(CFSTR("x"))), nullptr);
}

TEST_F(Certificate, DigestsAreCommonCryptos) {
  unsigned char digest[CC_SHA256_DIGEST_LENGTH];
  EXPECT_EQ(CC_SHA1("abc", 3, digest), digest);
  EXPECT_EQ(std::memcmp(digest, "\xa9\x99\x3e\x36\x47\x06\x81\x6a\xba\x3e\x25\x71\x78\x50\xc2\x6c\x9c\xd0\xd8\x9d", 20),
            0);
  CC_SHA256("abc", 3, digest);
  EXPECT_EQ(digest[0], 0xba);
  EXPECT_EQ(digest[31], 0xad);
}

TEST_F(Certificate, TheSystemKeychainKeepsEachCertificateOnceUnderItsLabel) {
  auto isrg = certificateFrom(openssl(kISRGRootX1).der);
  auto goDaddy = certificateFrom(openssl(kGoDaddyClass2).der);
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
  auto der = adopt(SecCertificateCopyData(isrg.get()));
  EXPECT_TRUE(CFEqual(valueAt(items[0].get(), "v_Data"), der.get()));

  auto found = certificatesInSystemKeychain();
  ASSERT_EQ(CFArrayGetCount(found.get()), 2);
  CFTypeRef first = CFArrayGetValueAtIndex(found.get(), 0);
  EXPECT_EQ(utf8(valueAt(first, "labl")), "ISRG Root X1");
  EXPECT_EQ(utf8(valueAt(first, "class")), "cert");
  EXPECT_NE(valueAt(first, "issr"), nullptr);
  CFTypeRef reference = valueAt(first, "v_Ref");
  ASSERT_NE(reference, nullptr);
  EXPECT_EQ(CFGetTypeID(reference), SecCertificateGetTypeID());
  EXPECT_TRUE(CFEqual(reference, isrg.get()));
  EXPECT_EQ(sha1Hex(static_cast<SecCertificateRef>(const_cast<void*>(reference))), openssl(kISRGRootX1).sha1);

  // A certificate from a search is a keychain item; one made from bytes is not.
  EXPECT_EQ(SecKeychainItemDelete(reinterpret_cast<SecKeychainItemRef>(isrg.get())), errSecInvalidItemRef);
  EXPECT_EQ(SecKeychainItemDelete(static_cast<SecKeychainItemRef>(const_cast<void*>(reference))), errSecSuccess);
  EXPECT_EQ(CFArrayGetCount(certificatesInSystemKeychain().get()), 1);
  EXPECT_EQ(SecKeychainItemDelete(static_cast<SecKeychainItemRef>(const_cast<void*>(reference))), errSecInvalidItemRef);
}

TEST_F(Certificate, OnlyRootAddsCertificatesToTheSystemKeychain) {
  std::string der = openssl(kISRGRootX1).der;
  EXPECT_EQ(asUser([&] {
              auto keychain = openKeychain();
              return SecCertificateAddToKeychain(certificateFrom(der).get(), keychain.get()) == errSecWrPerm ? 0 : 1;
            }),
            0);
  EXPECT_TRUE(storedItems().empty());
}

TEST_F(Certificate, AKeychainWithACertificateThatDoesNotParseIsBroken) {
  writeFile(kSystemKeychain,
            "<plist><dict><key>Items</key><array><dict><key>class</key><string>cert</string>"
            "<key>v_Data</key><data>MAMCAQE=</data></dict></array></dict></plist>");
  CFTypeRef result = nullptr;
  EXPECT_EQ(SecItemCopyMatching(searchAllCertificates().get(), &result), errSecInvalidKeychain);
}

TEST_F(Certificate, ValuesDescribeTheSubjectIssuerAndValidity) {
  auto isrg = certificateFrom(openssl(kISRGRootX1).der);
  auto values = adopt(SecCertificateCopyValues(isrg.get(), nullptr, nullptr));
  ASSERT_TRUE(values);
  CFTypeRef subject = valueAt(values.get(), utf8(kSecOIDX509V1SubjectName));
  EXPECT_EQ(utf8(valueAt(subject, "label")), "Subject Name");
  EXPECT_EQ(utf8(valueAt(subject, "type")), "section");
  auto components = static_cast<CFArrayRef>(valueAt(subject, "value"));
  ASSERT_EQ(CFArrayGetCount(components), 3);
  EXPECT_EQ(utf8(valueAt(CFArrayGetValueAtIndex(components, 2), "label")), "2.5.4.3");
  EXPECT_EQ(utf8(valueAt(CFArrayGetValueAtIndex(components, 2), "value")), "ISRG Root X1");
  EXPECT_EQ(utf8(valueAt(valueAt(values.get(), utf8(kSecOIDX509V1Version)), "value")), "3");
  // 2015-06-04 11:04:38 UTC.
  double notBefore = 0;
  CFNumberGetValue(
      static_cast<CFNumberRef>(valueAt(valueAt(values.get(), utf8(kSecOIDX509V1ValidityNotBefore)), "value")),
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
