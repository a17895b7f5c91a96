// Keychains and generic passwords, as the helper keeps 802.1X credentials.
#include <sys/stat.h>
#include <unistd.h>

#include "SecurityTestSupport.h"

using namespace sectest;

namespace {

class Keychain : public CFTest {};

std::string dataText(CFTypeRef data) {
  if (data == nullptr || CFGetTypeID(data) != CFDataGetTypeID()) return "<not data>";
  auto bytes = static_cast<CFDataRef>(data);
  return std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(bytes)), CFDataGetLength(bytes));
}

// SecCopyErrorMessageString's text, or "" when it has none.
std::string message(OSStatus status) { return utf8(adopt(SecCopyErrorMessageString(status, nullptr)).get()); }

// A generic password with these attributes.
OSStatus create(SecKeychainRef keychain, std::vector<std::pair<SecKeychainAttrType, std::string>> attributes,
                const std::string& password, SecAccessRef access = nullptr,
                xpc::CFRef<SecKeychainItemRef>* item = nullptr) {
  std::vector<SecKeychainAttribute> list;
  for (auto& [tag, value] : attributes) list.push_back({tag, static_cast<UInt32>(value.size()), value.data()});
  SecKeychainAttributeList attributeList = {static_cast<UInt32>(list.size()), list.data()};
  return SecKeychainItemCreateFromContent(kSecGenericPasswordItemClass, &attributeList,
                                          static_cast<UInt32>(password.size()), password.data(), keychain, access,
                                          item ? item->initializeInto() : nullptr);
}

// A generic password with the four attributes an 802.1X entry has.
OSStatus addPassword(SecKeychainRef keychain, const std::string& account, const std::string& service,
                     const std::string& label, const std::string& description, const std::string& password) {
  return create(keychain,
                {{kSecAccountItemAttr, account},
                 {kSecServiceItemAttr, service},
                 {kSecLabelItemAttr, label},
                 {kSecDescriptionItemAttr, description}},
                password);
}

OSStatus find(SecKeychainRef keychain, const std::string& service, const std::string& account,
              xpc::CFRef<SecKeychainItemRef>* item = nullptr, std::string* password = nullptr) {
  UInt32 length = 0;
  void* data = nullptr;
  OSStatus status =
      SecKeychainFindGenericPassword(keychain, static_cast<UInt32>(service.size()), service.c_str(),
                                     static_cast<UInt32>(account.size()), account.c_str(), password ? &length : nullptr,
                                     password ? &data : nullptr, item ? item->initializeInto() : nullptr);
  if (data != nullptr) {
    password->assign(static_cast<const char*>(data), length);
    SecKeychainItemFreeContent(nullptr, data);
  }
  return status;
}

TEST_F(Keychain, StatusTellsAMissingOrBrokenFileFromAUsableOne) {
  auto system = openKeychain();
  SecKeychainStatus status = 0;
  EXPECT_EQ(SecKeychainGetStatus(system.get(), &status), errSecSuccess);
  EXPECT_EQ(status, kSecUnlockStateStatus | kSecReadPermStatus | kSecWritePermStatus);
  char path[64];
  UInt32 length = sizeof(path);
  ASSERT_EQ(SecKeychainGetPath(system.get(), &length, path), errSecSuccess);
  EXPECT_STREQ(path, kSystemKeychain);

  // Opening never looks at the file; using the keychain does.
  auto missing = openKeychain("/Library/Keychains/Missing.keychain");
  EXPECT_EQ(SecKeychainGetStatus(missing.get(), &status), errSecNoSuchKeychain);
  EXPECT_EQ(addPassword(missing.get(), "a", "s", "l", "d", "p"), errSecNoSuchKeychain);

  for (const std::string& broken :
       {std::string(), std::string("not a property list"), std::string("<plist><array/></plist>"),
        std::string("<plist><dict><key>Items</key><array><string>x</string></array></dict></plist>")}) {
    writeFile(kSystemKeychain, broken);
    EXPECT_EQ(SecKeychainGetStatus(system.get(), &status), errSecInvalidKeychain) << broken;
    EXPECT_EQ(addPassword(system.get(), "a", "s", "l", "d", "p"), errSecInvalidKeychain) << broken;
    EXPECT_EQ(fileBytes(kSystemKeychain), broken) << "a broken keychain is left as it is";
  }
}

