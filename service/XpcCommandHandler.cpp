#include "XpcCommandHandler.h"

#include <cstdlib>

#include "InterfaceConfigurationSettings.h"
#include "KeychainConfigurationSettings.h"
#include "Logger.h"
#include "MiscConfigurationSettings.h"
#include "ReplyBuilder.h"
#include "RequestLimits.h"
#include "SystemConfigurationSettings.h"

namespace {

// In the order commands are offered.
XpcCommandHandler::Families helperFamilies(Logger* logger) {
  XpcCommandHandler::Families families;
  families.push_back(std::make_unique<SystemConfigurationSettings>(logger));
  families.push_back(std::make_unique<InterfaceConfigurationSettings>(logger));
  families.push_back(std::make_unique<MiscConfigurationSettings>(logger));
  families.push_back(std::make_unique<KeychainConfigurationSettings>(logger));
  return families;
}

}  // namespace

XpcCommandHandler::XpcCommandHandler(Logger* logger)
    : XpcCommandHandler(logger, helperFamilies(logger)) {}

XpcCommandHandler::XpcCommandHandler(Logger* logger, Families families)
    : handlers(std::move(families)), logger(logger) {}

XpcCommandHandler::~XpcCommandHandler() {
  // Families go in list order, whatever order the container would choose.
  for (auto& family : handlers) family.reset();
}

void XpcCommandHandler::handleCommand(xpc_connection_t connection, xpc_object_t message) {
  if (xpc_get_type(message) != XPC_TYPE_DICTIONARY) {
    // There is no request dictionary to answer, so no reply can be built.
    log(LogLevel::Error, "Data sent to the helper app was not in the form of a dictionary!");
    return;
  }
  xpc_object_t reply = handleDictionaryCommand(connection, message);
  if (reply == nullptr) {
    log(LogLevel::Error, "The request did not expect a reply, so none was sent.");
    return;
  }

  xpc_connection_send_message(connection, reply);
  log(LogLevel::Progress, "Sent response.");
  xpc_release(reply);
  log(LogLevel::Progress, "Freed memory.");
}

xpc_object_t XpcCommandHandler::handleDictionaryCommand(xpc_connection_t /*connection*/,
                                                        xpc_object_t message) {
  const char* value = xpc_dictionary_get_string(message, "Command");
  if (value == nullptr) return createError(message, "Command value was NULL!");
  std::string refusal = RequestLimits::check(message);
  if (!refusal.empty()) return createError(message, refusal);

  // The built-ins are matched exactly, before any family sees the word.
  static const struct {
    const char* word;
    const char* progress;
    xpc_object_t (XpcCommandHandler::*handler)(const Request&);
  } kBuiltIns[] = {
      {"ping", "Handling ping..", &XpcCommandHandler::handlePing},
      {"getversion", "Handling 'get version' request.", &XpcCommandHandler::handleGetVersion},
      {"terminate", "Handling 'terminate' request.", &XpcCommandHandler::terminate},
  };
  std::string command(value);
  log(LogLevel::Progress, "Got command : " + command);
  for (const auto& row : kBuiltIns) {
    if (command != row.word) continue;
    log(LogLevel::Progress, row.progress);
    return (this->*row.handler)(Request(message));
  }

  for (auto& family : handlers) {
    if (!family) continue;
    xpc_object_t reply = family->handleCommand(command, message);
    if (reply != nullptr) return reply;
  }

  log(LogLevel::Progress, "Creating error result!");
  return createError(message, "Unknown/Invalid command!");
}

xpc_object_t XpcCommandHandler::createError(xpc_object_t message, std::string text) {
  xpc_object_t reply = ReplyBuilder::error(message, text);
  log(LogLevel::Progress, "Created error result.");
  return reply;
}

xpc_object_t XpcCommandHandler::handlePing(const Request& request) {
  xpc_object_t reply = ReplyBuilder::pong(request.message);
  log(LogLevel::Progress, "Created ping result.");
  return reply;
}

xpc_object_t XpcCommandHandler::handleGetVersion(const Request& request) {
  xpc_object_t reply = ReplyBuilder::version(request.message);
  log(LogLevel::Progress, "Created version result.");
  return reply;
}

// Ends the helper with no reply: the client sees its connection end.
xpc_object_t XpcCommandHandler::terminate(const Request& /*request*/) { exit(0); }

void XpcCommandHandler::log(LogLevel level, std::string text) {
  if (logger != nullptr) logger->addLine(level, text);
}
