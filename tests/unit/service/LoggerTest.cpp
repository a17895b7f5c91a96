#include <gtest/gtest.h>

#include <thread>

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

// Lines logged on one thread while another re-attaches the logger (a second
// client connecting while the first one's command runs) go to one connection
// or to none, never to a half-detached one.
TEST(LoggerTest, LoggingWhileAnotherThreadReattachesIsSafe) {
  const char* name = "test.logger.race";
  ServiceLoopback service(name, ^(xpc_connection_t peer, xpc_object_t message) {
    xpc_object_t reply = xpc_dictionary_create_reply(message);
    xpc_connection_send_message(peer, reply);
    xpc_release(reply);
  });
  XpcTestClient client(name);
  client.sendCommand("hello");
  xpc_connection_t peer = service.peers().at(0);
  Logger logger;
  std::thread logging([&] {
    for (int i = 0; i < 20000; ++i) logger.addLine(6, "line");
  });
  for (int i = 0; i < 20000; ++i) logger.setXpcConnection(i % 2 == 0 ? peer : nullptr);
  logging.join();
  logger.setXpcConnection(nullptr);
  EXPECT_EQ(xpc_get_type(client.sendCommand("hello").get()), XPC_TYPE_DICTIONARY);
}

}  // namespace
