#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "CFTestSupport.h"
#include "LogCapture.h"
#include "OsFileSystemUtils.h"

namespace {

using xpc::OsFileSystemUtils;
using Confinement = xpc::OsFileSystemUtils::Confinement;

// An empty root-owned file of mode 0600 that is no link.
void expectFreshFile(const char* path) {
  struct stat info;
  ASSERT_EQ(lstat(path, &info), 0) << path;
  EXPECT_TRUE(S_ISREG(info.st_mode)) << path;
  EXPECT_EQ(info.st_mode & 07777, 0600u) << path;
  EXPECT_EQ(info.st_uid, geteuid()) << path;
  EXPECT_EQ(info.st_size, 0) << path;
}

// Every test runs in a fresh /tmp of its own fake Mac.
class OsFileSystemUtilsTest : public CFTest {
 protected:
  LogCapture log;
  OsFileSystemUtils files{log.logger()};
};

TEST_F(OsFileSystemUtilsTest, StringFilesAlwaysEndInANewline) {
  ASSERT_TRUE(files.writeStringToFile("/tmp/abc.txt", "abc"));
  EXPECT_EQ(fileBytes("/tmp/abc.txt"), "abc\n");
  ASSERT_TRUE(files.writeStringToFile("/tmp/nul.txt", std::string("ab\0cd", 5)));
  EXPECT_EQ(fileBytes("/tmp/nul.txt"), "ab\n");

  const unsigned char bytes[] = {0x00, 0x01, 0xFF};
  ASSERT_TRUE(files.writeBinaryToFile("/tmp/blob.bin", bytes, sizeof(bytes)));
  EXPECT_EQ(fileBytes("/tmp/blob.bin"), std::string("\x00\x01\xFF", 3));

  writeFile("/tmp/no-newline.txt", "abc");
  EXPECT_EQ(files.readFileToString("/tmp/no-newline.txt"), "abc\n");
  writeFile("/tmp/empty.txt", "");
  EXPECT_EQ(files.readFileToString("/tmp/empty.txt"), "");
}

TEST_F(OsFileSystemUtilsTest, LongLinesComeBackSplitAtTheReadBuffer) {
  std::string line;
  for (int i = 0; i < 2000; ++i) line += static_cast<char>('a' + i % 26);
  writeFile("/tmp/long.txt", line + "\n");
  EXPECT_EQ(files.readFileToString("/tmp/long.txt"), line.substr(0, 1023) + "\n" + line.substr(1023) + "\n");

  EXPECT_EQ(files.readFileToString("/tmp/missing.txt"), "");
  EXPECT_TRUE(log.saw(4, "   Error string : No such file or directory"));
}

// Writing a bare name is what installing a certificate with the security tool does, end to end.
TEST_F(OsFileSystemUtilsTest, TempFilesTakeBareNamesOnly) {
  const char refusal[] = "Unable to write data to a temporary file!  The filename passed in appears to "
                         "include some path componenets, which is not allowed!";
  for (const char* name : {"sub/x.txt", "sub\\x.txt"}) {
    EXPECT_EQ(files.writeStringToTempFile(name, "x"), "") << name;
    EXPECT_TRUE(log.saw(4, refusal)) << name;
  }
  EXPECT_NE(access("/tmp/sub", F_OK), 0);
  EXPECT_NE(access("/tmp/x.txt", F_OK), 0);
}

TEST_F(OsFileSystemUtilsTest, DirectoriesAreCreatedLevelByLevel) {
  mode_t previous = umask(0);
  EXPECT_FALSE(files.createDirectory("/tmp/a/b"));
  EXPECT_FALSE(files.directoryExists("/tmp/a/b", false));
  EXPECT_TRUE(log.saw(5, "The path '/tmp/a/b' was *NOT* found."));
  // Blanks name no level at all, so there is nothing to find or create.
  EXPECT_FALSE(files.directoryExists("  \t", true));
  EXPECT_TRUE(log.saw(5, "Desired path was NOT found."));

  EXPECT_TRUE(files.directoryExists("/tmp/a/b/", true));
  umask(previous);
  for (const char* path : {"/tmp/a", "/tmp/a/b"}) {
    struct stat info;
    ASSERT_EQ(stat(path, &info), 0) << path;
    EXPECT_TRUE(S_ISDIR(info.st_mode));
    EXPECT_EQ(info.st_mode & 0777, 0770u) << path;
  }
  EXPECT_TRUE(files.checkDirectoryExists("/tmp/a/b"));

  // A file in the way is an error, not a missing directory to create.
  writeFile("/tmp/file", "x");
  EXPECT_FALSE(files.directoryExists("/tmp/file/sub", true));
  EXPECT_TRUE(log.saw(4, "Got an error while trying to check the path '/tmp/file'.  Returning that "
                         "the path does NOT exist."));

  EXPECT_FALSE(files.deleteDirectory("/tmp/a"));  // not empty
  EXPECT_TRUE(files.deleteDirectory("/tmp/a/b"));
  EXPECT_TRUE(files.deleteFile("/tmp/file"));
  EXPECT_FALSE(files.deleteFile("/tmp/file"));
  EXPECT_TRUE(log.saw(4, "Unable to delete the file : /tmp/file"));
}

TEST_F(OsFileSystemUtilsTest, ExistenceAndPermissions) {
  writeFile("/tmp/tool", "#!/bin/sh\n");
  EXPECT_TRUE(files.fileExists("/tmp/tool"));
  EXPECT_TRUE(files.fileExists("/tmp"));  // directories count
  EXPECT_FALSE(files.fileExists("/tmp/none"));
  EXPECT_FALSE(files.fileExists(""));
  EXPECT_TRUE(log.saw(4, "An empty string was provided while checking if a file exists!"));

  chmod("/tmp/tool", 0644);
  EXPECT_FALSE(files.fileOwnerHasExecutePermission("/tmp/tool"));
  chmod("/tmp/tool", 0744);
  EXPECT_TRUE(files.fileOwnerHasExecutePermission("/tmp/tool"));
  time_t changed = 0;
  EXPECT_FALSE(files.getFileCreationTime("/tmp/none", changed));
}

TEST_F(OsFileSystemUtilsTest, FindFilesSearchesTheWholeTree) {
  for (const char* folder : {"/tmp/tree", "/tmp/tree/Library", "/tmp/tree/Library/Keychains"}) mkdir(folder, 0755);
  writeFile("/tmp/tree/login.keychain", "");
  writeFile("/tmp/tree/Library/Keychains/Login.Keychain", "");
  writeFile("/tmp/tree/Library/other.txt", "");

  std::vector<std::string> found;
  ASSERT_TRUE(files.findFiles("/tmp/tree", {"login.keychain"}, false, found));
  EXPECT_EQ(found, std::vector<std::string>{"/tmp/tree/login.keychain"});

  symlink("/tmp/tree", "/tmp/tree/Library/loop");
  found.clear();
  ASSERT_TRUE(files.findFiles("/tmp/tree", {"login.keychain", "login.keychain"}, true, found));
  // The loop is followed until the system refuses it, so matches repeat
  // below it; the real files are found all the same.
  EXPECT_TRUE(std::count(found.begin(), found.end(), "/tmp/tree/Library/Keychains/Login.Keychain"));
  EXPECT_TRUE(std::count(found.begin(), found.end(), "/tmp/tree/login.keychain"));

  EXPECT_FALSE(files.findFiles("/tmp/tree", {"Library/x"}, false, found));
  EXPECT_FALSE(files.findFiles("/tmp/none", {"x"}, false, found));
}

// What another user may have left at a fixed path in /tmp is replaced, never
// written through.
TEST_F(OsFileSystemUtilsTest, FixedFilesAreCreatedAfreshWithoutFollowingLinks) {
  writeFile("/tmp/precious", "root's own");
  ASSERT_EQ(symlink("/tmp/precious", "/tmp/cmdstdout.txt"), 0);
  ASSERT_TRUE(files.createFreshFile("/tmp/cmdstdout.txt"));
  expectFreshFile("/tmp/cmdstdout.txt");
  EXPECT_EQ(fileBytes("/tmp/precious"), "root's own");

  writeFile("/tmp/cmdstderr.txt", "planted");
  chmod("/tmp/cmdstderr.txt", 0666);
  chown("/tmp/cmdstderr.txt", 501, 20);  // where the namespace maps that user
  ASSERT_TRUE(files.createFreshFile("/tmp/cmdstderr.txt"));
  expectFreshFile("/tmp/cmdstderr.txt");

  ASSERT_EQ(mkdir("/tmp/output.txt", 0777), 0);
  ASSERT_TRUE(files.createFreshFile("/tmp/output.txt"));
  expectFreshFile("/tmp/output.txt");
  ASSERT_EQ(mkdir("/tmp/profiledump.txt", 0777), 0);
  writeFile("/tmp/profiledump.txt/kept", "x");
  EXPECT_FALSE(files.createFreshFile("/tmp/profiledump.txt"));
  EXPECT_TRUE(log.saw(4, "Unable to remove what is at '/tmp/profiledump.txt' before creating the file!  (" +
                             OsFileSystemUtils::errorDetail(ENOTEMPTY) + ")"));
  EXPECT_EQ(fileBytes("/tmp/profiledump.txt/kept"), "x");

  // Temporary files and what is read back go the same way.
  ASSERT_EQ(symlink("/tmp/precious", "/tmp/tempcert.cer"), 0);
  EXPECT_EQ(files.writeStringToTempFile("tempcert.cer", "PEM"), "/tmp/tempcert.cer");
  EXPECT_EQ(fileBytes("/tmp/tempcert.cer"), "PEM\n");
  EXPECT_EQ(fileBytes("/tmp/precious"), "root's own");
  ASSERT_EQ(symlink("/tmp/precious", "/tmp/link"), 0);
  EXPECT_EQ(files.readFileToString("/tmp/link"), "");
  EXPECT_EQ(files.readFileToString("/tmp/precious"), "root's own\n");
  EXPECT_FALSE(files.isPlainFile("/tmp/link"));
  EXPECT_FALSE(files.isPlainFile("/tmp/output.txt/"));
  EXPECT_TRUE(files.isPlainFile("/tmp/precious"));
}

TEST_F(OsFileSystemUtilsTest, ConfinedDeletionResolvesThePathAndFollowsNoLink) {
  const std::string folder = "/Applications/helloworld";
  ASSERT_EQ(mkdir("/Applications/helloworld.app", 0755), 0);
  ASSERT_EQ(mkdir("/Applications/helloworld.app/Contents", 0755), 0);
  writeFile("/tmp/victim", "kept");
  int error = -1;

  // Outside the folder once "." and ".." are resolved, or not absolute.
  for (const char* path : {"/Applications/helloworld/../../tmp/victim", "/Applications/helloworld.app/../../tmp/victim",
                           "/applications/helloworld.app/x", "Applications/helloworld", "/Applications/helloworld/..",
                           "/"}) {
    EXPECT_EQ(files.deleteFileWithin(folder, path, error), Confinement::Outside) << path;
  }
  // A directory on the way that is a link leads nowhere.
  ASSERT_EQ(symlink("/tmp", "/Applications/helloworld-tmp"), 0);
  EXPECT_EQ(files.deleteFileWithin(folder, "/Applications/helloworld-tmp/victim", error), Confinement::Outside);
  ASSERT_EQ(symlink("/tmp", "/Applications/helloworld.app/Contents/up"), 0);
  EXPECT_EQ(files.deleteFileWithin(folder, "/Applications/helloworld.app/Contents/up/victim", error),
            Confinement::Outside);
  EXPECT_EQ(fileBytes("/tmp/victim"), "kept");

  // A final link is removed itself; its target stays.
  ASSERT_EQ(symlink("/tmp/victim", "/Applications/helloworld.app/Contents/final"), 0);
  EXPECT_EQ(files.deleteFileWithin(folder, "/Applications/helloworld.app/Contents/final", error), Confinement::Removed);
  EXPECT_NE(access("/Applications/helloworld.app/Contents/final", F_OK), 0);
  EXPECT_EQ(fileBytes("/tmp/victim"), "kept");

  writeFile("/Applications/helloworld.app/Contents/Info.plist", "x");
  EXPECT_EQ(files.deleteFileWithin(folder, "/Applications/./helloworld.app/Contents/../Contents//Info.plist", error),
            Confinement::Removed);
  EXPECT_NE(access("/Applications/helloworld.app/Contents/Info.plist", F_OK), 0);

  // Inside, but not a file that can go: the system's reason.
  const std::vector<std::pair<const char*, int>> failures{{"/Applications/helloworld.app/Contents", EISDIR},
                                                          {"/Applications/helloworld.app/none/x", ENOENT},
                                                          {"/Applications/helloworld.app/Contents/", EISDIR},
                                                          {"/Applications/helloworld", ENOENT}};
  for (const auto& [path, expected] : failures) {
    EXPECT_EQ(files.deleteFileWithin(folder, path, error), Confinement::Failed) << path;
    EXPECT_EQ(error, expected) << path;
  }
}

}  // namespace
