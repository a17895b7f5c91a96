#pragma once
#include <xpc/xpc.h>

#include <string>

#include "CommandHandlerBase.h"

// The housekeeping commands that act as root on the machine, among them the
// removal of a remembered Wi-Fi network.
class MiscConfigurationSettings : public CommandHandlerBase {
 public:
  explicit MiscConfigurationSettings(Logger* logger);

  xpc_object_t handleCommand(std::string command, xpc_object_t message) override;

  // One handler per command word; a null message is logged and gets no reply.
  xpc_object_t deleteNetworkConfigForSsid(xpc_object_t message);

  // One row of the command table: the word and its handler.
  struct Command;

 private:
  void log(unsigned char level, const std::string& text);
};