TEST_F(Keychain, PasswordsAreStoredFoundAndDeletedByServiceAndAccount) {
  auto system = openKeychain();
  ASSERT_EQ(addPassword(system.get(), "alex", "corp-wifi", "Corp Wi-Fi", "802.1X Password", "s3cret"), errSecSuccess);

  auto items = storedItems();
  ASSERT_EQ(items.size(), 1u);
  // The attributes and password as the helper reads them back are checked end to end.
  EXPECT_EQ(utf8(valueAt(items[0].get(), "class")), "genp");
  EXPECT_NE(valueAt(items[0].get(), "cdat"), nullptr);

  // Same service and account: a duplicate, whatever the label.
  EXPECT_EQ(addPassword(system.get(), "alex", "corp-wifi", "Other", "Other", "x"), errSecDuplicateItem);

  xpc::CFRef<SecKeychainItemRef> item;
  std::string password;
  ASSERT_EQ(find(system.get(), "corp-wifi", "alex", &item, &password), errSecSuccess);
  EXPECT_EQ(password, "s3cret");
  EXPECT_EQ(CFGetTypeID(item.get()), SecKeychainItemGetTypeID());
  EXPECT_EQ(find(system.get(), "corp-wifi", "nobody"), errSecItemNotFound);
  EXPECT_EQ(find(system.get(), "Corp Wi-Fi", "alex"), errSecItemNotFound) << "the label plays no part";

  EXPECT_EQ(SecKeychainItemDelete(item.get()), errSecSuccess);
  EXPECT_EQ(find(system.get(), "corp-wifi", "alex"), errSecItemNotFound);
  EXPECT_EQ(SecKeychainItemDelete(item.get()), errSecInvalidItemRef) << "already gone";
}

TEST_F(Keychain, AttributesAreCheckedAndTheLabelDefaultsToTheService) {
  auto system = openKeychain();
  xpc::CFRef<SecKeychainItemRef> item;
  ASSERT_EQ(create(system.get(), {{kSecServiceItemAttr, "vpn"}, {kSecCreatorItemAttr, "abcd"}}, "", nullptr, &item),
            errSecSuccess);
  EXPECT_EQ(utf8(valueAt(storedItems()[0].get(), "labl")), "vpn");
  EXPECT_EQ(create(system.get(), {{kSecServerItemAttr, "vpn"}}, ""), errSecNoSuchAttr);
  EXPECT_EQ(create(system.get(), {{kSecCreatorItemAttr, "ab"}}, ""), errSecParam) << "a four-character code";
  EXPECT_EQ(storedItems().size(), 1u);
}

TEST_F(Keychain, SearchResultsCarryTheItemReferenceAndItsAttributes) {
  auto system = openKeychain();
  CFTypeRef result = nullptr;
  EXPECT_EQ(SecItemCopyMatching(searchAll(kSecClassGenericPassword).get(), &result), errSecItemNotFound);
  EXPECT_EQ(result, nullptr);

  ASSERT_EQ(addPassword(system.get(), "alex", "corp-wifi", "Corp Wi-Fi", "802.1X Password", "s3cret"), errSecSuccess);
  ASSERT_EQ(addPassword(system.get(), "sam", "lab-wifi", "Lab Wi-Fi", "802.1X Password", "pw"), errSecSuccess);
  ASSERT_EQ(SecItemCopyMatching(searchAll(kSecClassGenericPassword).get(), &result), errSecSuccess);
  auto found = adopt(result);
  ASSERT_EQ(CFGetTypeID(found.get()), CFArrayGetTypeID());
  ASSERT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(found.get())), 2);
  CFTypeRef first = CFArrayGetValueAtIndex(static_cast<CFArrayRef>(found.get()), 0);
  EXPECT_EQ(utf8(valueAt(first, "class")), "genp");
  EXPECT_EQ(utf8(valueAt(first, "acct")), "alex");
  EXPECT_EQ(valueAt(first, "v_Data"), nullptr) << "the password only when asked for";
  CFTypeRef reference = valueAt(first, "v_Ref");
  ASSERT_NE(reference, nullptr);
  EXPECT_EQ(CFGetTypeID(reference), SecKeychainItemGetTypeID());

  // One item, by attribute, from the default search list (root's is the System keychain).
  auto query = cfdictionary({{"class", kSecClassGenericPassword}, {"acct", cfstring("sam").get()}});
  CFDictionarySetValue(query.get(), kSecReturnData, kCFBooleanTrue);
  ASSERT_EQ(SecItemCopyMatching(query.get(), &result), errSecSuccess);
  EXPECT_EQ(dataText(adopt(result).get()), "pw");
}

