// The release the helper reads from SystemVersion.plist, and the release
// lines it logs only where the running release has the limit.
#include <gtest/gtest.h>
#include <unistd.h>

#include "CFTestSupport.h"
#include "Files.h"
#include "LogCapture.h"
#include "OsRelease.h"
#include "ReleaseLimits.h"

namespace {

const char kSystemVersion[] = "/System/Library/CoreServices/SystemVersion.plist";

void setVersion(const std::string& version) {
  writeFile(kSystemVersion,
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
            "<key>ProductName</key><string>macOS</string><key>ProductVersion</key><string>" +
                version + "</string></dict></plist>\n");
}

using xpc::OsRelease;
using xpc::ReleaseLimits;

TEST(OsRelease, TheMajorVersionOfTheRunningReleaseAndNothingForAnUnreadableFile) {
  setVersion("10.14.6");
  EXPECT_EQ(OsRelease::running().major(), 10);
  EXPECT_FALSE(OsRelease::running().atLeast(11));
  setVersion("15.1");
  EXPECT_TRUE(OsRelease::running().atLeast(15));
  EXPECT_FALSE(OsRelease::running().atLeast(26));
  // Anything unreadable counts as the oldest release: the usual ways apply.
  for (const char* broken : {"", "<plist><dict><key>ProductVersion</key><integer>15</integer></dict></plist>",
                             "not a property list"}) {
    writeFile(kSystemVersion, broken);
    EXPECT_EQ(OsRelease::running().major(), 0) << broken;
  }
  ASSERT_EQ(unlink(kSystemVersion), 0);
  EXPECT_EQ(OsRelease::running().major(), 0);
}

TEST(ReleaseLimits, ALimitIsExplainedFromItsFirstReleaseOn) {
  LogCapture log;
  ReleaseLimits limits(log.logger());
  setVersion("12.7.6");
  EXPECT_TRUE(limits.explain(ReleaseLimits::Limit::ProfileInstall));
  EXPECT_FALSE(limits.explain(ReleaseLimits::Limit::NetworkOrder));
  std::vector<LogLine> lines = log.take();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].level, 4);
  EXPECT_EQ(lines[0].text.rfind("macOS 11 and later refuse to install configuration profiles", 0), 0u);

  setVersion("13.0");
  EXPECT_TRUE(limits.explain(ReleaseLimits::Limit::NetworkOrder));
  EXPECT_TRUE(log.saw(5, "macOS 13 and later choose among remembered networks by their own ranking: the order "
                         "was saved, but it no longer decides which network is joined."));
  setVersion("10.14.6");
  EXPECT_FALSE(limits.explain(ReleaseLimits::Limit::AdminTrust));
  EXPECT_TRUE(log.take().empty());
}

}  // namespace
