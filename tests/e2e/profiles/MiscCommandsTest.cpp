// The housekeeping commands through the built helper: an application from a
// zip archive, the one kind of file it deletes, and its own uninstallation.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "ProfilesTestSupport.h"

using namespace profiletest;

namespace {

const std::string kInstalledHelper = std::string("/Library/PrivilegedHelperTools/") + MACHELPER_SERVICE_LABEL;
const std::string kInstalledJob = std::string("/Library/LaunchDaemons/") + MACHELPER_SERVICE_LABEL + ".plist";

bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

class MiscCommandsTest : public ::testing::Test {
 protected:
  HelperSession helper;
};

TEST_F(MiscCommandsTest, AZippedApplicationGoesToApplicationsOrUtilities) {
  EXPECT_TRUE(helper.succeeds("installzipappasroot", {{"ZipFile", kAppZip}}));
  EXPECT_EQ(Plist("/Applications/helloworld.app/Contents/Info.plist").stringAt({"CFBundleIdentifier"}),
            "com.example.helloworld");
  EXPECT_TRUE(exists("/Applications/Safari.app")) << "the folder's other applications stay";

  EXPECT_TRUE(helper.succeeds("installzipappasroot", {{"ZipFile", kAppZip}, {"Destination", "Utilities"}}));
  EXPECT_TRUE(exists("/Applications/Utilities/helloworld.app/Contents/MacOS/helloworld"));
  // Only the exact word chooses Utilities; anything else is Applications again.
  for (const char* other : {"utilities", "/etc", "../../tmp"}) {
    EXPECT_TRUE(helper.succeeds("installzipappasroot", {{"ZipFile", kAppZip}, {"Destination", other}})) << other;
  }
  EXPECT_FALSE(exists("/tmp/helloworld.app"));
  EXPECT_FALSE(exists("/etc/helloworld.app"));
}

TEST_F(MiscCommandsTest, AnArchiveThatIsMissingOrNotAZipIsAnError) {
  const std::string noZip = "Invalid data provided while trying to install an application zip file!";
  EXPECT_EQ(helper.error("installzipappasroot", {}), noZip);
  EXPECT_EQ(helper.error("installzipappasroot", {{"ZipFile", ""}, {"Destination", "Utilities"}}), noZip);
  EXPECT_EQ(helper.error("installzipappasroot", {{"ZipFile", 1}}), noZip);
  EXPECT_EQ(helper.error("installzipappasroot", {{"ZipFile", "/tmp/none.zip"}}),
            "The source .zip file doesn't appear to exist at : /tmp/none.zip");

  // unzip's exit status 9 (not a zip file), as system() reports it.
  writeFile("/tmp/text.zip", "not an archive");
  EXPECT_EQ(helper.error("installzipappasroot", {{"ZipFile", "/tmp/text.zip"}}),
            "Unable to unzip the application zip file at : /tmp/text.zip (Error is : 2304 -- " +
                std::string(strerror(2304)) + ")");
  EXPECT_FALSE(exists("/Applications/helloworld.app"));
}

TEST_F(MiscCommandsTest, OnlyFilesUnderThePermittedPrefixAreDeleted) {
  ASSERT_TRUE(helper.succeeds("installzipappasroot", {{"ZipFile", kAppZip}}));
  for (const char* file : {"/Applications/helloworld", "/Applications/helloworld2"}) writeFile(file, "x");
  for (const char* file : {"/Applications/helloworld", "/Applications/helloworld2",
                           "/Applications/helloworld.app/Contents/MacOS/helloworld"}) {
    EXPECT_TRUE(helper.succeeds("deletefileasroot", {{"File", file}})) << file;
    EXPECT_FALSE(exists(file));
  }

  const std::string refused = "The file name provided does not meet the criteria necessary for deletion!";
  for (const char* file : {"/applications/helloworld", "/Applications/hello", "Applications/helloworld",
                           "/Applications/Safari.app/Contents/Info.plist", " /Applications/helloworld.app"}) {
    EXPECT_EQ(helper.error("deletefileasroot", {{"File", file}}), refused) << file;
  }
  EXPECT_TRUE(exists("/Applications/Safari.app/Contents/Info.plist"));

  EXPECT_EQ(helper.error("deletefileasroot", {{"File", "/Applications/helloworld"}}),
            "Unable to delete the requested file!  (Error : 2 -- No such file or directory)");
  EXPECT_EQ(helper.error("deletefileasroot", {{"File", "/Applications/helloworld.app/Contents"}}),
            "Unable to delete the requested file!  (Error : 21 -- Is a directory)");
  EXPECT_TRUE(exists("/Applications/helloworld.app/Contents/Info.plist"));
  for (const std::vector<Arg>& none : {std::vector<Arg>{}, {{"File", ""}}, {{"File", true}}}) {
    EXPECT_EQ(helper.error("deletefileasroot", none), "No file name was provided to delete!");
  }
}

// That both files go and the helper goes on serving is the launchd suite's
// part; here, the order of the removals and their failures.
TEST_F(MiscCommandsTest, UninstallRemovesTheExecutableThenTheJob) {
  writeFile(kInstalledHelper, "helper");
  writeFile(kInstalledJob, "");
  EXPECT_TRUE(helper.succeeds("uninstall"));
  EXPECT_TRUE(helper.logged(5, "The helper app has been uninstalled."));

  // A missing executable stops it before the job description is touched.
  writeFile(kInstalledJob, "");
  EXPECT_EQ(helper.error("uninstall"), "Unable to uninstall the helper app binary!");
  EXPECT_TRUE(exists(kInstalledJob));
  ASSERT_EQ(unlink(kInstalledJob.c_str()), 0);
  writeFile(kInstalledHelper, "helper");
  EXPECT_EQ(helper.error("uninstall"), "Unable to uninstall the helper app plist file!");
  EXPECT_FALSE(exists(kInstalledHelper)) << "nothing is restored";
}

}  // namespace
