// launchd inside the fake Mac: on-demand start through the rendezvous socket,
// a fresh process per demand after an exit, the service lock, and clean
// failure once the helper is gone. Each case runs in a fake Mac of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <set>
#include <sstream>

#include "ChildProcess.h"
#include "Eventually.h"
#include "Files.h"

namespace fs = std::filesystem;
using ::testing::AnyOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

const std::string kLabel = "com.example.fakemac.stub";
const std::string kProgram = "/Library/PrivilegedHelperTools/" + kLabel;
const std::string kJobPlist = "/Library/LaunchDaemons/" + kLabel + ".plist";
const std::string kSocket = "/var/run/xpc/" + kLabel;

// Processes executing `program`, by pid.
std::set<pid_t> processesRunning(const std::string& program) {
  std::set<pid_t> pids;
  for (const auto& entry : fs::directory_iterator("/proc")) {
    std::error_code error;
    if (fs::read_symlink(entry.path() / "exe", error) == program) {
      pids.insert(std::stoi(entry.path().filename()));
    }
  }
  return pids;
}

// State letter and parent pid from /proc/PID/stat; state 0 when gone.
std::pair<char, pid_t> procStat(pid_t pid) {
  std::string text = fileBytes("/proc/" + std::to_string(pid) + "/stat");
  if (text.empty()) return {0, 0};
  std::istringstream fields(text.substr(text.rfind(')') + 2));
  char state = 0;
  pid_t parent = 0;
  fields >> state >> parent;
  return {state, parent};
}

// A signal mask from /proc/PID/status ("SigBlk", "SigCgt", ...); 0 when the process is gone.
uint64_t signalMask(const std::string& pid, const std::string& field) {
  std::string status = fileBytes("/proc/" + pid + "/status");
  size_t at = status.find("\n" + field + ":");
  return at == std::string::npos ? 0 : std::stoull(status.substr(at + field.size() + 2), nullptr, 16);
}

// launchd logs an event just after it happened, so possibly after the
// client has seen its effect.
bool launchdLogs(const std::string& line) {
  return eventually([&] { return fileBytes("/var/log/launchd.log").find(line) != std::string::npos; });
}

class OnDemandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ProcessResult installed = ChildProcess::run({SMJOBBLESS_PATH, STUB_PATH});
    ASSERT_EQ(installed.status, 0) << installed.err;
  }

  // The job's reply on a connection of its own; nullopt when refused or not
  // answered. `error` gets what the client printed.
  static std::optional<std::string> send(const std::string& request, std::string* error = nullptr) {
    ProcessResult result = ChildProcess::run({STUB_PATH, "--send", kLabel, request});
    if (error != nullptr) *error = result.err;
    if (result.status != 0) return std::nullopt;
    return result.out.substr(0, result.out.find('\n'));
  }

  static pid_t ping() {
    auto reply = send("ping");
    return reply && reply->rfind("pong ", 0) == 0 ? std::stoi(reply->substr(5)) : 0;
  }

  // The stub started by hand finds the service's lock held.
  static void expectServiceTaken() {
    ProcessResult byHand = ChildProcess::run({STUB_PATH});
    EXPECT_EQ(byHand.status, 3) << byHand.err;
    EXPECT_THAT(byHand.err, HasSubstr("taken"));
  }
};

// launchd blocks and ignores signals for itself; what it starts (this test
// program is its session command) must not inherit that.
TEST(LaunchdTest, IsTheFakeMacsInitAndStartsProgramsWithDefaultSignalHandling) {
  EXPECT_EQ(fileBytes("/proc/1/comm"), "launchd\n");
  for (const char* field : {"SigBlk", "SigIgn"}) EXPECT_EQ(signalMask("self", field), 0u) << field;
}

// launchd holds the service, socket and lock, before the job runs and while
// it runs; the first connection starts the job as its child.
TEST_F(OnDemandTest, FirstConnectionStartsTheJobAsLaunchdsChild) {
  struct stat st;
  ASSERT_EQ(stat(kSocket.c_str(), &st), 0);
  EXPECT_TRUE(S_ISSOCK(st.st_mode));
  EXPECT_TRUE(processesRunning(kProgram).empty());
  expectServiceTaken();

  pid_t pid = ping();
  ASSERT_GT(pid, 0);
  EXPECT_EQ(processesRunning(kProgram), std::set<pid_t>{pid});
  EXPECT_EQ(procStat(pid).second, 1);
  EXPECT_TRUE(launchdLogs(kLabel + ": started pid " + std::to_string(pid)));
  expectServiceTaken();
}

