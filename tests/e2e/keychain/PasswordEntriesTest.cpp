// 802.1X password entries through the built helper: what lands in the System
// keychain, duplicates, deletion, and the texts of refused requests.
#include <gtest/gtest.h>

#include "KeychainTestSupport.h"

namespace {

const char kService[] = "com.apple.network.eap.user.item.wlan.ssid.Campus-Secure";

std::vector<Arg> entry(const std::string& account, const std::string& password) {
  return {{"Account", account}, {"Service", kService}, {"Label", "Campus-Secure"},
          {"Description", "802.1X Password"}, {"Password", password}};
}

// The 802.1X entries in the System keychain: account, service, label,
// description and password of each.
using Items = std::vector<std::vector<std::string>>;
Items entries() {
  xpc::CFRef<SecKeychainRef> keychain;
  EXPECT_EQ(SecKeychainOpen(kSystemKeychain, keychain.initializeInto()), errSecSuccess);
  Items found;
  for (const auto& item : keychainItems(kSecClassGenericPassword)) {
    std::string account = utf8(valueAt(item.get(), "acct"));
    std::string service = utf8(valueAt(item.get(), "svce"));
    UInt32 length = 0;
    void* data = nullptr;
    EXPECT_EQ(SecKeychainFindGenericPassword(keychain.get(), static_cast<UInt32>(service.size()), service.c_str(),
                                             static_cast<UInt32>(account.size()), account.c_str(), &length, &data,
                                             nullptr),
              errSecSuccess);
    found.push_back({account, service, utf8(valueAt(item.get(), "labl")), utf8(valueAt(item.get(), "desc")),
                     data != nullptr ? std::string(static_cast<const char*>(data), length) : ""});
    SecKeychainItemFreeContent(nullptr, data);
  }
  return found;
}

class PasswordEntriesTest : public ::testing::Test {
 protected:
  HelperSession helper;
};

TEST_F(PasswordEntriesTest, AnEntryIsStoredOncePerServiceAndAccountAndDeletedAgain) {
  const std::vector<std::string> alex{"alex", kService, "Campus-Secure", "802.1X Password", "correct horse"};
  EXPECT_TRUE(helper.succeeds("createsystemkeychainentry", entry("alex", "correct horse")));
  EXPECT_EQ(entries(), Items{alex});

  // The same service and account again: the framework's duplicate status.
  EXPECT_TRUE(helper.fails("CreateSystemKeychainEntry", entry("alex", "other")));
  EXPECT_TRUE(helper.logged(4, "Unable to create a new entry in the keychain!  Error was : The specified item "
                               "already exists in the keychain."));
  EXPECT_EQ(entries(), Items{alex});
  EXPECT_TRUE(helper.succeeds("createsystemkeychainentry", entry("sam", "battery staple")));
  EXPECT_EQ(entries().size(), 2u);

  EXPECT_TRUE(helper.succeeds("DeleteSystemKeychainEntry", {{"Service", kService}, {"Account", "alex"}}));
  EXPECT_EQ(entries(), (Items{{"sam", kService, "Campus-Secure", "802.1X Password", "battery staple"}}));

  EXPECT_EQ(helper.error("deletesystemkeychainentry", {{"Service", kService}, {"Account", "alex"}}),
            "Unable to locate the keychain entry that we were asked to delete.");
  EXPECT_TRUE(helper.logged(4, "Unable to locate the requested keychain item!"));
}

TEST_F(PasswordEntriesTest, EachMissingArgumentIsNamed) {
  // In the order of entry()'s arguments.
  const char* names[] = {"account", "service", "label", "description", "password"};
  for (size_t i = 0; i < 5; ++i) {
    const std::string expected =
        std::string("No ") + names[i] + " parameter was provided while attempting to create an 802.1X password entry!";
    // Absent, empty, and not a string.
    for (int variant = 0; variant < 3; ++variant) {
      std::vector<Arg> args = entry("alex", "pw");
      const std::string key = args[i].key;
      args.erase(args.begin() + static_cast<std::ptrdiff_t>(i));
      if (variant == 1) args.push_back({key.c_str(), ""});
      if (variant == 2) args.push_back({key.c_str(), 7});
      EXPECT_EQ(helper.error("createsystemkeychainentry", args), expected) << key << " variant " << variant;
    }
  }
  EXPECT_EQ(helper.error("deletesystemkeychainentry", {{"Account", "alex"}}),
            "No service parameter was provided while attempting to delete an 802.1X password entry!");
  EXPECT_EQ(helper.error("deletesystemkeychainentry", {{"Service", kService}, {"Account", true}}),
            "No account parameter was provided while attempting to delete an 802.1X password entry!");
  EXPECT_EQ(entries().size(), 0u) << "nothing was written";
}

TEST_F(PasswordEntriesTest, AnUnreadableKeychainIsAnErrorNotACrash) {
  writeFile(kSystemKeychain, "this is not a keychain");
  EXPECT_TRUE(helper.fails("createsystemkeychainentry", entry("alex", "pw")));
  EXPECT_EQ(helper.error("deletesystemkeychainentry", {{"Service", kService}, {"Account", "alex"}}),
            "Unable to locate the keychain entry that we were asked to delete.");
  EXPECT_TRUE(helper.running());
}

}  // namespace
