#include <gtest/gtest.h>

#include "Logger.h"
#include "ServiceLoopback.h"
#include "XpcTestClient.h"

namespace {

const char* kService = "test.logger";

// Each client says hello once, so that its peer exists on the service side.
xpc_connection_t connectPeer(XpcTestClient& client, ServiceLoopback& service, size_t index) {
  client.sendCommand("hello");
  return service.peers().at(index);
}

class LoggerTest : public ::testing::Test {
 protected:
  ServiceLoopback service{kService, ^(xpc_connection_t peer, xpc_object_t message) {
    xpc_object_t reply = xpc_dictionary_create_reply(message);
    xpc_connection_send_message(peer, reply);
    xpc_release(reply);
  }};
  Logger logger;
};

TEST_F(LoggerTest, DetachedLoggerSendsNothing) {
  XpcTestClient client(kService);
  connectPeer(client, service, 0);
  logger.addLine(5, "nobody hears this");
  // Lines sent before a reply arrive before it, so none can still be on the way.
  client.sendCommand("hello");
  EXPECT_TRUE(client.logLines().empty());
}

TEST_F(LoggerTest, LinesCarryTextAndLevelIncludingLevelsAbove127) {
  XpcTestClient client(kService);
  logger.setXpcConnection(connectPeer(client, service, 0));
  logger.addLine(1, "first");
  logger.addLine(200, "high level");
  logger.addLine(255, "");
  client.sendCommand("hello");
  std::vector<LogLine> expected{{1, "first"}, {200, "high level"}, {255, ""}};
  EXPECT_EQ(client.logLines(), expected);
}

TEST_F(LoggerTest, FarewellGoesToTheOldConnectionOnly) {
  XpcTestClient first(kService);
  XpcTestClient second(kService);
  xpc_connection_t firstPeer = connectPeer(first, service, 0);
  xpc_connection_t secondPeer = connectPeer(second, service, 1);

  logger.setXpcConnection(firstPeer);
  logger.setXpcConnection(secondPeer);
  logger.addLine(5, "for the second");
  logger.setXpcConnection(nullptr);
  logger.addLine(5, "for nobody");

  first.sendCommand("hello");
  second.sendCommand("hello");
  std::vector<LogLine> farewell{{5, "Set a new logging connection."}};
  EXPECT_EQ(first.logLines(), farewell);
  std::vector<LogLine> secondLines{{5, "for the second"}, {5, "Set a new logging connection."}};
  EXPECT_EQ(second.logLines(), secondLines);
}

}  // namespace
