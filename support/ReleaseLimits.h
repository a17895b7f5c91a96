#pragma once
// What a macOS release refuses that earlier ones allowed, or does its own way,
// said once in the client's log: what the system did and what the user does
// instead. The lines begin with the first release concerned ("macOS 11 and
// later ..."); refusals are errors (level 4), changed behaviour is
// information (level 5).

#include "LogSink.h"

namespace xpc {

class ReleaseLimits {
 public:
  enum class Limit {
    ProfileInstall,  // the profiles tool installs nothing (macOS 11)
    AdminTrust,      // admin trust settings need an administrator's password (macOS 11)
    NetworkOrder,    // the remembered networks' order no longer decides joins (macOS 13)
  };

  explicit ReleaseLimits(LogSink* logger) : logger(logger) {}

  // Logs the line of `limit` when the running release has it; true if it did.
  bool explain(Limit limit);

 private:
  LogSink* logger;
};

}  // namespace xpc
