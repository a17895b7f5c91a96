// smappservice register | unregister | status APP.app PLIST
// smappservice approve | revoke APP.app PLIST
//
// The fake Mac's stand-in for what an app does with SMAppService's
// daemon(plistName:) (register, unregister, status), and for the user's
// Allow in the Background switch of the app in System Settings > General >
// Login Items (approve, revoke). launchd runs a daemon that is registered and
// approved from inside its app, and stops it when either is withdrawn.
//
// Exit status: 0; the Service Management error register() or unregister()
// returns (6 kSMErrorJobNotFound, 8 kSMErrorJobPlistNotFound, 10
// kSMErrorInvalidPlist, 11 kSMErrorLaunchDeniedByUser, 12
// kSMErrorAlreadyRegistered); 1 when approve or revoke fails; 64 on bad usage;
// 69 before macOS 13, which has no SMAppService.
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "DaemonService.h"
#include "Plist.h"

namespace {

const char kVersionFile[] = "/System/Library/CoreServices/SystemVersion.plist";
const char kRendezvous[] = "/var/run/xpc/";
const int kUsage = 64;
const int kUnavailable = 69;

int usage() {
  fprintf(stderr,
          "usage: smappservice register | unregister | status APP.app PLIST\n"
          "       smappservice approve | revoke APP.app PLIST\n");
  return kUsage;
}

// Like the framework's calls, returns once launchd has taken up (or dropped)
// the daemon's services.
bool waitForLaunchd(const DaemonService& service, bool held) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  for (const auto& name : service.machServices()) {
    struct stat st;
    auto isHeld = [&] { return stat((kRendezvous + name).c_str(), &st) == 0 && S_ISSOCK(st.st_mode); };
    while (isHeld() != held) {
      if (std::chrono::steady_clock::now() >= deadline) {
        fprintf(stderr, "smappservice: launchd did not %s %s (see /var/log/launchd.log)\n",
                held ? "take up" : "drop", name.c_str());
        return false;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }
  return true;
}

int switchApproval(const DaemonService& service, bool approved) {
  if (geteuid() != 0) {
    fprintf(stderr, "smappservice: only an administrator can change what runs in the background\n");
    return 1;
  }
  std::string error;
  if (!service.setApproved(approved, error)) {
    fprintf(stderr, "smappservice: %s\n", error.c_str());
    return 1;
  }
  printf("%s: %s in the background\n", service.label().c_str(), approved ? "allowed" : "not allowed");
  return waitForLaunchd(service, approved) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return usage();
  const std::string verb = argv[1];
  Plist version = Plist::load(kVersionFile);
  const std::string product = Plist::string(version.get(), "ProductVersion").value_or("0");
  if (std::atoi(product.c_str()) < 13) {
    fprintf(stderr, "smappservice: SMAppService needs macOS 13 or later; this Mac runs %s\n", product.c_str());
    return kUnavailable;
  }
  DaemonService service(BackgroundItems(BackgroundItems::kDefaultPath), argv[2], argv[3]);
  std::string error;
  if (verb == "status") {
    DaemonService::Status status = service.status();
    printf("%s (%d)\n", DaemonService::name(status), static_cast<int>(status));
    return 0;
  }
  if (verb == "register") {
    int result = service.registerService(error);
    if (result != 0) fprintf(stderr, "smappservice: register: %s (%d)\n", error.c_str(), result);
    return result;
  }
  if (verb == "unregister") {
    bool wasEnabled = service.status() == DaemonService::Status::Enabled;
    int result = service.unregisterService(error);
    if (result != 0) {
      fprintf(stderr, "smappservice: unregister: %s (%d)\n", error.c_str(), result);
      return result;
    }
    return !wasEnabled || waitForLaunchd(service, false) ? 0 : DaemonService::kSMErrorInternalFailure;
  }
  if (verb == "approve") return switchApproval(service, true);
  if (verb == "revoke") return switchApproval(service, false);
  return usage();
}
