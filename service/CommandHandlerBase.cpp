#include "CommandHandlerBase.h"

#include <climits>

#include "LogLine.h"
#include "ReplyBuilder.h"

CommandHandlerBase::CommandHandlerBase(Logger* logger) : logger(logger) {}

CommandHandlerBase::~CommandHandlerBase() {}

void CommandHandlerBase::log(unsigned char level, const std::string& text) {
  xpc::logLine(logger, level, text);
}

bool CommandHandlerBase::noMessage(xpc_object_t message, const std::string& text) {
  if (message != nullptr) return false;
  log(4, text);
  return true;
}

xpc_object_t CommandHandlerBase::createError(xpc_object_t message, std::string text) {
  return ReplyBuilder::error(message, text);
}

xpc_object_t CommandHandlerBase::createSuccessOrFailure(xpc_object_t message, bool success) {
  return ReplyBuilder::boolean(message, success);
}

std::string CommandHandlerBase::getStringFromXpc(xpc_object_t message, std::string key) {
  const char* value = xpc_dictionary_get_string(message, key.c_str());
  return value == nullptr ? std::string() : std::string(value);
}

int CommandHandlerBase::getIntFromXpc(xpc_object_t message, std::string key) {
  int64_t value = xpc_dictionary_get_int64(message, key.c_str());
  return (value < INT_MIN || value > INT_MAX) ? -1 : static_cast<int>(value);
}
