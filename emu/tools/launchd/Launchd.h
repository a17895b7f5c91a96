#pragma once
// PID 1 of the fake Mac. Loads the job plists of the LaunchDaemons folders
// and those of the daemons apps registered and the user allowed to run,
// holds their Mach services and starts a job when a client first connects to
// one (or at load, for RunAtLoad/KeepAlive jobs), reaps every process, and
// follows the folders so that installed and removed helpers take effect at
// once. With a session command it runs that too and exits with its status,
// which ends the fake Mac.
#include <sys/types.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Job.h"
#include "Log.h"

class Launchd {
 public:
  struct Options {
    std::vector<std::string> jobDirs;
    std::string backgroundItems;  // daemons registered from app bundles (BackgroundItems.h)
    std::string rendezvousDir;
    std::string logPath;
    int readyFd = -1;                  // gets "ready\n" once the jobs are loaded
    std::vector<std::string> session;  // command to run, if any
  };

  explicit Launchd(Options options);
  ~Launchd();
  Launchd(const Launchd&) = delete;
  Launchd& operator=(const Launchd&) = delete;

  // Returns the exit status for the process.
  int run();

 private:
  void rescan();
  void watch(const std::string& dir);
  void unload(const std::string& label, const char* why);
  void startJob(Job& job);
  void startOnDemand(const std::string& label);
  void startDueJobs();
  void handleSignals();
  void reap();
  int pollTimeoutMs() const;

  Options options_;
  Log log_;
  int signalFd_ = -1;
  int inotifyFd_ = -1;
  std::map<std::string, std::unique_ptr<Job>> jobs_;  // by label
  std::map<pid_t, std::string> unloadedProcesses_;    // still running after unload
  std::map<std::string, std::string> complaints_;     // plist path -> last error logged
  pid_t sessionPid_ = 0;
  bool done_ = false;
  int exitStatus_ = 0;
};
