#pragma once
#include <xpc/xpc.h>

#include <string>

class Logger;

// Base of the command families. The router offers each request to the
// families in a fixed order; a family answers with a reply dictionary when the
// command is one of its own words and with null otherwise.
//
// The contract every family keeps:
//  1. a null message: log the family's null-message text at level 4, return null;
//  2. an empty command name: return an Error reply with the family's text;
//  3. a lower-cased match with one of its words: run it, return its reply;
//  4. no match: return null.
class CommandHandlerBase {
 public:
  explicit CommandHandlerBase(Logger* logger);
  virtual ~CommandHandlerBase();
  CommandHandlerBase(const CommandHandlerBase&) = delete;
  CommandHandlerBase& operator=(const CommandHandlerBase&) = delete;

  virtual xpc_object_t handleCommand(std::string command, xpc_object_t message) = 0;

  // {"Response": "error", "Error": text}. Null when the request was sent without
  // expecting a reply, since then there is nothing to reply to.
  xpc_object_t createError(xpc_object_t message, std::string text);
  // {"Response": "Boolean", "Success": success}, or null as above.
  xpc_object_t createSuccessOrFailure(xpc_object_t message, bool success);
  // The string under `key`; empty when the key is missing or not a string.
  std::string getStringFromXpc(xpc_object_t message, std::string key);
  // The int64 under `key` as an int: 0 when the key is missing or not an
  // integer, -1 when the value lies beyond int, so that it is refused rather
  // than wrapped into a valid choice.
  int getIntFromXpc(xpc_object_t message, std::string key);

 protected:
  void log(unsigned char level, const std::string& text);
  // Whether the message is missing, after logging `text` at level 4 if it is:
  // a family's first step for the request and for each of its commands.
  bool noMessage(xpc_object_t message, const std::string& text);

  Logger* logger;
};
