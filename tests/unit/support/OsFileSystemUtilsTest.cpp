#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "CFTestSupport.h"
#include "LogCapture.h"
#include "OsFileSystemUtils.h"

namespace {

using xpc::OsFileSystemUtils;

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
  EXPECT_EQ(files.writeStringToTempFile("sub/x.txt", "x"), "");
  EXPECT_TRUE(log.saw(4, refusal));
  EXPECT_EQ(files.writeStringToTempFile("sub\\x.txt", "x"), "");
  EXPECT_TRUE(log.saw(4, refusal));
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
  EXPECT_TRUE(files.getFileCreationTime("/tmp/tool", changed));
  struct stat info;
  ASSERT_EQ(stat("/tmp/tool", &info), 0);
  EXPECT_EQ(changed, info.st_ctime);
  EXPECT_FALSE(files.getFileCreationTime("/tmp/none", changed));
}

TEST_F(OsFileSystemUtilsTest, FindFilesSearchesTheWholeTree) {
  mkdir("/tmp/tree", 0755);
  mkdir("/tmp/tree/Library", 0755);
  mkdir("/tmp/tree/Library/Keychains", 0755);
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

}  // namespace
