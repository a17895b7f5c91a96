#include "Logger.h"

namespace {

void send(xpc_connection_t target, unsigned char level, const std::string& text) {
  if (target == nullptr) return;
  xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_string(message, "LogLine", text.c_str());
  xpc_dictionary_set_int64(message, "LogLevel", level);
  xpc_connection_send_message(target, message);
  xpc_release(message);
}

}  // namespace

Logger::Logger() : connectionSet(false), connection(nullptr), requestConnection(nullptr) {}

// Deliberately leaves the connections alone: they belong to the XPC runtime.
Logger::~Logger() {}

void Logger::addLine(unsigned char level, std::string text) {
  xpc_connection_t requester = requestConnection.load();
  send(requester != nullptr ? requester : connection.load(), level, text);
}

void Logger::setRequestConnection(xpc_connection_t requester) { requestConnection.store(requester); }

void Logger::setXpcConnection(xpc_connection_t newConnection) {
  // The farewell goes to the client being detached, never to the new one.
  send(connection.load(), static_cast<unsigned char>(LogLevel::Progress), "Set a new logging connection.");
  connection.store(newConnection);
  connectionSet = true;
}
