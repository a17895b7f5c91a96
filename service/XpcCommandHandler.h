#pragma once
#include <xpc/xpc.h>

#include <memory>
#include <string>
#include <vector>

#include "CommandHandlerBase.h"

class Logger;

// Routes each request: answers "ping", "getversion" and "terminate" itself
// (case-sensitive) and offers every other command to the command families in
// their fixed order; the first family that answers wins.
class XpcCommandHandler {
 public:
  using Families = std::vector<std::unique_ptr<CommandHandlerBase>>;

  // Owns the helper's command families, in the order commands are offered.
  explicit XpcCommandHandler(Logger* logger);
  // Owns the given families instead, offered in the given order.
  XpcCommandHandler(Logger* logger, Families families);
  ~XpcCommandHandler();
  XpcCommandHandler(const XpcCommandHandler&) = delete;
  XpcCommandHandler& operator=(const XpcCommandHandler&) = delete;

  // Builds the reply to one message, sends it on the connection, releases it.
  void handleCommand(xpc_connection_t connection, xpc_object_t message);
  // The reply to one dictionary message (owned by the caller), or null when
  // the request expects no reply.
  xpc_object_t handleDictionaryCommand(xpc_connection_t connection, xpc_object_t message);

 private:
  xpc_object_t createError(xpc_object_t message, std::string text);
  // The built-in commands.
  xpc_object_t handlePing(const Request& request);
  xpc_object_t handleGetVersion(const Request& request);
  xpc_object_t terminate(const Request& request);
  void log(LogLevel level, std::string text);

  Families handlers;
  Logger* logger;
};
