#pragma once
#include <xpc/xpc.h>

#include <string>
#include <vector>

#include "Logger.h"
#include "Request.h"
#include "StringTools.h"

// Base of the command families. The router offers each request to the
// families in a fixed order; a family answers with a reply dictionary when the
// command is one of its own words and with null otherwise.
//
// Every family is a table of commands handed to dispatch(), which keeps the
// contract once for all of them:
//  1. a null message: log the family's null-message text as an error, return null;
//  2. an empty command name: return an Error reply with the family's text;
//  3. a (lower-cased) match with one of its words: read the row's required
//     arguments (an Error reply names the first one missing), run the
//     handler, return its reply; a handler that first opens what it works on
//     (so that the opening is logged even for a refused request) checks the
//     arguments itself, with refuseMissing();
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
  static std::string getStringFromXpc(xpc_object_t message, std::string key);

 protected:
  // When a row's required arguments are checked: before its handler runs, or
  // by the handler (refuseMissing()) once it has opened what it works on.
  enum class ArgumentCheck { BeforeHandler, ByHandler };
  // One row of a family's table: the word, its handler, and the arguments
  // the handler cannot do without, in the order they are checked.
  template <typename Family>
  struct Command {
    const char* word;
    xpc_object_t (Family::*handler)(const Request& request);
    std::vector<Request::Required> required;
    ArgumentCheck check = ArgumentCheck::BeforeHandler;
  };
  // What a family answers when there is nothing to look up.
  struct FamilyTexts {
    const char* noMessage;
    const char* noCommand;
    // One family takes its words only as written.
    bool caseSensitive;
  };

  template <typename Family, size_t N>
  xpc_object_t dispatch(const std::string& command, xpc_object_t message,
                        const FamilyTexts& texts, const Command<Family> (&table)[N]) {
    if (message == nullptr) {
      log(LogLevel::Error, texts.noMessage);
      return nullptr;
    }
    if (command.empty()) return createError(message, texts.noCommand);
    std::string word = texts.caseSensitive ? command : xpc::StringTools::stringToLower(command);
    for (const Command<Family>& row : table) {
      if (word != row.word) continue;
      Request request(message, row.required);
      if (row.check == ArgumentCheck::BeforeHandler) {
        if (xpc_object_t refusal = refuseMissing(request)) return refusal;
      }
      return (static_cast<Family*>(this)->*row.handler)(request);
    }
    return nullptr;
  }

  // The Error reply naming the request's first missing required argument,
  // or null when it has them all.
  xpc_object_t refuseMissing(const Request& request);

  void log(LogLevel level, const std::string& text);

  Logger* logger;
};
