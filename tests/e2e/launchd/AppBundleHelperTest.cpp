// The helper carried inside an app and registered from it, as apps do from
// macOS 13 on: it runs only once the user allows it, from inside the app, and
// "uninstall" leaves the app alone.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "ChildProcess.h"
#include "Eventually.h"
#include "Files.h"
#include "LaunchedHelper.h"
#include "XpcTestClient.h"

namespace {

namespace fs = std::filesystem;

const std::string kLabel = MACHELPER_SERVICE_LABEL;
const std::string kApp = "/Applications/MacHelper Client.app";
const std::string kPlistName = kLabel + ".plist";
const std::string kBundledHelper = kApp + "/Contents/Library/LaunchServices/" + kLabel;
const std::string kBundledPlist = kApp + "/Contents/Library/LaunchDaemons/" + kPlistName;
const std::string kSocket = "/var/run/xpc/" + kLabel;

// SMAppServiceStatus and the Service Management errors, as the tool reports them.
const std::string kNotRegistered = "notRegistered (0)\n";
const std::string kEnabled = "enabled (1)\n";
const std::string kRequiresApproval = "requiresApproval (2)\n";
const std::string kNotFound = "notFound (3)\n";
const int kSMErrorJobNotFound = 6;
const int kSMErrorJobPlistNotFound = 8;
const int kSMErrorInvalidPlist = 10;
const int kSMErrorLaunchDeniedByUser = 11;
const int kSMErrorAlreadyRegistered = 12;

ProcessResult smappservice(const std::string& verb, const std::string& plist = kPlistName) {
  return ChildProcess::run({"/usr/local/bin/smappservice", verb, kApp, plist});
}

class AppBundleHelperTest : public ::testing::Test {
 protected:
  // The app as the build lays it out: the helper in LaunchServices, the
  // daemon plist `make macos` emits in LaunchDaemons.
  void SetUp() override {
    fs::create_directories(fs::path(kBundledHelper).parent_path());
    fs::create_directories(fs::path(kBundledPlist).parent_path());
    fs::copy_file(MACHELPER_HELPER_PATH, kBundledHelper);
    fs::copy_file(MACHELPER_DAEMON_PLIST, kBundledPlist);
    ASSERT_EQ(chmod(kBundledHelper.c_str(), 0755), 0);
  }

  void registerAndApprove() {
    ASSERT_EQ(smappservice("register").status, kSMErrorLaunchDeniedByUser);
    ProcessResult approve = smappservice("approve");
    ASSERT_EQ(approve.status, 0) << approve.err;
  }

