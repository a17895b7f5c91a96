#include "ServiceClient.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

ServiceClient::ServiceClient(const std::string& serviceName) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  snprintf(address.sun_path, sizeof address.sun_path, "/var/run/xpc/%s", serviceName.c_str());
  fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    connectError_ = errno;
    close(fd_);
    fd_ = -1;
  }
}

ServiceClient::~ServiceClient() {
  if (fd_ >= 0) close(fd_);
}

std::optional<std::string> ServiceClient::request(const std::string& line,
                                                  std::chrono::seconds timeout) {
  if (fd_ < 0) return std::nullopt;
  const std::string message = line + "\n";
  if (send(fd_, message.data(), message.size(), MSG_NOSIGNAL) !=
      static_cast<ssize_t>(message.size())) {
    return std::nullopt;
  }
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  std::string reply;
  for (;;) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    pollfd pfd{fd_, POLLIN, 0};
    if (left.count() <= 0 || poll(&pfd, 1, static_cast<int>(left.count())) <= 0) {
      return std::nullopt;
    }
    char c;
    if (read(fd_, &c, 1) != 1) return std::nullopt;
    if (c == '\n') return reply;
    reply += c;
  }
}

std::optional<std::string> ServiceClient::once(const std::string& serviceName,
                                               const std::string& line) {
  ServiceClient client(serviceName);
  return client.request(line);
}
