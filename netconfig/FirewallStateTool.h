#pragma once
// The application firewall's global state through its own command-line tool,
// /usr/libexec/ApplicationFirewall/socketfilterfw: from macOS 15 on no
// property list holds the state, and the tool is the supported way to set it.

class Logger;

class FirewallStateTool {
 public:
  explicit FirewallStateTool(Logger* logger) : logger(logger) {}

  // `on` turns the firewall on; false after logging when the tool failed.
  bool setGlobalState(bool on);

 private:
  Logger* logger;
};
