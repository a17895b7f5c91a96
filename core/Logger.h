#pragma once
#include <xpc/xpc.h>

#include <atomic>
#include <string>
#include <utility>

#include "LogSink.h"

// The process's one log sink. Every line goes to the most recently attached
// client as a {"LogLine", "LogLevel"} message; with no client attached the line
// is dropped.
//
// While a request runs, its lines go to the client that sent it instead,
// whichever client is attached: with several clients, each sees only the
// lines of its own requests.
//
// There is no lock and the connections are not retained: the helper handles
// one event at a time and a connection's lifetime belongs to the XPC runtime.
// Each line reads its destination once, so a line being sent while another
// thread re-attaches goes to one connection or none.
class Logger : public LogSink {
 public:
  Logger();
  ~Logger();
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  void addLine(unsigned char level, std::string text) override;
  void addLine(LogLevel level, std::string text) {
    addLine(static_cast<unsigned char>(level), std::move(text));
  }

  // Attaches a new client (or none). The previous client, if any, is told
  // first, so the farewell never reaches the new one.
  void setXpcConnection(xpc_connection_t newConnection);

  // The client whose request is running (null when none is): its lines go
  // to it. Sends nothing by itself.
  void setRequestConnection(xpc_connection_t requester);

 private:
  bool connectionSet;
  std::atomic<xpc_connection_t> connection;
  std::atomic<xpc_connection_t> requestConnection;
};
