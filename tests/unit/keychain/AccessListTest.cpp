// The access list for 802.1X entries: this helper and the system's readers
// of 802.1X credentials, and nothing when one of them cannot be named.
#include <Security/Security.h>
#include <unistd.h>

#include "CFTestSupport.h"
#include "KeychainHelper.h"
#include "LogCapture.h"

namespace {

std::string pathOf(CFTypeRef app) {
  xpc::CFRef<CFDataRef> data;
  EXPECT_EQ(SecTrustedApplicationCopyData(static_cast<SecTrustedApplicationRef>(const_cast<void*>(app)),
                                          data.initializeInto()),
            errSecSuccess);
  // The path and its terminating NUL.
  return std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())));
}

class AccessListTest : public CFTest {
 protected:
  LogCapture log;
};

TEST_F(AccessListTest, TheListNamesThisHelperAndTheSystemsReadersOrNothing) {
  xpc::KeychainHelper keychain(log.logger());
  xpc::CFRef<CFArrayRef> apps;
  ASSERT_TRUE(keychain.getTrustedAppsList(apps.initializeInto()));
  ASSERT_EQ(CFArrayGetCount(apps.get()), 4);
  EXPECT_EQ(pathOf(CFArrayGetValueAtIndex(apps.get(), 1)),
            "/System/Library/SystemConfiguration/EAPOLController.bundle/Contents/Resources/eapolclient");
  EXPECT_EQ(pathOf(CFArrayGetValueAtIndex(apps.get(), 2)), "/usr/libexec/mdmclient");
  EXPECT_EQ(pathOf(CFArrayGetValueAtIndex(apps.get(), 3)), "/System/Library/CoreServices/SystemUIServer.app");
  std::vector<LogLine> lines = log.take();
  EXPECT_TRUE(contains(lines, {5, "Adding the app '/usr/libexec/mdmclient' to the allowed list..."}));
  EXPECT_TRUE(contains(lines, {5, "... entry was added."}));

  xpc::CFRef<SecAccessRef> access;
  EXPECT_TRUE(keychain.getAccessRefFor8021X("Campus-Secure", access.initializeInto()));
  EXPECT_TRUE(access);
  EXPECT_TRUE(log.saw(5, "The access reference was created for our keychain entry."));
  EXPECT_FALSE(keychain.getAccessRefFor8021X("", access.initializeInto()));
  EXPECT_TRUE(log.saw(4, "No keychain descriptor was provided while trying to create our access reference!"));

  // One reader that cannot be named fails the whole list.
  unlink("/usr/libexec/mdmclient");
  EXPECT_FALSE(keychain.getAccessRefFor8021X("Campus-Secure", access.initializeInto()));
  EXPECT_FALSE(access);
  lines = log.take();
  EXPECT_TRUE(contains(lines, {4, "Failed to add the app '/usr/libexec/mdmclient' to the list of apps allowed to "
                                  "access our new keychain entry!"}));
  EXPECT_TRUE(contains(lines, {4, "Unable to generate a list of the trusted apps for our access reference!"}));
}

}  // namespace
