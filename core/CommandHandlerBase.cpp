#include "CommandHandlerBase.h"

#include "ReplyBuilder.h"

CommandHandlerBase::CommandHandlerBase(Logger* logger) : logger(logger) {}

CommandHandlerBase::~CommandHandlerBase() {}

void CommandHandlerBase::log(LogLevel level, const std::string& text) {
  xpc::logLine(logger, level, text);
}

xpc_object_t CommandHandlerBase::createError(xpc_object_t message, std::string text) {
  return ReplyBuilder::error(message, text);
}

xpc_object_t CommandHandlerBase::createSuccessOrFailure(xpc_object_t message, bool success) {
  return ReplyBuilder::boolean(message, success);
}

xpc_object_t CommandHandlerBase::refuseMissing(const Request& request) {
  std::string missing = request.missing();
  return missing.empty() ? nullptr : createError(request.message, missing);
}

std::string CommandHandlerBase::getStringFromXpc(xpc_object_t message, std::string key) {
  const char* value = xpc_dictionary_get_string(message, key.c_str());
  return value == nullptr ? std::string() : std::string(value);
}
