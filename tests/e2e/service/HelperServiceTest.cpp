// The built helper, started as its own process inside the fake Mac and driven
// over XPC by real clients.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "ChildProcess.h"
#include "FakeMac.h"
#include "HelperSession.h"
#include "XpcTestClient.h"

namespace {

const std::string kLabel = MACHELPER_SERVICE_LABEL;
const LogLine kGreeting{5, "Hello from the helper app!"};

class HelperServiceTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(waitForService(kLabel)) << "the helper never listened"; }

  ChildProcess helper{{MACHELPER_HELPER_PATH}};
};

TEST_F(HelperServiceTest, PingIsAnsweredAndLoggedAfterTheGreeting) {
  XpcTestClient client(kLabel);
  // The helper resumes a new peer before it attaches the log stream and
  // greets, so lines of a request sent at once could fall before the greeting
  // and be lost; wait for it to see every line of the request.
  ASSERT_TRUE(client.waitForLineAfterReply("Hello from the helper app!"));
  xpc::XpcRef pong = client.sendCommand("ping");
  EXPECT_EQ(replyKeys(pong.get()), std::vector<std::string>{"Response"});
  EXPECT_EQ(replyString(pong.get(), "Response"), "pong");
  std::vector<LogLine> expected{kGreeting,
                                {5, "Got peer event.."},
                                {5, "Got a dictionary..."},
                                {5, "Got command : ping"},
                                {5, "Handling ping.."},
                                {5, "Created ping result."}};
  EXPECT_EQ(client.takeLogLines(), expected);
}

TEST_F(HelperServiceTest, ASecondClientTakesTheLogStreamButEachRequestIsLoggedToItsSender) {
  XpcTestClient first(kLabel);
  first.sendCommand("ping");
  ASSERT_TRUE(first.waitForLineAfterReply("Freed memory."));
  XpcTestClient second(kLabel);
  second.sendCommand("ping");
  EXPECT_EQ(second.logLines().front(), kGreeting);

  // The first client was told it lost the stream, yet the lines of its own
  // request still come to it, and only to it.
  xpc::XpcRef reply = first.sendCommand("getversion");
  EXPECT_EQ(replyString(reply.get(), "Response"), "5.0.528");
  std::vector<LogLine> firstLines = first.logLines();
  auto farewell = std::find(firstLines.begin(), firstLines.end(), LogLine{5, "Set a new logging connection."});
  ASSERT_NE(farewell, firstLines.end());
  EXPECT_NE(std::find(farewell, firstLines.end(), LogLine{5, "Got command : getversion"}), firstLines.end());
  second.sendCommand("ping");
  EXPECT_FALSE(contains(second.logLines(), {5, "Got command : getversion"}));
}

// Clients at once: their commands run one after another, so no write meets
// another's half-made change, and each client hears only its own requests.
TEST_F(HelperServiceTest, ClientsAtOnceEachHearOnlyTheirOwnRequestsAndEveryWriteLands) {
  const char* services[] = {kEthernet, kWiFi, kOfficeEthernet, kOfficeWiFi};
  constexpr int kClients = 4;
  constexpr int kRounds = 12;
  std::vector<std::vector<LogLine>> heard(kClients);
  std::atomic<int> refused{0};
  std::vector<std::thread> clients;
  for (int i = 0; i < kClients; ++i) {
    clients.emplace_back([&, i] {
      XpcTestClient client(kLabel);
      for (int round = 0; round < kRounds; ++round) {
        xpc::XpcRef reply = client.send(makeRequest(
            "proxysetmanualserver",
            {{"Uuid", services[i]}, {"NewValue", "client" + std::to_string(i) + ".example"}, {"Port", 100 * i + round}})
                                            .get());
        if (replyString(reply.get(), "Response") != "Boolean" || !xpc_dictionary_get_bool(reply.get(), "Success")) {
          ++refused;
        }
        std::vector<LogLine> lines = client.takeLogLines();
        heard[i].insert(heard[i].end(), lines.begin(), lines.end());
      }
    });
  }
  for (std::thread& client : clients) client.join();

  EXPECT_EQ(refused, 0);
  for (int i = 0; i < kClients; ++i) {
    EXPECT_EQ(std::count(heard[i].begin(), heard[i].end(), LogLine{5, "Got command : proxysetmanualserver"}), kRounds)
        << "client " << i;
    for (int other = 0; other < kClients; ++other) {
      if (other == i) continue;
      std::string theirs = "client" + std::to_string(other) + ".example";
      EXPECT_FALSE(std::any_of(heard[i].begin(), heard[i].end(),
                               [&](const LogLine& l) { return l.text.find(theirs) != std::string::npos; }))
          << "client " << i << " heard client " << other;
    }
    Plist preferences(kPreferencesPlist);
    EXPECT_EQ(preferences.stringAt({"NetworkServices", services[i], "Proxies", "HTTPProxy"}),
              "client" + std::to_string(i) + ".example");
    EXPECT_EQ(preferences.intAt({"NetworkServices", services[i], "Proxies", "HTTPPort"}), 100 * i + kRounds - 1);
  }
}

