// 802.1X password entries through the built helper: what lands in the System
// keychain, duplicates, deletion, and the texts of refused requests.
#include <gtest/gtest.h>

#include "KeychainTestSupport.h"

namespace {

const char kService[] = "com.apple.network.eap.user.item.wlan.ssid.Campus-Secure";

std::vector<Arg> entry(const std::string& account, const std::string& password) {
  return {{"Account", account},
          {"Service", kService},
          {"Label", "Campus-Secure"},
          {"Description", "802.1X Password"},
          {"Password", password}};
}

// The 802.1X entries in the System keychain: account, service, label and
// description of each.
std::vector<std::vector<std::string>> entries() {
  std::vector<std::vector<std::string>> found;
  for (const auto& item : keychainItems(kSecClassGenericPassword)) {
    found.push_back({utf8(valueAt(item.get(), "acct")), utf8(valueAt(item.get(), "svce")),
                     utf8(valueAt(item.get(), "labl")), utf8(valueAt(item.get(), "desc"))});
  }
  return found;
}

// The password stored for a service and account, or "" when there is none.
std::string storedPassword(const std::string& service, const std::string& account) {
  xpc::CFRef<SecKeychainRef> keychain;
  EXPECT_EQ(SecKeychainOpen(kSystemKeychain, keychain.initializeInto()), errSecSuccess);
  UInt32 length = 0;
  void* data = nullptr;
  if (SecKeychainFindGenericPassword(keychain.get(), static_cast<UInt32>(service.size()), service.c_str(),
                                     static_cast<UInt32>(account.size()), account.c_str(), &length, &data,
                                     nullptr) != errSecSuccess) {
    return "";
  }
  std::string password(static_cast<const char*>(data), length);
  SecKeychainItemFreeContent(nullptr, data);
  return password;
}

class PasswordEntriesTest : public ::testing::Test {
 protected:
  HelperSession helper;
};

TEST_F(PasswordEntriesTest, AnEntryIsStoredOncePerServiceAndAccountAndDeletedAgain) {
  EXPECT_TRUE(helper.succeeds("createsystemkeychainentry", entry("alex", "correct horse")));
  EXPECT_TRUE(loggedAll(helper, {{5, "No system keychain object cached.  Will open the keychain."},
                                 {5, "Opening the keychain at : /Library/Keychains/System.keychain"},
                                 {5, "New password entry was created!"}}));
  EXPECT_EQ(entries(), (std::vector<std::vector<std::string>>{
                           {"alex", kService, "Campus-Secure", "802.1X Password"}}));
  EXPECT_EQ(storedPassword(kService, "alex"), "correct horse");

  // The same service and account again: the framework's duplicate status.
  EXPECT_TRUE(helper.fails("CreateSystemKeychainEntry", entry("alex", "other")));
  EXPECT_TRUE(loggedAll(helper, {{5, "Using already opened/cached system keychain object."},
                                 {4, "Unable to create a new entry in the keychain!  Error was : The specified "
                                     "item already exists in the keychain."}}));
  EXPECT_EQ(storedPassword(kService, "alex"), "correct horse");
  EXPECT_TRUE(helper.succeeds("createsystemkeychainentry", entry("sam", "battery staple")));
  EXPECT_EQ(entries().size(), 2u);

  EXPECT_TRUE(helper.succeeds("DeleteSystemKeychainEntry", {{"Service", kService}, {"Account", "alex"}}));
  EXPECT_TRUE(loggedAll(helper, {{5, "Found the requested keychain password entry!"},
                                 {5, "Active keychain item was deleted.  Freeing the reference."}}));
  EXPECT_EQ(storedPassword(kService, "alex"), "");
  EXPECT_EQ(storedPassword(kService, "sam"), "battery staple");

  EXPECT_EQ(helper.error("deletesystemkeychainentry", {{"Service", kService}, {"Account", "alex"}}),
            "Unable to locate the keychain entry that we were asked to delete.");
  EXPECT_TRUE(helper.logged(4, "Unable to locate the requested keychain item!"));
}

TEST_F(PasswordEntriesTest, EachMissingArgumentIsNamed) {
  const char* keys[] = {"Account", "Service", "Label", "Description", "Password"};
  const char* names[] = {"account", "service", "label", "description", "password"};
  for (size_t i = 0; i < 5; ++i) {
    std::string expected = std::string("No ") + names[i] +
                           " parameter was provided while attempting to create an 802.1X password entry!";
    for (int variant = 0; variant < 3; ++variant) {
      std::vector<Arg> args;
      for (const Arg& arg : entry("alex", "pw")) {
        if (arg.key != keys[i]) {
          args.push_back(arg);
        } else if (variant == 1) {
          args.push_back({keys[i], ""});
        } else if (variant == 2) {
          args.push_back({keys[i], 7});  // not a string
        }
      }
      EXPECT_EQ(helper.error("createsystemkeychainentry", args), expected) << keys[i] << " variant " << variant;
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
