#pragma once
// What a job plist in a LaunchDaemons folder asks for, in launchd.plist(5)
// terms. Only the keys this emulation acts on are kept.
#include <map>
#include <optional>
#include <string>
#include <vector>

class JobDefinition {
 public:
  // nullopt with `error` set when the file is not a usable job. A job of an
  // app bundle (`bundle` given) may name its program with BundleProgram,
  // relative to the bundle.
  static std::optional<JobDefinition> load(const std::string& path, std::string& error,
                                           const std::string& bundle = "");

  std::string path;    // the plist it came from
  std::string bundle;  // the app it was registered from, if any
  std::string label;
  std::string program;                 // executed file
  std::vector<std::string> arguments;  // argv, argv[0] included
  std::vector<std::string> machServices;
  std::map<std::string, std::string> environment;
  std::string workingDirectory;
  std::string standardOutPath;
  std::string standardErrorPath;
  bool runAtLoad = false;
  bool keepAlive = false;
  int throttleInterval = 10;  // launchd's default, in seconds

  bool operator==(const JobDefinition& other) const;
  bool operator!=(const JobDefinition& other) const { return !(*this == other); }
};
