#include <gmock/gmock.h>
#include <unistd.h>

#include "CFTestSupport.h"

namespace {

using CFUUIDTest = CFTest;
using CFURLTest = CFTest;

TEST_F(CFUUIDTest, StringsAreUpperCaseVersion4AndNew) {
  auto uuid = adopt(CFUUIDCreate(nullptr));
  std::string text = utf8(adopt(CFUUIDCreateString(nullptr, uuid.get())).get());
  EXPECT_THAT(text, ::testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
  EXPECT_NE(utf8(adopt(CFUUIDCreateString(nullptr, adopt(CFUUIDCreate(nullptr)).get())).get()), text);
}

std::string fileSystemPath(CFURLRef url, bool resolve = true) {
  UInt8 buffer[1024];
  if (!CFURLGetFileSystemRepresentation(url, resolve, buffer, sizeof buffer)) return "<too long>";
  return reinterpret_cast<char *>(buffer);
}

TEST_F(CFURLTest, FileURLsForPOSIXPaths) {
  auto prefs = adopt(CFURLCreateWithFileSystemPath(nullptr, CFSTR("/Library/Preferences/My Prefs.plist"),
                                                   kCFURLPOSIXPathStyle, false));
  EXPECT_EQ(fileSystemPath(prefs.get()), "/Library/Preferences/My Prefs.plist");
  UInt8 small[8];
  EXPECT_FALSE(CFURLGetFileSystemRepresentation(prefs.get(), true, small, sizeof small));

  auto directory = adopt(CFURLCreateWithFileSystemPath(nullptr, CFSTR("/Library"), kCFURLPOSIXPathStyle, true));
  EXPECT_EQ(fileSystemPath(directory.get()), "/Library");

  char cwd[1024];
  ASSERT_TRUE(getcwd(cwd, sizeof cwd));
  auto relative = adopt(CFURLCreateWithFileSystemPath(nullptr, CFSTR("prefs/a.plist"), kCFURLPOSIXPathStyle, false));
  EXPECT_EQ(fileSystemPath(relative.get(), false), "prefs/a.plist");
  EXPECT_EQ(fileSystemPath(relative.get()), (std::string(cwd) == "/" ? "" : std::string(cwd)) + "/prefs/a.plist");
}

TEST_F(CFURLTest, FileStreamsReportPOSIXErrors) {
  auto missing = adopt(CFURLCreateWithFileSystemPath(nullptr, CFSTR("/nonexistent/prefs.plist"), kCFURLPOSIXPathStyle,
                                                     false));
  auto stream = adopt(CFReadStreamCreateWithFile(nullptr, missing.get()));
  EXPECT_EQ(CFReadStreamGetStatus(stream.get()), kCFStreamStatusNotOpen);
  EXPECT_EQ(CFReadStreamCopyError(stream.get()), nullptr);
  EXPECT_FALSE(CFReadStreamOpen(stream.get()));
  EXPECT_EQ(CFReadStreamGetStatus(stream.get()), kCFStreamStatusError);
  auto error = adopt(CFReadStreamCopyError(stream.get()));
  ASSERT_TRUE(error);
  EXPECT_TRUE(CFEqual(CFErrorGetDomain(error.get()), kCFErrorDomainPOSIX));
  EXPECT_EQ(CFErrorGetCode(error.get()), 2);
  UInt8 buffer[4];
  EXPECT_EQ(CFReadStreamRead(stream.get(), buffer, sizeof buffer), -1);

  auto writer = adopt(CFWriteStreamCreateWithFile(nullptr, missing.get()));
  EXPECT_EQ(CFWriteStreamWrite(writer.get(), buffer, 1), -1) << "not open";
  EXPECT_FALSE(CFWriteStreamOpen(writer.get()));
  EXPECT_EQ(CFErrorGetCode(adopt(CFWriteStreamCopyError(writer.get())).get()), 2);
}

}  // namespace
