// The helper as a Mac runs it: installed the way the installation mechanism
// does, started by launchd when a client first connects. A fresh process after
// an exit and a removed job are launchd's part (fakemac/LaunchdTest.cpp);
// "terminate" ending the helper is HelperServiceTest's.
#include <gtest/gtest.h>
#include <unistd.h>

#include "ChildProcess.h"
#include "Eventually.h"
#include "LaunchedHelper.h"
#include "XpcTestClient.h"

namespace {

const std::string kLabel = MACHELPER_SERVICE_LABEL;
const std::string kInstalledHelper = "/Library/PrivilegedHelperTools/" + kLabel;
const std::string kInstalledJob = "/Library/LaunchDaemons/" + kLabel + ".plist";

class OnDemandHelperTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ProcessResult install = ChildProcess::run({"/usr/local/bin/smjobbless", MACHELPER_HELPER_PATH});
    ASSERT_EQ(install.status, 0) << install.err;
  }

  pid_t ping() { return pingService(kLabel); }
};

// launchd starting the installed program for the service proves the job
// smjobbless wrote from the helper's embedded property lists.
TEST_F(OnDemandHelperTest, TheFirstPingStartsTheInstalledHelper) {
  pid_t pid = ping();
  EXPECT_EQ(executableOf(pid), kInstalledHelper);
  EXPECT_EQ(ping(), pid) << "a running helper serves the next client too";
}

// "uninstall" removes the installed files and nothing else: launchd then drops
// the job, while the process already started serves its client to the end.
TEST_F(OnDemandHelperTest, UninstallLeavesTheJobToLaunchdAndTheRunningHelperServing) {
  XpcTestClient client(kLabel);
  xpc::XpcRef reply = client.sendCommand("uninstall");
  EXPECT_EQ(replyString(reply.get(), "Response"), "Boolean");
  EXPECT_TRUE(xpc_dictionary_get_bool(reply.get(), "Success"));
  EXPECT_NE(access(kInstalledHelper.c_str(), F_OK), 0);
  EXPECT_NE(access(kInstalledJob.c_str(), F_OK), 0);
  EXPECT_TRUE(eventually([] { return access(("/var/run/xpc/" + kLabel).c_str(), F_OK) != 0; }));
  EXPECT_EQ(replyString(client.sendCommand("ping").get(), "Response"), "pong");

  XpcTestClient next(kLabel);
  EXPECT_EQ(next.sendCommand("ping").get(), XPC_ERROR_CONNECTION_INVALID);
}

TEST_F(OnDemandHelperTest, AHelperStartedByHandCannotTakeTheServiceLaunchdHolds) {
  ProcessResult second = ChildProcess::run({kInstalledHelper});
  EXPECT_EQ(second.status, 1);
  ping();
}

// Registration from an app bundle came with macOS 13; this Mac runs 10.14.
TEST(AppRegistrationTest, IsRefusedBeforeMacOS13AsTheFrameworkLacksIt) {
  ProcessResult result =
      ChildProcess::run({"/usr/local/bin/smappservice", "register", "/Applications/Any.app", kLabel + ".plist"});
  EXPECT_EQ(result.status, 69);
  EXPECT_NE(result.err.find("needs macOS 13 or later"), std::string::npos) << result.err;
}

}  // namespace
