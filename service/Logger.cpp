#include "Logger.h"

Logger::Logger() : connectionSet(false), connection(nullptr) {}

// Deliberately leaves the connection alone: it belongs to the XPC runtime.
Logger::~Logger() {}

void Logger::addLine(unsigned char level, std::string text) {
  xpc_connection_t target = connection.load();
  if (target == nullptr) return;

  xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_string(message, "LogLine", text.c_str());
  xpc_dictionary_set_int64(message, "LogLevel", level);
  xpc_connection_send_message(target, message);
  xpc_release(message);
}

void Logger::setXpcConnection(xpc_connection_t newConnection) {
  if (connection.load() != nullptr) addLine(5, "Set a new logging connection.");
  connection.store(newConnection);
  connectionSet = true;
}