TEST_F(Keychain, SearchesRefuseWhatTheyCannotHonour) {
  CFTypeRef result = nullptr;
  EXPECT_EQ(SecItemCopyMatching(cfdictionary({{"acct", cfstring("sam").get()}}).get(), &result), errSecParam);
  auto query = cfdictionary({{"class", kSecClassGenericPassword}});
  CFDictionarySetValue(query.get(), kSecUseKeychain, CFSTR("/Library/Keychains/System.keychain"));
  EXPECT_EQ(SecItemCopyMatching(query.get(), &result), errSecParam);
  query = cfdictionary({{"class", kSecClassGenericPassword}, {"m_Limit", cfnumber(0LL).get()}});
  EXPECT_EQ(SecItemCopyMatching(query.get(), &result), errSecParam);
  query = cfdictionary({{"class", kSecClassGenericPassword}, {"m_SubjectContains", CFSTR("x")}});
  EXPECT_EQ(SecItemCopyMatching(query.get(), &result), errSecUnimplemented);
  EXPECT_EQ(result, nullptr);
}

TEST_F(Keychain, OnlyRootChangesTheSystemKeychain) {
  auto system = openKeychain();
  ASSERT_EQ(addPassword(system.get(), "alex", "corp-wifi", "l", "d", "p"), errSecSuccess);
  std::string before = fileBytes(kSystemKeychain);
  EXPECT_EQ(asUser([] {
              auto keychain = openKeychain();
              SecKeychainStatus status = 0;
              if (SecKeychainGetStatus(keychain.get(), &status) != errSecSuccess) return 1;
              if (status != (kSecUnlockStateStatus | kSecReadPermStatus)) return 2;
              if (addPassword(keychain.get(), "sam", "s", "l", "d", "p") != errSecWrPerm) return 3;
              xpc::CFRef<SecKeychainItemRef> item;
              if (find(keychain.get(), "corp-wifi", "alex", &item) != errSecSuccess) return 4;
              if (SecKeychainItemDelete(item.get()) != errSecWrPerm) return 5;
              return 0;
            }),
            0);
  EXPECT_EQ(fileBytes(kSystemKeychain), before);
}