TEST_F(OnDemandTest, JobInheritsTheListeningSocketAndNothingElse) {
  auto env = send("env");
  ASSERT_TRUE(env);
  int listener = -1;
  char variable[128] = "";
  ASSERT_EQ(sscanf(env->c_str(), "listener %d %127s", &listener, variable), 2) << *env;
  EXPECT_EQ(variable, kLabel + "=" + std::to_string(listener));
  EXPECT_GT(listener, 2);

  // stdin/out/err, the listener, and the accepted connection: no lock file,
  // no launchd internals.
  auto fds = send("fds");
  ASSERT_TRUE(fds);
  std::istringstream list(fds->substr(4));
  std::set<int> open;
  for (int fd; list >> fd;) open.insert(fd);
  EXPECT_EQ(open.size(), 5u) << *fds;
  EXPECT_TRUE(open.count(listener)) << *fds;
  for (int fd : {0, 1, 2}) EXPECT_TRUE(open.count(fd)) << *fds;
}

TEST_F(OnDemandTest, ExitedJobIsStartedAfreshByTheNextConnection) {
  pid_t firstPid = ping();
  ASSERT_GT(firstPid, 0);
  ASSERT_EQ(send("quit"), "bye");

  // Connects while the first process may still be exiting: launchd must
  // not lose this client, it starts the next process for it.
  pid_t secondPid = ping();
  ASSERT_GT(secondPid, 0);
  EXPECT_NE(secondPid, firstPid);
  EXPECT_TRUE(eventually([&] { return kill(firstPid, 0) != 0; })) << "first process not reaped";
  EXPECT_TRUE(launchdLogs(kLabel + ": pid " + std::to_string(firstPid) + " exited with status 0"));
}

TEST_F(OnDemandTest, RemovedHelperFailsCleanly) {
  pid_t pid = ping();
  ASSERT_GT(pid, 0);
  ASSERT_EQ(send("quit"), "bye");
  ASSERT_EQ(unlink(kProgram.c_str()), 0);
  ASSERT_EQ(unlink(kJobPlist.c_str()), 0);

  // Whether launchd has seen the removal yet or not, the client is turned
  // away: refused at connect, or its connection closed. Never served.
  std::string error;
  EXPECT_EQ(send("ping", &error), std::nullopt);
  EXPECT_THAT(error, AnyOf(IsEmpty(), HasSubstr("No such file or directory"), HasSubstr("Connection refused")));
  EXPECT_TRUE(eventually([] { return access(kSocket.c_str(), F_OK) != 0; }));
  EXPECT_EQ(send("ping", &error), std::nullopt);
  EXPECT_THAT(error, HasSubstr("No such file or directory"));
  EXPECT_TRUE(eventually([&] { return kill(pid, 0) != 0; })) << "not reaped";
}

TEST_F(OnDemandTest, ReinstalledHelperIsServedAgain) {
  ASSERT_EQ(unlink(kJobPlist.c_str()), 0);
  ASSERT_TRUE(eventually([] { return access(kSocket.c_str(), F_OK) != 0; }));
  ProcessResult installed = ChildProcess::run({SMJOBBLESS_PATH, STUB_PATH});
  ASSERT_EQ(installed.status, 0) << installed.err;
  EXPECT_GT(ping(), 0);
}

TEST(CfprefsdTest, SurvivesHangupLikeTheRealOne) {
  // Started by launchd at boot from /usr/sbin/cfprefsd, a link to the tool.
  std::set<pid_t> running = processesRunning(fs::canonical("/usr/sbin/cfprefsd"));
  ASSERT_EQ(running.size(), 1u);
  pid_t pid = *running.begin();
  // As on a Mac, a cfprefsd still starting up would die of SIGHUP: wait
  // until it catches the signal.
  const std::string process = std::to_string(pid);
  ASSERT_TRUE(eventually([&] { return (signalMask(process, "SigCgt") >> (SIGHUP - 1)) & 1; }));

  ProcessResult hup = ChildProcess::run({"/usr/bin/killall", "-HUP", "cfprefsd"});
  ASSERT_EQ(hup.status, 0) << hup.err;
  // Once no signal is pending it has been dealt with, one way or the other.
  ASSERT_TRUE(eventually([&] { return (signalMask(process, "SigPnd") | signalMask(process, "ShdPnd")) == 0; }));
  char state = procStat(pid).first;
  EXPECT_TRUE(state != 0 && state != 'Z') << "cfprefsd died of SIGHUP";
}

}  // namespace