  pid_t ping() { return pingService(kLabel); }
};

TEST_F(AppBundleHelperTest, RunsFromInsideTheAppOnlyOnceTheUserAllowsIt) {
  EXPECT_EQ(smappservice("status").out, kNotRegistered);
  ProcessResult registered = smappservice("register");
  EXPECT_EQ(registered.status, kSMErrorLaunchDeniedByUser) << registered.err;
  EXPECT_EQ(smappservice("status").out, kRequiresApproval);
  EXPECT_EQ(smappservice("register").status, kSMErrorLaunchDeniedByUser) << "still awaiting approval";

  // Registered but not allowed: launchd holds no service, so nothing starts.
  EXPECT_NE(access(kSocket.c_str(), F_OK), 0);
  EXPECT_EQ(XpcTestClient(kLabel).sendCommand("ping").get(), XPC_ERROR_CONNECTION_INVALID);

  ProcessResult approve = smappservice("approve");
  ASSERT_EQ(approve.status, 0) << approve.err;
  EXPECT_EQ(smappservice("status").out, kEnabled);
  EXPECT_EQ(smappservice("register").status, kSMErrorAlreadyRegistered);

  pid_t pid = ping();
  EXPECT_EQ(executableOf(pid), kBundledHelper);

  // A real command, as root.
  const std::string file = "/Applications/helloworld.txt";
  std::ofstream(file) << "x";
  XpcTestClient client(kLabel);
  xpc::XpcRef request = makeRequest("deletefileasroot", {{"File", file}});
  xpc::XpcRef deleted = client.send(request.get());
  EXPECT_TRUE(xpc_dictionary_get_bool(deleted.get(), "Success"));
  EXPECT_NE(access(file.c_str(), F_OK), 0);

  // Unregistering stops the running helper and drops its service; the app stays.
  ProcessResult unregister = smappservice("unregister");
  EXPECT_EQ(unregister.status, 0) << unregister.err;
  EXPECT_EQ(smappservice("status").out, kNotRegistered);
  EXPECT_NE(access(kSocket.c_str(), F_OK), 0);
  EXPECT_TRUE(eventually([&] { return !processExists(pid); }));
  EXPECT_EQ(access(kBundledHelper.c_str(), X_OK), 0);
  EXPECT_EQ(smappservice("unregister").status, kSMErrorJobNotFound);
}

// The helper's files belong to the app: "uninstall" deletes nothing, fails,
// and says who removes the helper instead.
TEST_F(AppBundleHelperTest, UninstallLeavesTheAppAndSaysWhoRemovesTheHelper) {
  registerAndApprove();
  const std::string helperBytes = fileBytes(kBundledHelper);
  const std::string plistBytes = fileBytes(kBundledPlist);

  XpcTestClient client(kLabel);
  xpc::XpcRef reply = client.sendCommand("uninstall");
  EXPECT_EQ(replyString(reply.get(), "Response"), "error");
  EXPECT_EQ(replyString(reply.get(), "Error"), "Unable to uninstall the helper app binary!");
  // The request's own line is its last, after the helper's usual greeting.
  std::vector<LogLine> lines = client.takeLogLines();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(), (LogLine{4, "The helper runs from inside " + kApp +
                                          " and was not removed: the app unregisters it, or the user turns it "
                                          "off under Allow in the Background in System Settings > General > "
                                          "Login Items."}));

  EXPECT_EQ(fileBytes(kBundledHelper), helperBytes);
  EXPECT_EQ(fileBytes(kBundledPlist), plistBytes);
  EXPECT_EQ(smappservice("status").out, kEnabled);
  EXPECT_EQ(replyString(client.sendCommand("ping").get(), "Response"), "pong");
}

// The switch in System Settings: off stops the helper and brings back the
// approval status; on starts serving again.
TEST_F(AppBundleHelperTest, TurningTheSwitchOffStopsTheHelper) {
  registerAndApprove();
  pid_t pid = ping();
  ProcessResult revoke = smappservice("revoke");
  EXPECT_EQ(revoke.status, 0) << revoke.err;
  EXPECT_EQ(smappservice("status").out, kRequiresApproval);
  EXPECT_TRUE(eventually([&] { return !processExists(pid); }));
  EXPECT_EQ(XpcTestClient(kLabel).sendCommand("ping").get(), XPC_ERROR_CONNECTION_INVALID);

  ASSERT_EQ(smappservice("approve").status, 0);
  EXPECT_NE(ping(), pid);
}

TEST_F(AppBundleHelperTest, RegistrationRefusesAMissingOrEscapingJobPlist) {
  EXPECT_EQ(smappservice("status", "absent.plist").out, kNotFound);
  EXPECT_EQ(smappservice("register", "absent.plist").status, kSMErrorJobPlistNotFound);
  EXPECT_EQ(smappservice("register", "../../LaunchDaemons/" + kPlistName).status, kSMErrorJobPlistNotFound);

  // A program outside the app is not the app's to register.
  std::string escaping = fileBytes(kBundledPlist);
  const std::string program = "Contents/Library/LaunchServices/" + kLabel;
  escaping.replace(escaping.find(program), program.size(), "../../usr/bin/env");
  std::ofstream(kApp + "/Contents/Library/LaunchDaemons/escaping.plist") << escaping;
  EXPECT_EQ(smappservice("register", "escaping.plist").status, kSMErrorInvalidPlist);
  EXPECT_EQ(smappservice("status", "escaping.plist").out, kNotRegistered);
}

}  // namespace