TEST_F(HelperServiceTest, AMessageThatIsNotADictionaryGetsNoReply) {
  XpcTestClient client(kLabel);
  client.sendCommand("ping");
  client.takeLogLines();

  xpc::XpcRef array(xpc_array_create(nullptr, 0), xpc::RefPolicy::Adopt);
  xpc::XpcRef text(xpc_string_create("ping"), xpc::RefPolicy::Adopt);
  client.sendWithoutReply(array.get());
  client.sendWithoutReply(text.get());
  // Both were handled before this request, which is answered.
  EXPECT_EQ(replyString(client.sendCommand("ping").get(), "Response"), "pong");
  std::vector<LogLine> lines = client.logLines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(),
                       LogLine{5, "Unexpected type of data passed to our service handler!!!"}),
            2);
  EXPECT_TRUE(helper.running());
}

// A refused request leaves the helper running (the refusals' texts are the
// command handler's unit tests'); "terminate" alone ends it, with status 0 and
// no reply.
TEST_F(HelperServiceTest, RefusedRequestsKeepTheHelperRunningAndTerminateEndsIt) {
  XpcTestClient client(kLabel);
  EXPECT_EQ(replyString(client.sendCommand("Terminate").get(), "Error"), "Unknown/Invalid command!");
  EXPECT_TRUE(helper.running());

  EXPECT_EQ(client.sendCommand("terminate").get(), XPC_ERROR_CONNECTION_INTERRUPTED);
  EXPECT_EQ(helper.wait(), 0);
}

// A helper started by hand while one serves the service exits with status 1.
TEST_F(HelperServiceTest, ASecondInstanceCannotTakeTheServiceAndExitsWithOne) {
  ChildProcess second({MACHELPER_HELPER_PATH});
  EXPECT_EQ(second.wait(), 1);
  EXPECT_TRUE(helper.running());
}

// Each client process below connects after the previous one went away; a
// fresh helper's first client is the only one whose log stream cannot be cut
// by the previous client's disconnect, so the log formats are checked there.
TEST_F(HelperServiceTest, TheClientToolPrintsTheReplyAndStreamsLevelledLines) {
  ProcessResult pong = ChildProcess::run({MACHELPERCTL_PATH, "ping"});
  EXPECT_EQ(pong.status, 0);
  EXPECT_EQ(pong.out, "pong\n");
  // The client sends at once, so only the greeting is sure to reach it.
  EXPECT_EQ(pong.err.find("[5] Hello from the helper app!\n"), 0u) << pong.err;
}

TEST_F(HelperServiceTest, TheClientToolSpeaksJson) {
  ProcessResult version = ChildProcess::run({MACHELPERCTL_PATH, "--json", "getversion"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out, "{\"Response\":\"5.0.528\"}\n");
  EXPECT_EQ(version.err.find("{\"LogLevel\":5,\"LogLine\":\"Hello from the helper app!\"}\n"), 0u)
      << version.err;
}

TEST_F(HelperServiceTest, TheClientToolExitStatusSaysWhatCameBack) {
  EXPECT_EQ(ChildProcess::run({MACHELPERCTL_PATH, "getversion"}).status, 0);

  ProcessResult unknown = ChildProcess::run({MACHELPERCTL_PATH, "Ping"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_EQ(unknown.out, "error: Unknown/Invalid command!\n");

  EXPECT_EQ(ChildProcess::run({MACHELPERCTL_PATH, "--service", "com.example.Nobody", "ping"}).status, 3);
  // The argument's error text is RequestBuilderTest's.
  EXPECT_EQ(ChildProcess::run({MACHELPERCTL_PATH, "ping", "Port:int=eighty"}).status, 64);
  EXPECT_EQ(ChildProcess::run({MACHELPERCTL_PATH, "terminate"}).status, 3);
  EXPECT_EQ(helper.wait(), 0);
}

}  // namespace
