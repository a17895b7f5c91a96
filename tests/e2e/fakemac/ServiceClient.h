#pragma once
// A client of a Mach service's rendezvous socket: connects and exchanges
// lines, each bounded by a timeout so that a hang fails a test instead of
// stalling it.
#include <chrono>
#include <optional>
#include <string>

class ServiceClient {
 public:
  explicit ServiceClient(const std::string& serviceName);
  ~ServiceClient();
  ServiceClient(const ServiceClient&) = delete;
  ServiceClient& operator=(const ServiceClient&) = delete;

  // 0 when connected, else the errno of the failed connect.
  int connectError() const { return connectError_; }

  // The reply line without its newline; nullopt when there is no connection
  // or it closed, failed or timed out first.
  std::optional<std::string> request(const std::string& line,
                                     std::chrono::seconds timeout = std::chrono::seconds(10));

  // A fresh connection for a single request.
  static std::optional<std::string> once(const std::string& serviceName, const std::string& line);

 private:
  int fd_ = -1;
  int connectError_ = 0;
};
