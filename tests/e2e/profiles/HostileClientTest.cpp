// What a local user can hand the root helper: names that try to run code in
// its shell, links planted at the fixed files it writes in /tmp, paths that
// climb out of the one folder it deletes in, and values too large to act on.
// The user's part runs as the console user alex (uid 501).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string>
#include <vector>

#include "Certificate.h"
#include "FakeMac.h"
#include "Files.h"
#include "ProfilesTestSupport.h"

using namespace profiletest;

namespace {

// What a command that ran attacker text would leave behind.
constexpr char kTrace[] = "/tmp/x";
// Root's file that every planted link points at.
constexpr char kVictim[] = "/Library/Preferences/com.example.victim.plist";
const std::vector<std::string> kFixedFiles{"/tmp/cmdstdout.txt", "/tmp/cmdstderr.txt", "/tmp/profiledump.txt",
                                           "/tmp/tempcert.cer", "/tmp/output.txt"};

bool exists(const std::string& path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0;
}

// One thing alex leaves in the file system.
struct Plant {
  enum Kind { File, Link, Directory } kind;
  std::string path;
  std::string content;  // a file's bytes, or a link's target
};

// The folders below /tmp that a file's path needs, a slash in a name being
// the start of one.
std::vector<Plant> foldersFor(const std::string& path) {
  std::vector<Plant> folders;
  for (size_t slash = path.find('/', 5); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    folders.push_back({Plant::Directory, path.substr(0, slash), ""});
  }
  return folders;
}

// The Campus-Secure profile with another identifier.
std::string campusSecureAs(const std::string& identifier) {
  std::string document = fileBytes(kCampusSecure);
  const std::string original = "<string>edu.example.onboarding.campus-secure</string>";
  return document.replace(document.find(original), original.size(), "<string>" + identifier + "</string>");
}

class HostileClientTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (plantAsAlex({}) != 0) GTEST_SKIP() << "this fake Mac cannot switch to uid 501";
    writeFile(kVictim, "precious");
  }

  // Makes the plants as alex, in a forked copy of the test that only makes
  // system calls; 0 when all were made.
  static int plantAsAlex(const std::vector<Plant>& plants) {
    ChildProcess alex([&plants] {
      if (setgid(20) != 0 || setuid(501) != 0) return 77;
      for (const Plant& plant : plants) {
        int made = -1;
        if (plant.kind == Plant::Link) made = symlink(plant.content.c_str(), plant.path.c_str());
        if (plant.kind == Plant::Directory) made = mkdir(plant.path.c_str(), 0777) != 0 && errno != EEXIST;
        if (plant.kind == Plant::File) {
          int file = open(plant.path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
          made = file < 0 || write(file, plant.content.data(), plant.content.size()) !=
                                 static_cast<ssize_t>(plant.content.size());
          if (file >= 0) close(file);
        }
        if (made != 0) return 1;
      }
      return 0;
    });
    return alex.wait();
  }

  // Links at every fixed path to root's file, in place of what is there.
  static void plantLinks() {
    for (const std::string& path : kFixedFiles) unlink(path.c_str());
    std::vector<Plant> links;
    for (const std::string& path : kFixedFiles) links.push_back({Plant::Link, path, kVictim});
    ASSERT_EQ(plantAsAlex(links), 0);
  }

  bool installed(const std::string& owner, const std::string& identifier) {
    Owners owners = installedProfiles();
    return std::count(owners[owner].begin(), owners[owner].end(), identifier) == 1;
  }

  HelperSession helper;
};

// Each metacharacter in a profile path, a zip path, a user name and a
// profile identifier is part of the name; the commands work on it as such.
TEST_F(HostileClientTest, ShellBoundArgumentsAreDataNotCode) {
  const std::string zip = fileBytes(kAppZip);
  for (const std::string& hostile : {std::string("\";touch /tmp/x;\""), std::string("' $HOME '"),
                                     std::string("$(touch /tmp/x)"), std::string("`touch /tmp/x`"),
                                     std::string("\ntouch /tmp/x\n")}) {
    SCOPED_TRACE(hostile);
    const std::string profile = "/tmp/a" + hostile + ".mobileconfig", archive = "/tmp/a" + hostile + ".zip";
    const std::string identifier = "edu.example.onboarding" + hostile;
    std::vector<Plant> plants = foldersFor(profile);
    plants.push_back({Plant::File, profile, campusSecureAs(identifier)});
    plants.push_back({Plant::File, archive, zip});
    ASSERT_EQ(plantAsAlex(plants), 0);

    EXPECT_TRUE(helper.succeeds("commitmobileconfig", {{"MobileConfigPath", profile}, {"AsSystemProfile", true}}));
    EXPECT_TRUE(helper.succeeds("commitmobileconfig", {{"MobileConfigPath", profile}, {"CurrentUsername", "alex"}}));
    EXPECT_TRUE(installed("_computerlevel", identifier));
    EXPECT_TRUE(installed("alex", identifier));
    EXPECT_TRUE(helper.succeeds("deleteprofilesforssid", {ssid("Campus-Secure"), {"Username", "alex"}}));
    EXPECT_TRUE(helper.succeeds("deleteprofilesforssid", {ssid("Campus-Secure"), {"Username", "_computerlevel"}}));
    EXPECT_TRUE(installedProfiles().empty());

    // No such user: the tool is asked about exactly that name and refuses.
    EXPECT_TRUE(
        helper.fails("commitmobileconfig", {{"MobileConfigPath", profile}, {"CurrentUsername", "alex" + hostile}}));
    EXPECT_TRUE(helper.succeeds("deleteprofilesforssid", {ssid("Campus-Secure"), {"Username", "alex" + hostile}}));

    EXPECT_TRUE(helper.succeeds("installzipappasroot", {{"ZipFile", archive}}));
    EXPECT_TRUE(exists("/Applications/helloworld.app/Contents/MacOS/helloworld"));
    EXPECT_FALSE(exists(kTrace));
  }
}