TEST_F(Keychain, AWriteReplacesTheFileWholeAndKeepsItsMode) {
  auto system = openKeychain();
  ASSERT_EQ(chmod(kSystemKeychain, 0640), 0);
  ASSERT_EQ(addPassword(system.get(), "alex", "corp-wifi", "l", "d", "p"), errSecSuccess);
  struct stat status;
  ASSERT_EQ(stat(kSystemKeychain, &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640u);
  EXPECT_NE(access("/Library/Keychains/System.keychain-new", F_OK), 0);
}

TEST_F(Keychain, AnItemRecordsTheApplicationsItsAccessTrusts) {
  xpc::CFRef<SecTrustedApplicationRef> self, eapol, missing;
  ASSERT_EQ(SecTrustedApplicationCreateFromPath(nullptr, self.initializeInto()), errSecSuccess);
  xpc::CFRef<CFDataRef> data;
  ASSERT_EQ(SecTrustedApplicationCopyData(self.get(), data.initializeInto()), errSecSuccess);
  char program[4096] = {};
  ASSERT_GT(readlink("/proc/self/exe", program, sizeof(program) - 1), 0);
  EXPECT_EQ(dataText(data.get()), std::string(program) + '\0');
  const char* eapolclient = "/System/Library/SystemConfiguration/EAPOLController.bundle/Contents/Resources/eapolclient";
  ASSERT_EQ(SecTrustedApplicationCreateFromPath(eapolclient, eapol.initializeInto()), errSecSuccess);
  EXPECT_EQ(message(SecTrustedApplicationCreateFromPath("/Applications/Missing.app", missing.initializeInto())),
            "UNIX[No such file or directory]");

  const void* values[] = {self.get(), eapol.get()};
  auto trusted = adopt(CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks));
  xpc::CFRef<SecAccessRef> access;
  ASSERT_EQ(SecAccessCreate(CFSTR("Corp Wi-Fi"), trusted.get(), access.initializeInto()), errSecSuccess);
  EXPECT_EQ(CFGetTypeID(access.get()), SecAccessGetTypeID());
  const void* notApplications[] = {CFSTR("/usr/libexec/mdmclient")};
  auto wrong = adopt(CFArrayCreate(nullptr, notApplications, 1, &kCFTypeArrayCallBacks));
  xpc::CFRef<SecAccessRef> refused;
  EXPECT_EQ(SecAccessCreate(CFSTR("x"), wrong.get(), refused.initializeInto()), errSecParam);

  auto system = openKeychain();
  ASSERT_EQ(create(system.get(), {{kSecAccountItemAttr, "alex"}, {kSecServiceItemAttr, "corp-wifi"}}, "pw",
                   access.get()),
            errSecSuccess);
  ASSERT_EQ(addPassword(system.get(), "sam", "lab-wifi", "Lab Wi-Fi", "802.1X Password", "pw"), errSecSuccess);
  auto items = storedItems();
  EXPECT_EQ(utf8(valueAt(items[0].get(), {"Access", "Descriptor"})), "Corp Wi-Fi");
  auto applications = static_cast<CFArrayRef>(valueAt(items[0].get(), {"Access", "TrustedApplications"}));
  ASSERT_EQ(CFArrayGetCount(applications), 2);
  EXPECT_EQ(utf8(CFArrayGetValueAtIndex(applications, 1)), eapolclient);
  // By default the creating program alone, under the item's label.
  EXPECT_EQ(utf8(valueAt(items[1].get(), {"Access", "Descriptor"})), "Lab Wi-Fi");
  applications = static_cast<CFArrayRef>(valueAt(items[1].get(), {"Access", "TrustedApplications"}));
  ASSERT_EQ(CFArrayGetCount(applications), 1);
  EXPECT_EQ(utf8(CFArrayGetValueAtIndex(applications, 0)), program);

  CFTypeRef result = nullptr;
  auto query = cfdictionary({{"class", kSecClassGenericPassword}});
  CFDictionarySetValue(query.get(), kSecReturnAttributes, kCFBooleanTrue);
  ASSERT_EQ(SecItemCopyMatching(query.get(), &result), errSecSuccess);
  EXPECT_EQ(valueAt(adopt(result).get(), "Access"), nullptr) << "the access is no attribute";
}

TEST_F(Keychain, StatusTextsAreTheFrameworks) {
  EXPECT_EQ(message(errSecItemNotFound), "The specified item could not be found in the keychain.");
  EXPECT_EQ(message(errSecNoSuchKeychain), "The specified keychain could not be found.");
  EXPECT_EQ(message(errSecInvalidKeychain), "The specified keychain is not a valid keychain file.");
  EXPECT_EQ(message(errSecInvalidItemRef),
            "The specified item is no longer valid. It may have been deleted from the keychain.");
  EXPECT_EQ(message(errSecWrPerm), "Write permissions error.");
  EXPECT_EQ(message(errSecNoSuchAttr), "The specified attribute does not exist.");
}

}  // namespace
