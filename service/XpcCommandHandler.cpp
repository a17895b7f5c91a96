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
    log(4, "Data sent to the helper app was not in the form of a dictionary!");
    return;
  }
  xpc_object_t reply = handleDictionaryCommand(connection, message);
  if (reply == nullptr) {
    log(4, "The request did not expect a reply, so none was sent.");
    return;
  }

  xpc_connection_send_message(connection, reply);
  log(5, "Sent response.");
  xpc_release(reply);
  log(5, "Freed memory.");
}

xpc_object_t XpcCommandHandler::handleDictionaryCommand(xpc_connection_t /*connection*/,
                                                        xpc_object_t message) {
  const char* value = xpc_dictionary_get_string(message, "Command");
  if (value == nullptr) return createError(message, "Command value was NULL!");
  std::string refusal = RequestLimits::check(message);
  if (!refusal.empty()) return createError(message, refusal);

  std::string command(value);
  log(5, "Got command : " + command);

  if (command == "ping") {
    log(5, "Handling ping..");
    return handlePing(message);
  }
  if (command == "getversion") {
    log(5, "Handling 'get version' request.");
    return handleGetVersion(message);
  }
  if (command == "terminate") {
    log(5, "Handling 'terminate' request.");
    exit(0);
  }

  for (auto& family : handlers) {
    if (!family) continue;
    xpc_object_t reply = family->handleCommand(command, message);
    if (reply != nullptr) return reply;
  }

  log(5, "Creating error result!");
  return createError(message, "Unknown/Invalid command!");
}

xpc_object_t XpcCommandHandler::createError(xpc_object_t message, std::string text) {
  xpc_object_t reply = ReplyBuilder::error(message, text);
  log(5, "Created error result.");
  return reply;
}

xpc_object_t XpcCommandHandler::handlePing(xpc_object_t message) {
  xpc_object_t reply = ReplyBuilder::pong(message);
  log(5, "Created ping result.");
  return reply;
}

xpc_object_t XpcCommandHandler::handleGetVersion(xpc_object_t message) {
  xpc_object_t reply = ReplyBuilder::version(message);
  log(5, "Created version result.");
  return reply;
}

void XpcCommandHandler::log(unsigned char level, std::string text) {
  if (logger != nullptr) logger->addLine(level, text);
}
