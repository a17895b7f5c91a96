// The edits of a trust-settings array, fed plain CF values: which entry a
// policy finds, what gets added, what gets repaired, and what is refused.
// Entries added to a certificate without settings, and the texts of a repair
// as the client sees them, are checked end to end.
#include <Security/Security.h>

#include "CFTestSupport.h"
#include "CertificateTrustPolicyHelper.h"
#include "LogCapture.h"
#include "TrustEntries.h"

namespace {

using xpc::CertificateTrustPolicyHelper;

xpc::CFRef<CFMutableArrayRef> array(std::initializer_list<CFTypeRef> values = {}) {
  auto result = adopt(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  for (CFTypeRef value : values) CFArrayAppendValue(result.get(), value);
  return result;
}

// An entry for a policy, with whatever else the test puts in it.
xpc::CFRef<CFMutableDictionaryRef> entry(SecPolicyRef policy, Entries extra = {}) {
  auto result = cfdictionary(extra);
  if (policy != nullptr) CFDictionarySetValue(result.get(), kSecTrustSettingsPolicy, policy);
  return result;
}

class TrustSettingsEditTest : public CFTest {
 protected:
  LogCapture log;
  CertificateTrustPolicyHelper trust{log.logger()};
  xpc::CFRef<SecPolicyRef> basic = adopt(SecPolicyCreateBasicX509());
  xpc::CFRef<SecPolicyRef> ssl = adopt(SecPolicyCreateSSL(true, nullptr));
  xpc::CFRef<SecPolicyRef> sslClient = adopt(SecPolicyCreateSSL(false, nullptr));
};

TEST_F(TrustSettingsEditTest, APolicyIsFoundByItsIdentifierAmongAnyEntries) {
  auto settings = array({CFSTR("not an entry"), entry(nullptr).get(), entry(basic.get()).get(),
                         entry(sslClient.get()).get()});
  EXPECT_EQ(trust.cfArrayGetPolicyIndex(settings.get(), kSecPolicyAppleX509Basic), 2);
  // Client and server SSL share the identifier.
  EXPECT_EQ(trust.cfArrayGetPolicyIndex(settings.get(), kSecPolicyAppleSSL), 3);
  EXPECT_EQ(trust.cfArrayGetPolicyIndex(settings.get(), kSecPolicyAppleEAP), -1);
  EXPECT_EQ(trust.getSecPolicyName(ssl.get()), "SSL Policy");
  EXPECT_EQ(trust.getSecPolicyName(basic.get()), "x.509 Policy");
}

TEST_F(TrustSettingsEditTest, AnExistingEntryIsRepairedInPlace) {
  auto denied = entry(sslClient.get(), {{"kSecTrustSettingsPolicyName", CFSTR("sslClient")},
                                        {"kSecTrustSettingsResult", cfnumber(3LL).get()},
                                        {"kSecTrustSettingsAllowedError", cfnumber(-2147408896LL).get()}});
  auto other = entry(basic.get(), {{"kSecTrustSettingsResult", cfnumber(3LL).get()}});
  // Entries read from the system are immutable.
  auto frozen = adopt(CFDictionaryCreateCopy(nullptr, denied.get()));
  auto settings = array({other.get(), frozen.get()});

  EXPECT_TRUE(trust.setTrustSetting("SSL", settings.get(), 0, true));
  EXPECT_EQ(trustEntries(settings.get()), (TrustEntries{{"", 3}, {"sslServer", kSecTrustSettingsResultTrustRoot}}));
  EXPECT_NE(valueAt(CFArrayGetValueAtIndex(settings.get(), 1), "kSecTrustSettingsAllowedError"), nullptr)
      << "what was not wrong stays";
  EXPECT_TRUE(CFEqual(CFArrayGetValueAtIndex(settings.get(), 0), other.get())) << "other policies are not touched";
  std::vector<LogLine> lines = log.take();
  EXPECT_TRUE(contains(lines, {5, "The policy name should be : sslServer"}));
  EXPECT_TRUE(contains(lines, {5, "The new trust result value was set."}));
}

TEST_F(TrustSettingsEditTest, ResultsThatAreNotNumbersAreRefusedUnreadableOnesReplaced) {
  auto settings = array({entry(basic.get(), {{"kSecTrustSettingsResult", cfnumber(1e12).get()}}).get()});
  EXPECT_TRUE(trust.setTrustSetting("X.509", settings.get(), 0, true));
  EXPECT_EQ(trustEntries(settings.get()), (TrustEntries{{"basicX509", kSecTrustSettingsResultTrustRoot}}));
  EXPECT_TRUE(log.saw(5, "Deleted the invalid trust setting result key."));

  settings = array({entry(basic.get(), {{"kSecTrustSettingsResult", CFSTR("1")}}).get()});
  EXPECT_FALSE(trust.setTrustSetting("X.509", settings.get(), 0, true));
  EXPECT_TRUE(log.saw(4, "Unknown result value returned from getting the trust setting result key!"));
  EXPECT_EQ(utf8(valueAt(CFArrayGetValueAtIndex(settings.get(), 0), "kSecTrustSettingsResult")), "1");
}

TEST_F(TrustSettingsEditTest, UnknownPoliciesAndDomainsAreNamed) {
  auto settings = array();
  EXPECT_FALSE(trust.setTrustSetting("S/MIME", settings.get(), 0, true));
  std::vector<LogLine> lines = log.take();
  EXPECT_TRUE(contains(lines, {4, "Unknown policy constant 'S/MIME'!"}));
  EXPECT_TRUE(contains(lines, {4, "Unknown trust settings policy constant 'S/MIME'!"}));
  EXPECT_TRUE(contains(lines, {4, "Unable to configure the certificate trust settings for policy 'S/MIME'!"}));
  EXPECT_FALSE(trust.setTrustSetting("", settings.get(), 0, false));
  EXPECT_TRUE(log.saw(5, "(Error) The policy name provided to use for setting trust settings was empty!"));
  EXPECT_EQ(CFArrayGetCount(settings.get()), 0);

  EXPECT_EQ(trust.getTrustSettingsDomainFromInt(7), kSecTrustSettingsDomainUser);
  EXPECT_TRUE(log.saw(4, "Unknown trust settings domain of '7'.  Assuming 'user'."));
  EXPECT_EQ(CertificateTrustPolicyHelper::resultValueToString(4), "unspecified");
  EXPECT_EQ(CertificateTrustPolicyHelper::resultValueToString(9), "9");
}

}  // namespace
