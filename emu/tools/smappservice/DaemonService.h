#pragma once
// One launch daemon of an app bundle, as SMAppService's daemon(plistName:)
// sees it: its job plist in the app's Contents/Library/LaunchDaemons, and
// its entry among the background items (registered, and allowed to run or
// not). Statuses and error codes are Apple's, by value.
#include <string>
#include <vector>

#include "BackgroundItems.h"

class DaemonService {
 public:
  // SMAppServiceStatus.
  enum class Status { NotRegistered = 0, Enabled = 1, RequiresApproval = 2, NotFound = 3 };
  // The Service Management errors the emulation returns (SMErrors.h).
  enum Error {
    kSMErrorInternalFailure = 2,
    kSMErrorJobNotFound = 6,
    kSMErrorJobPlistNotFound = 8,
    kSMErrorInvalidPlist = 10,
    kSMErrorLaunchDeniedByUser = 11,
    kSMErrorAlreadyRegistered = 12,
  };

  // `bundle` is canonicalised here; `plistName` is a file name, not a path.
  DaemonService(BackgroundItems items, const std::string& bundle, std::string plistName);

  Status status() const;
  static const char* name(Status status);

  // 0, or the error register()/unregister() return; `error` says why.
  // Registering records the daemon as awaiting approval and, as the
  // framework does until the user approves it, answers kSMErrorLaunchDeniedByUser.
  int registerService(std::string& error) const;
  int unregisterService(std::string& error) const;

  // The Allow in the Background switch of System Settings. False when the
  // daemon is not registered.
  bool setApproved(bool approved, std::string& error) const;

  // From the job plist, for whoever waits on launchd.
  std::string label() const;
  std::vector<std::string> machServices() const;

 private:
  // Index of this daemon among `items`, or -1.
  int find(const std::vector<BackgroundItems::Item>& items) const;
  BackgroundItems::Item item() const { return {bundle_, plistName_, false}; }

  BackgroundItems items_;
  std::string bundle_;
  std::string plistName_;
};
