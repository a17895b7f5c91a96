#include "SCTestSupport.h"

namespace {

using namespace sctest;
using DynamicStore = CFTest;

xpc::CFRef<SCDynamicStoreRef> openStore() {
  return adopt(SCDynamicStoreCreate(nullptr, CFSTR("test"), nullptr, nullptr));
}

xpc::CFRef<CFPropertyListRef> copyValue(const std::string& key) {
  return adopt(SCDynamicStoreCopyValue(openStore().get(), cfstring(key).get()));
}

std::vector<std::string> keysMatching(const std::string& pattern) {
  return texts(adopt(SCDynamicStoreCopyKeyList(openStore().get(), cfstring(pattern).get())).get());
}

std::string currentSet() { return utf8(valueAt(copyValue("Setup:").get(), "CurrentSet")); }

std::string setupKey(const char* serviceID) { return std::string("Setup:/Network/Service/") + serviceID; }

TEST_F(DynamicStore, StartsWithTheStoredPreferencesPublished) {
  auto setup = copyValue("Setup:");
  EXPECT_EQ(utf8(valueAt(setup.get(), "CurrentSet")), std::string("/Sets/") + kAutomatic);
  CFTypeRef updated = valueAt(setup.get(), "LastUpdated");
  ASSERT_NE(updated, nullptr);
  EXPECT_EQ(CFGetTypeID(updated), CFDateGetTypeID());

  EXPECT_EQ(keysMatching("Setup:/Network/Service/[^/]+"),
            (std::vector<std::string>{setupKey(kEthernet), setupKey(kBridge), setupKey(kWiFi)}));
  EXPECT_EQ(utf8(valueAt(copyValue(setupKey(kEthernet)).get(), "UserDefinedName")), "Ethernet");
  EXPECT_EQ(utf8(valueAt(copyValue(setupKey(kEthernet) + "/IPv6").get(), "ConfigMethod")), "Manual");
  EXPECT_EQ(utf8(valueAt(copyValue(setupKey(kEthernet) + "/Interface").get(), "DeviceName")), "en0");
  EXPECT_EQ(
      CFArrayGetCount(static_cast<CFArrayRef>(valueAt(copyValue("Setup:/Network/Global/IPv4").get(), "ServiceOrder"))),
      3);

  EXPECT_TRUE(failedWith(copyValue(setupKey(kEthernet) + "/DNS"), kSCStatusNoKey))
      << "an empty entity is not published";

  // Patterns match whole keys.
  EXPECT_TRUE(keysMatching("Service").empty());
  EXPECT_EQ(keysMatching("^Setup:$"), (std::vector<std::string>{"Setup:"}));
  EXPECT_TRUE(
      failedWith(adopt(SCDynamicStoreCopyKeyList(openStore().get(), CFSTR("(unclosed"))), kSCStatusFailed));
}

TEST_F(DynamicStore, ApplyPublishesTheCommittedPreferencesToEveryProcess) {
  auto prefs = openPreferences();
  auto office = cfstring(std::string("/Sets/") + kOffice);
  ASSERT_TRUE(SCPreferencesSetValue(prefs.get(), kSCPrefCurrentSet, office.get()));
  ASSERT_TRUE(SCPreferencesCommitChanges(prefs.get()));
  EXPECT_EQ(currentSet(), std::string("/Sets/") + kAutomatic) << "committed but not applied";

  ASSERT_TRUE(SCPreferencesApplyChanges(prefs.get()));
  EXPECT_EQ(currentSet(), std::string("/Sets/") + kOffice);
  EXPECT_EQ(keysMatching("Setup:/Network/Service/[^/]+"),
            (std::vector<std::string>{setupKey(kOfficeWiFi), setupKey(kOfficeEthernet)}))
      << "Office's disabled bridge is not published, nor are Automatic's services";
  EXPECT_EQ(utf8(valueAt(copyValue(setupKey(kOfficeEthernet) + "/Proxies").get(), "HTTPProxy")), "proxy.corp.example");

  EXPECT_EQ(ChildProcess([&] { return currentSet() == utf8(office.get()) ? 0 : 1; }).wait(), 0);

  // Only what is committed is applied.
  auto automatic = cfstring(std::string("/Sets/") + kAutomatic);
  ASSERT_TRUE(SCPreferencesSetValue(prefs.get(), kSCPrefCurrentSet, automatic.get()));
  ASSERT_TRUE(SCPreferencesApplyChanges(prefs.get()));
  EXPECT_EQ(currentSet(), std::string("/Sets/") + kOffice);
}

TEST_F(DynamicStore, ValuesSetInOneProcessAreSeenInAnother) {
  auto store = openStore();
  auto key = cfstring(std::string("State:/Network/Service/") + kEthernet + "/IPv4");

  auto value = cfdictionary({{"Router", CFSTR("192.0.2.1")}});
  ASSERT_TRUE(SCDynamicStoreSetValue(store.get(), key.get(), value.get()));
  EXPECT_EQ(ChildProcess([&] { return CFEqual(copyValue(utf8(key.get())).get(), value.get()) ? 0 : 1; }).wait(),
            0);

  ASSERT_TRUE(SCDynamicStoreRemoveValue(store.get(), key.get()));
  EXPECT_TRUE(failedWith(SCDynamicStoreRemoveValue(store.get(), key.get()), kSCStatusNoKey));
  EXPECT_EQ(ChildProcess([&] { return copyValue(utf8(key.get())) ? 1 : 0; }).wait(), 0);
}

}  // namespace
