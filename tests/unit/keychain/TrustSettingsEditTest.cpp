// The edits of a trust-settings array, fed plain CF values: which entry a
// policy finds, what gets added, what gets repaired, and what is refused.
#include <Security/Security.h>

#include "CFTestSupport.h"
#include "CertificateTrustPolicyHelper.h"
#include "LogCapture.h"

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

std::string nameAt(CFArrayRef settings, CFIndex i) { return utf8(valueAt(CFArrayGetValueAtIndex(settings, i), "kSecTrustSettingsPolicyName")); }

long long resultAt(CFArrayRef settings, CFIndex i) {
  CFTypeRef number = valueAt(CFArrayGetValueAtIndex(settings, i), "kSecTrustSettingsResult");
  long long value = -1;
  if (number != nullptr && CFGetTypeID(number) == CFNumberGetTypeID()) {
    CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberLongLongType, &value);
  }
  return value;
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
  // Client and server SSL share the identifier; the name tells them apart.
  EXPECT_EQ(trust.cfArrayGetPolicyIndex(settings.get(), kSecPolicyAppleSSL), 3);
  EXPECT_EQ(trust.cfArrayGetPolicyIndex(settings.get(), kSecPolicyAppleEAP), -1);
  EXPECT_EQ(trust.cfArrayGetPolicyIndex(nullptr, kSecPolicyAppleEAP), -1);
  EXPECT_EQ(trust.getSecPolicyName(ssl.get()), "SSL Policy");
  EXPECT_EQ(trust.getSecPolicyName(basic.get()), "x.509 Policy");
}

TEST_F(TrustSettingsEditTest, MissingPoliciesAreAddedWithNameAndResult) {
  auto settings = array();
  for (const char* name : {"X.509", "SSL", "EAP"}) {
    EXPECT_TRUE(trust.setTrustSetting(name, settings.get(), 1, true)) << name;
  }
  ASSERT_EQ(CFArrayGetCount(settings.get()), 3);
  const char* names[] = {"basicX509", "sslServer", "eapServer"};
  CFStringRef identifiers[] = {kSecPolicyAppleX509Basic, kSecPolicyAppleSSL, kSecPolicyAppleEAP};
  for (CFIndex i = 0; i < 3; ++i) {
    EXPECT_EQ(nameAt(settings.get(), i), names[i]);
    EXPECT_EQ(resultAt(settings.get(), i), kSecTrustSettingsResultTrustAsRoot);
    EXPECT_EQ(trust.cfArrayGetPolicyIndex(settings.get(), identifiers[i]), i);
  }
  std::vector<LogLine> lines = log.take();
  EXPECT_TRUE(contains(lines, {5, "Our trust policy doesn't currently exist.  Adding it."}));
  EXPECT_TRUE(contains(lines, {5, "Attempting to set the value for 'EAP' to 'trust as root'."}));

  // A second pass changes nothing.
  EXPECT_TRUE(trust.setTrustSetting("SSL", settings.get(), 1, true));
  EXPECT_EQ(CFArrayGetCount(settings.get()), 3);
  EXPECT_TRUE(log.saw(5, "The current trust setting result value is already correct.. Won't mess with it."));
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
  ASSERT_EQ(CFArrayGetCount(settings.get()), 2);
  EXPECT_EQ(nameAt(settings.get(), 1), "sslServer");
  EXPECT_EQ(resultAt(settings.get(), 1), kSecTrustSettingsResultTrustRoot);
  EXPECT_NE(valueAt(CFArrayGetValueAtIndex(settings.get(), 1), "kSecTrustSettingsAllowedError"), nullptr)
      << "what was not wrong stays";
  EXPECT_TRUE(CFEqual(CFArrayGetValueAtIndex(settings.get(), 0), other.get())) << "other policies are not touched";
  std::vector<LogLine> lines = log.take();
  EXPECT_TRUE(contains(lines, {5, "The certificate already has the SSL trust setting..  Modifying if needed.."}));
  EXPECT_TRUE(contains(lines, {5, "The policy name should be : sslServer"}));
  EXPECT_TRUE(contains(lines, {5, "The incorrect trust setting policy name was deleted."}));
  EXPECT_TRUE(contains(lines, {5, "The trust setting result value is : 3"}));
  EXPECT_TRUE(contains(lines, {5, "The incorrect trust setting was deleted."}));
  EXPECT_TRUE(contains(lines, {5, "The new trust result value was set."}));
}

TEST_F(TrustSettingsEditTest, ResultsThatAreNotNumbersAreRefusedUnreadableOnesReplaced) {
  auto unreadable = entry(basic.get(), {{"kSecTrustSettingsResult", cfnumber(1e12).get()}});
  auto settings = array({unreadable.get()});
  EXPECT_TRUE(trust.setTrustSetting("X.509", settings.get(), 0, true));
  EXPECT_EQ(resultAt(settings.get(), 0), kSecTrustSettingsResultTrustRoot);
  EXPECT_TRUE(log.saw(5, "Deleted the invalid trust setting result key."));

  auto text = entry(basic.get(), {{"kSecTrustSettingsResult", CFSTR("1")}});
  settings = array({text.get()});
  EXPECT_FALSE(trust.setTrustSetting("X.509", settings.get(), 0, true));
  EXPECT_TRUE(log.saw(4, "Unknown result value returned from getting the trust setting result key!"));
  EXPECT_EQ(utf8(valueAt(CFArrayGetValueAtIndex(settings.get(), 0), "kSecTrustSettingsResult")), "1");
}

TEST_F(TrustSettingsEditTest, OnlyModelsZeroAndOneAndKnownPoliciesAreWritten) {
  auto settings = array();
  // Quiet on a first attempt, out loud on the retry.
  EXPECT_FALSE(trust.setTrustSetting("EAP", settings.get(), 2, false));
  EXPECT_TRUE(log.saw(5, "(Error) Unexpected trust result/model value provided while setting x.509 trust settings!"));
  EXPECT_FALSE(trust.setTrustSetting("EAP", settings.get(), -1, true));
  EXPECT_TRUE(log.saw(4, "Unexpected trust result/model value provided while setting x.509 trust settings!"));

  EXPECT_FALSE(trust.setTrustSetting("S/MIME", settings.get(), 0, true));
  std::vector<LogLine> lines = log.take();
  EXPECT_TRUE(contains(lines, {4, "Unknown policy constant 'S/MIME'!"}));
  EXPECT_TRUE(contains(lines, {4, "Unknown trust settings policy constant 'S/MIME'!"}));
  EXPECT_TRUE(contains(lines, {4, "Unable to configure the certificate trust settings for policy 'S/MIME'!"}));
  EXPECT_FALSE(trust.setTrustSetting("", settings.get(), 0, false));
  EXPECT_TRUE(log.saw(5, "(Error) The policy name provided to use for setting trust settings was empty!"));
  EXPECT_EQ(CFArrayGetCount(settings.get()), 1) << "only the EAP entry of the first attempt";

  EXPECT_EQ(trust.getTrustSettingsDomainFromInt(7), kSecTrustSettingsDomainUser);
  EXPECT_TRUE(log.saw(4, "Unknown trust settings domain of '7'.  Assuming 'user'."));
  EXPECT_EQ(CertificateTrustPolicyHelper::resultValueToString(4), "unspecified");
  EXPECT_EQ(CertificateTrustPolicyHelper::resultValueToString(9), "9");
}

}  // namespace
