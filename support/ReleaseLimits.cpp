#include "ReleaseLimits.h"

#include "OsRelease.h"

namespace xpc {

namespace {

struct Explanation {
  ReleaseLimits::Limit limit;
  int since;
  LogLevel level;
  const char* text;
};

const Explanation kExplanations[] = {
    {ReleaseLimits::Limit::ProfileInstall, 11, LogLevel::Error,
     "macOS 11 and later refuse to install configuration profiles from the command line: the user must "
     "open the profile file and approve its installation in System Settings (System Preferences before "
     "macOS 13)."},
    {ReleaseLimits::Limit::AdminTrust, 11, LogLevel::Error,
     "macOS 11 and later refuse to change the admin trust settings without an administrator's password, "
     "even for root: the certificate is in the System keychain but not trusted; the user must open it in "
     "Keychain Access and set it to Always Trust."},
    {ReleaseLimits::Limit::NetworkOrder, 13, LogLevel::Progress,
     "macOS 13 and later choose among remembered networks by their own ranking: the order was saved, "
     "but it no longer decides which network is joined."},
};

}  // namespace

bool ReleaseLimits::explain(Limit limit) {
  for (const Explanation& row : kExplanations) {
    if (row.limit != limit) continue;
    if (!OsRelease::running().atLeast(row.since)) return false;
    logLine(logger, row.level, row.text);
    return true;
  }
  return false;
}

}  // namespace xpc
