#include <CoreFoundation/CoreFoundation.h>

#include "CFTestSupport.h"
#include "LogCapture.h"
#include "PlistManipulator.h"

namespace {

using xpc::PlistManipulator;

std::string fixture(const std::string& name) {
  return std::string(MACHELPER_SOURCE_DIR) + "/tests/fixtures/support/" + name;
}

class PlistManipulatorTest : public CFTest {
 protected:
  LogCapture log;
};

TEST_F(PlistManipulatorTest, SystemFilesComeBackUnchangedInBinaryForm) {
  for (const char* name :
       {"preferences.plist", "Campus-Secure.mobileconfig", "com.apple.SoftwareUpdate.plist"}) {
    SCOPED_TRACE(name);
    auto original = readPropertyList(fixture(name));
    ASSERT_TRUE(original);

    PlistManipulator plist(log.logger());
    ASSERT_TRUE(plist.loadPlistFile(fixture(name)));
    ASSERT_TRUE(plist.writePlistFile("/tmp/rewritten.plist"));
    EXPECT_TRUE(log.saw(5, "The settings were written successfully!"));

    EXPECT_EQ(fileBytes("/tmp/rewritten.plist").substr(0, 8), "bplist00");
    auto rewritten = readPropertyList("/tmp/rewritten.plist");
    ASSERT_TRUE(rewritten);
    EXPECT_TRUE(CFEqual(original.get(), rewritten.get()));
  }
}

TEST_F(PlistManipulatorTest, OneDocumentPerInstance) {
  PlistManipulator plist(log.logger());
  ASSERT_TRUE(plist.loadPlistFile(fixture("preferences.plist")));
  log.take();

  EXPECT_FALSE(plist.loadPlistFile(fixture("com.apple.SoftwareUpdate.plist")));
  std::vector<LogLine> expected{
      {4, "Cannot call clearActiveDictionary() on the PlistManipulator class!"},
      {4, "There was a dictionary already loaded in memory that couldn't be released!  Failed to "
          "load a new dictionary!"}};
  EXPECT_EQ(log.take(), expected);
  std::string currentSet;
  EXPECT_EQ(plist.getValue("CurrentSet", currentSet), 0);
  EXPECT_EQ(currentSet, "/Sets/C7D8E9F0-1A2B-4C3D-8E4F-5A6B7C8D9E0F");

  EXPECT_FALSE(plist.createNewPlist());
  EXPECT_FALSE(plist.createNewDictionary());
  EXPECT_TRUE(log.saw(4, "Cannot call createNewDictionary() on the PlistManipulator class!"));
  EXPECT_TRUE(plist.haveActiveDictionary());
}

TEST_F(PlistManipulatorTest, FailedLoadsLeaveTheInstanceEmpty) {
  PlistManipulator plist(log.logger());
  EXPECT_FALSE(plist.writePlistFile("/tmp/nothing.plist"));
  EXPECT_TRUE(log.saw(4, "There is no dictionary in memory that can be written!"));

  EXPECT_FALSE(plist.loadPlistFile("/tmp/does-not-exist.plist"));
  EXPECT_TRUE(log.saw(4, "Unable to open the requested setting data!"));
  EXPECT_FALSE(plist.loadPlistFromString(""));
  EXPECT_TRUE(log.saw(4, "The string provided to load as a plist was empty!"));
  EXPECT_FALSE(plist.loadPlistFromStream(nullptr));
  EXPECT_TRUE(log.saw(4, "A NULL stream was provided to loadPlistFromStream()!"));

  EXPECT_FALSE(plist.loadPlistFromString("<plist><dict><key>Unclosed"));
  std::vector<LogLine> lines = log.take();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back().level, 4);
  EXPECT_EQ(lines.back().text.rfind("Error loading the setting data!  (Error : ", 0), 0u)
      << lines.back().text;
  EXPECT_NE(lines.back().text.back(), ')');
  EXPECT_FALSE(plist.haveActiveDictionary());

  // A property list whose root is an array is accepted as it is.
  EXPECT_TRUE(plist.loadPlistFromString(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><array>"
      "<string>en0</string><string>en1</string></array></plist>"));
  EXPECT_EQ(CFGetTypeID(plist.getPropertyList()), CFArrayGetTypeID());
}

TEST_F(PlistManipulatorTest, NewDocumentIsWrittenFromScratch) {
  PlistManipulator plist(log.logger());
  ASSERT_TRUE(plist.createNewPlist());
  ASSERT_TRUE(plist.setValue("globalstate", 1));
  ASSERT_TRUE(plist.writePlistFile("/tmp/com.apple.alf.plist"));
  auto written = readPropertyList("/tmp/com.apple.alf.plist");
  ASSERT_EQ(keysOf(written.get()), std::vector<std::string>{"globalstate"});
  EXPECT_TRUE(CFEqual(valueAt(written.get(), "globalstate"), cfnumber(1LL).get()));
}

}  // namespace
