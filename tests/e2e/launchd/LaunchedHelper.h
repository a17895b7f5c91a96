#pragma once
// Looking at a helper launchd started: who serves a ping, and from where.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <string>

#include "XpcTestClient.h"

inline std::string executableOf(pid_t pid) {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/exe", error).string();
}

inline bool processExists(pid_t pid) { return kill(pid, 0) == 0; }

// Pings the service on a connection of its own and answers the serving process.
inline pid_t pingService(const std::string& label) {
  XpcTestClient client(label);
  xpc::XpcRef reply = client.sendCommand("ping");
  EXPECT_EQ(replyString(reply.get(), "Response"), "pong");
  return xpc_connection_get_pid(client.connection());
}