// Before each command alex links every fixed file to root's: the commands
// work, and the file the links point at is untouched.
TEST_F(HostileClientTest, PlantedLinksAtFixedPathsLeaveTheirTargetsAlone) {
  plantLinks();
  EXPECT_TRUE(helper.succeeds("commitmobileconfig", {{"MobileConfigPath", kCampusSecure}, {"AsSystemProfile", true}}));
  EXPECT_TRUE(installed("_computerlevel", kCampusId));
  plantLinks();
  EXPECT_TRUE(helper.succeeds("deleteprofilesforssid", {ssid("Campus-Secure"), {"Username", "_computerlevel"}}));
  EXPECT_TRUE(installedProfiles().empty());
  plantLinks();
  const std::string pem = Certificate("ISRG_Root_X1.crt").pem;
  EXPECT_TRUE(helper.succeeds("installsystemcacertwithsecuritycmd", {{"PEMdata", pem}}));
  EXPECT_EQ(fileBytes(kVictim), "precious");
  EXPECT_FALSE(exists("/tmp/tempcert.cer")) << "removed after use";
  EXPECT_FALSE(exists("/tmp/output.txt"));

  // A directory that cannot be removed stops the command before anything runs.
  for (const std::string& path : kFixedFiles) unlink(path.c_str());
  ASSERT_EQ(plantAsAlex({{Plant::Directory, "/tmp/cmdstdout.txt", ""}, {Plant::File, "/tmp/cmdstdout.txt/kept", "x"}}),
            0);
  EXPECT_TRUE(helper.fails("commitmobileconfig", {{"MobileConfigPath", kCampusSecure}, {"AsSystemProfile", true}}));
  EXPECT_TRUE(helper.logged(4, "Unable to prepare the files that capture a command's output!"));
  EXPECT_TRUE(installedProfiles().empty());
  EXPECT_EQ(fileBytes("/tmp/cmdstdout.txt/kept"), "x");
}

TEST_F(HostileClientTest, DeletionNeverLeavesThePermittedFolder) {
  ASSERT_TRUE(helper.succeeds("installzipappasroot", {{"ZipFile", kAppZip}}));
  // Links an archive could have carried into the folder.
  ASSERT_EQ(symlink("/Library/Preferences", "/Applications/helloworld.app/Preferences"), 0);
  ASSERT_EQ(symlink(kVictim, "/Applications/helloworld.app/victim"), 0);
  ASSERT_EQ(plantAsAlex({{Plant::Directory, "/tmp/helloworld", ""}}), 0);

  const std::string refused = "The file name provided does not meet the criteria necessary for deletion!";
  for (const char* path : {"/Applications/helloworld/../../Library/Preferences/com.example.victim.plist",
                           "/Applications/helloworld.app/../../Library/Preferences/com.example.victim.plist",
                           "/Applications/helloworld.app/Preferences/com.example.victim.plist",
                           "/Applications/helloworld/../../tmp/helloworld"}) {
    EXPECT_EQ(helper.error("deletefileasroot", {{"File", path}}), refused) << path;
  }
  EXPECT_TRUE(helper.succeeds("deletefileasroot", {{"File", "/Applications/helloworld.app/victim"}}));
  EXPECT_FALSE(exists("/Applications/helloworld.app/victim"));
  EXPECT_EQ(fileBytes(kVictim), "precious");
  EXPECT_TRUE(exists("/tmp/helloworld"));
}

TEST_F(HostileClientTest, OversizedArgumentsAreRefusedBeforeAnythingIsWritten) {
  const std::string preferences = fileBytes(kPreferencesPlist);
  EXPECT_EQ(helper.error("proxysetmanualserver",
                         {{"Uuid", kEthernet}, {"NewValue", std::string(15 << 20, 'p')}, {"Port", 8080}}),
            "The value provided for 'NewValue' is too long to be acted on!");
  EXPECT_FALSE(contains(helper.lines(), {5, "Got command : proxysetmanualserver"}));
  EXPECT_EQ(fileBytes(kPreferencesPlist), preferences);

  writeFile("/tmp/a.mobileconfig", fileBytes(kCampusSecure));
  std::string deep = "/tmp/";
  while (deep.size() <= PATH_MAX) deep += "./";
  EXPECT_EQ(helper.error("commitmobileconfig",
                         {{"MobileConfigPath", deep + "a.mobileconfig"}, {"AsSystemProfile", true}}),
            "The value provided for 'MobileConfigPath' is too long to be acted on!");
  EXPECT_TRUE(installedProfiles().empty());

  // The helper goes on serving ordinary requests.
  EXPECT_TRUE(helper.succeeds("proxysetmanualserver", {{"Uuid", kEthernet}, {"NewValue", "proxy.example.net"}}));
}

}  // namespace
