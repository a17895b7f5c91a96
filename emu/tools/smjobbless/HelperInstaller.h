#pragma once
// Installs a privileged helper the way the blessing mechanism does on a Mac:
// the executable goes to PrivilegedHelperTools/<Label> and its embedded
// launchd.plist, with Program added, to LaunchDaemons/<Label>.plist, where
// launchd picks it up.
#include <chrono>
#include <optional>
#include <string>
#include <vector>

class HelperInstaller {
 public:
  struct Paths {
    std::string helperTools = "/Library/PrivilegedHelperTools";
    std::string launchDaemons = "/Library/LaunchDaemons";
    std::string rendezvous = "/var/run/xpc";
  };

  struct Installed {
    std::string label;
    std::string program;
    std::string plist;
    std::vector<std::string> machServices;
  };

  explicit HelperInstaller(Paths paths) : paths_(std::move(paths)) {}

  // Refuses (nullopt, `error` set) a file that lacks either embedded plist or
  // whose CFBundleIdentifier is not its Label; installs nothing then.
  std::optional<Installed> install(const std::string& executable, std::string& error) const;

  // Like SMJobBless, returns only once launchd holds the job's services.
  bool waitUntilLoaded(const Installed& installed, std::chrono::milliseconds timeout,
                       std::string& error) const;

 private:
  Paths paths_;
};
