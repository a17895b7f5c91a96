#include "Job.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "Log.h"
#include "ProcessLauncher.h"

namespace {

// Passed on from launchd's own environment so that sanitizer and coverage
// settings of a test run reach the daemons it starts.
const char* const kInheritedVariables[] = {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS",
                                           "LLVM_PROFILE_FILE"};

}  // namespace

Job::Job(JobDefinition definition, std::string rendezvousDir)
    : definition_(std::move(definition)), rendezvousDir_(std::move(rendezvousDir)) {}

void Job::update(JobDefinition definition) {
  definition_ = std::move(definition);
  const auto& names = definition_.machServices;
  services_.erase(std::remove_if(services_.begin(), services_.end(),
                                 [&](const auto& service) {
                                   return std::find(names.begin(), names.end(), service->name()) ==
                                          names.end();
                                 }),
                  services_.end());
}

void Job::openServices(Log& log) {
  for (const auto& name : definition_.machServices) {
    auto it = std::find_if(services_.begin(), services_.end(),
                           [&](const auto& service) { return service->name() == name; });
    if (it == services_.end()) {
      services_.push_back(std::make_unique<MachService>(rendezvousDir_, name));
      it = services_.end() - 1;
    }
    MachService& service = **it;
    if (service.isOpen()) continue;
    std::string error;
    switch (service.open(error)) {
      case MachService::OpenResult::Opened:
        log.write("%s: listening for %s", definition_.label.c_str(), name.c_str());
        break;
      case MachService::OpenResult::Taken:
      case MachService::OpenResult::Failed:
        log.write("%s: cannot hold %s: %s", definition_.label.c_str(), name.c_str(), error.c_str());
        break;
    }
  }
}

bool Job::hasPendingServices() const {
  return services_.size() < definition_.machServices.size() ||
         std::any_of(services_.begin(), services_.end(),
                     [](const auto& service) { return !service->isOpen(); });
}

void Job::closeServices() {
  for (auto& service : services_) service->close();
  services_.clear();
}

std::vector<std::string> Job::environment() const {
  std::vector<std::string> env = {"PATH=/usr/bin:/bin:/usr/sbin:/sbin",
                                  "HOME=/var/root",
                                  "USER=root",
                                  "LOGNAME=root",
                                  "SHELL=/bin/sh",
                                  "XPC_SERVICE_NAME=" + definition_.label,
                                  "XPC_FLAGS=0x0"};
  for (const char* name : kInheritedVariables) {
    if (const char* value = getenv(name)) env.push_back(std::string(name) + "=" + value);
  }
  std::string listeners;
  for (const auto& service : services_) {
    if (!service->isOpen()) continue;
    if (!listeners.empty()) listeners += ",";
    listeners += service->name() + "=" + std::to_string(service->fd());
  }
  if (!listeners.empty()) env.push_back("XPC_EMU_LISTENER_FDS=" + listeners);
  for (const auto& [name, value] : definition_.environment) env.push_back(name + "=" + value);
  return env;
}

bool Job::start(std::string& error) {
  ProcessLauncher::Options options;
  options.program = definition_.program;
  options.arguments = definition_.arguments;
  options.environment = environment();
  for (const auto& service : services_) {
    if (service->isOpen()) options.inheritedFds.push_back(service->fd());
  }
  options.daemon = true;
  options.standardOutPath = definition_.standardOutPath;
  options.standardErrorPath = definition_.standardErrorPath;
  options.workingDirectory =
      definition_.workingDirectory.empty() ? "/" : definition_.workingDirectory;
  startedAt_ = Clock::now();
  pid_ = ProcessLauncher::launch(options, error);
  if (pid_ < 0) {
    pid_ = 0;
    throttle();
    return false;
  }
  return true;
}

std::string Job::exited(int status) {
  pid_ = 0;
  const bool clean = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  // A clean exit is how an on-demand daemon goes idle: the next client may
  // start it again at once. A crash waits out the throttle interval.
  if (clean && !definition_.keepAlive) {
    notBefore_ = Clock::now();
  } else {
    throttle();
  }
  if (WIFEXITED(status)) return "exited with status " + std::to_string(WEXITSTATUS(status));
  if (WIFSIGNALED(status)) return std::string("killed by signal ") + strsignal(WTERMSIG(status));
  return "ended";
}

void Job::throttle() {
  notBefore_ = startedAt_ + std::chrono::seconds(definition_.throttleInterval);
}
