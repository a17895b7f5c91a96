#pragma once
#include <xpc/xpc.h>

#include <atomic>
#include <string>

// The process's one log sink. Every line goes to the most recently attached
// client as a {"LogLine", "LogLevel"} message; with no client attached the line
// is dropped. Levels: 1 notable outcome, 3 warning, 4 error, 5 progress,
// 6 detail.
//
// There is no lock and the connection is not retained: the helper serves one
// client at a time and the connection's lifetime belongs to the XPC runtime.
// The last attach wins; each line reads the connection once, so a line being
// sent while another thread re-attaches goes to one connection or none.
class Logger {
 public:
  Logger();
  ~Logger();
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  void addLine(unsigned char level, std::string text);

  // Attaches a new client (or none). The previous client, if any, is told
  // first, so the farewell never reaches the new one.
  void setXpcConnection(xpc_connection_t newConnection);

 private:
  bool connectionSet;
  std::atomic<xpc_connection_t> connection;
};
