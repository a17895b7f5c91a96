#include <gtest/gtest.h>

#include "LogCapture.h"
#include "Logger.h"
#include "ServiceLoopback.h"
#include "XpcTestClient.h"

namespace {

TEST(LoggerTest, LinesCarryTextAndLevelIncludingLevelsAbove127) {
  LogCapture log;
  log.logger()->addLine(1, "first");
  log.logger()->addLine(200, "high level");
  log.logger()->addLine(255, "");
  EXPECT_EQ(log.take(), (std::vector<LogLine>{{1, "first"}, {200, "high level"}, {255, ""}}));
}

// A detached logger sends nothing, and the farewell goes to the connection
// being replaced only.
TEST(LoggerTest, FarewellGoesToTheOldConnectionOnly) {
  const char* name = "test.logger";
  ServiceLoopback service(name, ^(xpc_connection_t peer, xpc_object_t message) {
    xpc_object_t reply = xpc_dictionary_create_reply(message);
    xpc_connection_send_message(peer, reply);
    xpc_release(reply);
  });
  XpcTestClient first(name);
  first.sendCommand("hello");  // so that its peer exists on the service side
  XpcTestClient second(name);
  second.sendCommand("hello");
  Logger logger;
  logger.addLine(5, "before any connection");

  logger.setXpcConnection(service.peers().at(0));
  logger.setXpcConnection(service.peers().at(1));
  logger.addLine(5, "for the second");
  logger.setXpcConnection(nullptr);
  logger.addLine(5, "for nobody");

  // Lines sent before a reply arrive before it, so none can still be on the way.
  first.sendCommand("hello");
  second.sendCommand("hello");
  EXPECT_EQ(first.logLines(), (std::vector<LogLine>{{5, "Set a new logging connection."}}));
  EXPECT_EQ(second.logLines(), (std::vector<LogLine>{{5, "for the second"}, {5, "Set a new logging connection."}}));
}

// While a request runs its lines go to the client that sent it, whoever is
// attached; a farewell still goes to the client being detached.
TEST(LoggerTest, ARequestsLinesGoToItsSender) {
  const char* name = "test.logger.request";
  ServiceLoopback service(name, ^(xpc_connection_t peer, xpc_object_t message) {
    xpc_object_t reply = xpc_dictionary_create_reply(message);
    xpc_connection_send_message(peer, reply);
    xpc_release(reply);
  });
  XpcTestClient first(name);
  first.sendCommand("hello");
  XpcTestClient second(name);
  second.sendCommand("hello");
  Logger logger;
  logger.setXpcConnection(service.peers().at(1));

  logger.setRequestConnection(service.peers().at(0));
  logger.addLine(5, "for the sender");
  logger.setXpcConnection(nullptr);
  logger.addLine(5, "still for the sender");
  logger.setRequestConnection(nullptr);
  logger.addLine(5, "for nobody");

  first.sendCommand("hello");
  second.sendCommand("hello");
  EXPECT_EQ(first.logLines(), (std::vector<LogLine>{{5, "for the sender"}, {5, "still for the sender"}}));
  EXPECT_EQ(second.logLines(), (std::vector<LogLine>{{5, "Set a new logging connection."}}));
}

}  // namespace
