#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "CommandHandlerBase.h"
#include "Logger.h"
#include "ServiceLoopback.h"
#include "XpcCommandHandler.h"
#include "XpcTestClient.h"

namespace {

const char* kService = "test.router";

// A family that answers one word (after lower-casing, as families do) and
// records every command it was offered.
class RecordingFamily : public CommandHandlerBase {
 public:
  RecordingFamily(Logger* logger, std::string word, std::vector<std::string>* offered)
      : CommandHandlerBase(logger), word_(std::move(word)), offered_(offered) {}

  xpc_object_t handleCommand(std::string command, xpc_object_t message) override {
    offered_->push_back(word_ + ":" + command);
    std::string lower;
    for (char c : command) lower += static_cast<char>(tolower(c));
    if (lower != word_) return nullptr;
    return createSuccessOrFailure(message, getStringFromXpc(message, "Answer") == "yes");
  }

 private:
  std::string word_;
  std::vector<std::string>* offered_;
};

// The router behind a loopback service, with the families "first" and
// "second"; ping's reply and lines are checked end to end on the helper.
class XpcCommandHandlerTest : public ::testing::Test {
 protected:
  static XpcCommandHandler::Families families(Logger* logger, std::vector<std::string>* offered) {
    XpcCommandHandler::Families list;
    for (const char* word : {"first", "second"}) {
      list.push_back(std::make_unique<RecordingFamily>(logger, word, offered));
    }
    return list;
  }

  Logger logger;
  std::vector<std::string> offered;
  XpcCommandHandler router{&logger, families(&logger, &offered)};
  xpc_connection_t attached = nullptr;
  ServiceLoopback service{kService, ^(xpc_connection_t peer, xpc_object_t message) {
    if (attached != peer) logger.setXpcConnection(attached = peer);
    router.handleCommand(peer, message);
  }};
  XpcTestClient client{kService};
};

TEST_F(XpcCommandHandlerTest, BuiltInsAnswerWithTheirOwnShapesAndLogLines) {
  EXPECT_EQ(replyString(client.sendCommand("ping").get(), "Response"), "pong");
  client.takeLogLines();
  xpc::XpcRef version = client.sendCommand("getversion");
  EXPECT_EQ(replyKeys(version.get()), std::vector<std::string>{"Response"});
  EXPECT_EQ(replyString(version.get(), "Response"), "5.0.528");
  std::vector<LogLine> versionLines{{5, "Got command : getversion"},
                                    {5, "Handling 'get version' request."},
                                    {5, "Created version result."}};
  std::vector<LogLine> lines = client.takeLogLines();
  // The previous request's closing lines may arrive first.
  ASSERT_GE(lines.size(), versionLines.size());
  EXPECT_EQ(std::vector<LogLine>(lines.end() - 3, lines.end()), versionLines);
  EXPECT_TRUE(offered.empty()) << "built-ins are never offered to a family";
}

TEST_F(XpcCommandHandlerTest, MissingOrNonStringCommandIsTheNullError) {
  xpc::XpcRef noCommand(xpc_dictionary_create(nullptr, nullptr, 0), xpc::RefPolicy::Adopt);
  xpc::XpcRef numberCommand = makeRequest("");
  xpc_dictionary_set_int64(numberCommand.get(), "Command", 7);
  for (xpc_object_t request : {noCommand.get(), numberCommand.get()}) {
    xpc::XpcRef reply = client.send(request);
    EXPECT_EQ(replyKeys(reply.get()), (std::vector<std::string>{"Error", "Response"}));
    EXPECT_EQ(replyString(reply.get(), "Response"), "error");
    EXPECT_EQ(replyString(reply.get(), "Error"), "Command value was NULL!");
  }
  EXPECT_TRUE(offered.empty());
}

TEST_F(XpcCommandHandlerTest, FamiliesAreOfferedInOrderUntilOneAnswers) {
  xpc::XpcRef request = makeRequest("SeCoNd");
  xpc_dictionary_set_string(request.get(), "Answer", "yes");
  xpc::XpcRef reply = client.send(request.get());
  EXPECT_EQ(replyKeys(reply.get()), (std::vector<std::string>{"Response", "Success"}));
  EXPECT_EQ(replyString(reply.get(), "Response"), "Boolean");
  EXPECT_TRUE(xpc_dictionary_get_bool(reply.get(), "Success"));
  // Families get the name as sent; lower-casing is theirs to do.
  EXPECT_EQ(offered, (std::vector<std::string>{"first:SeCoNd", "second:SeCoNd"}));

  offered.clear();
  EXPECT_FALSE(xpc_dictionary_get_bool(client.sendCommand("first").get(), "Success"));
  EXPECT_EQ(offered, std::vector<std::string>{"first:first"}) << "later families are not asked";
}

TEST_F(XpcCommandHandlerTest, UnknownCommandsIncludingMiscasedBuiltInsAreRefused) {
  for (const char* command : {"Ping", "GETVERSION", "Terminate", "nosuchcommand"}) {
    client.takeLogLines();
    xpc::XpcRef reply = client.sendCommand(command);
    EXPECT_EQ(replyString(reply.get(), "Response"), "error") << command;
    EXPECT_EQ(replyString(reply.get(), "Error"), "Unknown/Invalid command!") << command;
    std::vector<LogLine> lines = client.takeLogLines();
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[lines.size() - 2], (LogLine{5, "Creating error result!"}));
    EXPECT_EQ(lines.back(), (LogLine{5, "Created error result."}));
  }
}

}  // namespace
