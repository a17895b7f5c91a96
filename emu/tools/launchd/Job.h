#pragma once
// A loaded job: its definition, the Mach services launchd holds for it, and
// the process while one runs.
#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "JobDefinition.h"
#include "MachService.h"

class Log;

class Job {
 public:
  using Clock = std::chrono::steady_clock;

  Job(JobDefinition definition, std::string rendezvousDir);

  const JobDefinition& definition() const { return definition_; }
  // Takes a changed definition; services it no longer names are dropped.
  void update(JobDefinition definition);

  // Opens the services not open yet. A service another process holds stays
  // closed; hasPendingServices() tells the caller to try again later.
  void openServices(Log& log);
  bool hasPendingServices() const;
  void closeServices();
  const std::vector<std::unique_ptr<MachService>>& services() const { return services_; }

  bool running() const { return pid_ > 0; }
  pid_t pid() const { return pid_; }
  // The earliest time a new process may be started (launchd's throttling).
  Clock::time_point notBefore() const { return notBefore_; }

  bool start(std::string& error);
  // Records the end of the process; returns a description for the log.
  std::string exited(int status);
  // After a failed start, so that a waiting client does not make launchd spin.
  void throttle();

 private:
  std::vector<std::string> environment() const;

  JobDefinition definition_;
  std::string rendezvousDir_;
  std::vector<std::unique_ptr<MachService>> services_;
  pid_t pid_ = 0;
  Clock::time_point startedAt_{};
  Clock::time_point notBefore_{};
};
