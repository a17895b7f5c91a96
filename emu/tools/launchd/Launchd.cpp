#include "Launchd.h"

#include <dirent.h>
#include <poll.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "BackgroundItems.h"
#include "ProcessLauncher.h"

namespace {

bool endsWith(const std::string& s, const char* suffix) {
  size_t n = strlen(suffix);
  return s.size() >= n && s.compare(s.size() - n, n, suffix) == 0;
}

void makeDirectories(const std::string& path) {
  for (size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
    mkdir(path.substr(0, slash).c_str(), 0755);
    if (slash == std::string::npos) break;
  }
}

int statusCode(int status) {
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return 1;
}

}  // namespace

Launchd::Launchd(Options options) : options_(std::move(options)), log_(options_.logPath) {}

Launchd::~Launchd() {
  jobs_.clear();
  if (signalFd_ >= 0) close(signalFd_);
  if (inotifyFd_ >= 0) close(inotifyFd_);
}

int Launchd::run() {
  sigset_t handled;
  sigemptyset(&handled);
  for (int sig : {SIGCHLD, SIGTERM, SIGINT, SIGQUIT, SIGHUP}) sigaddset(&handled, sig);
  sigprocmask(SIG_BLOCK, &handled, nullptr);
  signal(SIGPIPE, SIG_IGN);
  signalFd_ = signalfd(-1, &handled, SFD_CLOEXEC | SFD_NONBLOCK);
  inotifyFd_ = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  log_.write("starting");
  makeDirectories(options_.rendezvousDir);
  if (!options_.backgroundItems.empty()) {
    makeDirectories(options_.backgroundItems.substr(0, options_.backgroundItems.rfind('/')));
  }

  rescan();
  if (!options_.session.empty()) {
    ProcessLauncher::Options session;
    session.program = options_.session.front();
    session.arguments = options_.session;
    std::string error;
    sessionPid_ = ProcessLauncher::launch(session, error);
    if (sessionPid_ < 0) {
      fprintf(stderr, "launchd: %s\n", error.c_str());
      return 127;
    }
  }
  if (options_.readyFd >= 0) {
    (void)!write(options_.readyFd, "ready\n", 6);
    close(options_.readyFd);
  }

  while (!done_) {
    startDueJobs();
    std::vector<pollfd> fds = {{signalFd_, POLLIN, 0}, {inotifyFd_, POLLIN, 0}};
    std::vector<std::string> owners;  // label per socket; jobs may go away meanwhile
    const auto now = Job::Clock::now();
    for (const auto& [label, job] : jobs_) {
      if (job->running() || now < job->notBefore()) continue;
      for (const auto& service : job->services()) {
        if (!service->isOpen()) continue;
        fds.push_back({service->fd(), POLLIN, 0});
        owners.push_back(label);
      }
    }
    if (poll(fds.data(), fds.size(), pollTimeoutMs()) < 0 && errno != EINTR) {
      log_.write("poll: %s", strerror(errno));
      return 1;
    }
    if (fds[0].revents) handleSignals();
    if (done_) break;
    if (fds[1].revents) {
      char buffer[4096];
      while (read(inotifyFd_, buffer, sizeof buffer) > 0) {
      }
      rescan();
    }
    for (size_t i = 2; i < fds.size(); ++i) {
      if (fds[i].revents) startOnDemand(owners[i - 2]);
    }
    if (std::any_of(jobs_.begin(), jobs_.end(),
                    [](const auto& entry) { return entry.second->hasPendingServices(); })) {
      for (auto& [label, job] : jobs_) job->openServices(log_);
    }
  }
  log_.write("exiting with status %d", exitStatus_);
  return exitStatus_;
}

void Launchd::rescan() {
  std::map<std::string, JobDefinition> found;
  auto consider = [&](const std::string& path, const std::string& bundle) {
    std::string error;
    std::optional<JobDefinition> definition = JobDefinition::load(path, error, bundle);
    if (definition && access(definition->program.c_str(), X_OK) != 0) {
      error = "program " + definition->program + " is missing";
      definition.reset();
    }
    if (definition && found.count(definition->label)) {
      error = "label " + definition->label + " is already defined by " + found[definition->label].path;
      definition.reset();
    }
    if (!definition) {
      if (complaints_[path] != error) log_.write("ignoring %s: %s", path.c_str(), error.c_str());
      complaints_[path] = error;
      return;
    }
    complaints_.erase(path);
    found.emplace(definition->label, std::move(*definition));
  };

  for (const auto& dir : options_.jobDirs) {
    watch(dir);
    DIR* d = opendir(dir.c_str());
    if (!d) continue;
    std::vector<std::string> names;
    while (dirent* entry = readdir(d)) {
      std::string name = entry->d_name;
      if (name[0] != '.' && endsWith(name, ".plist")) names.push_back(name);
    }
    closedir(d);
    std::sort(names.begin(), names.end());
    for (const auto& name : names) consider(dir + "/" + name, "");
  }
  // Daemons registered from app bundles run only once the user allowed them.
  if (!options_.backgroundItems.empty()) {
    watch(options_.backgroundItems.substr(0, options_.backgroundItems.rfind('/')));
    for (const auto& item : BackgroundItems(options_.backgroundItems).load()) {
      if (item.approved) consider(item.jobPlistPath(), item.bundle);
    }
  }

  std::vector<std::string> gone;
  for (const auto& [label, job] : jobs_) {
    if (!found.count(label)) gone.push_back(label);
  }
  for (const auto& label : gone) unload(label, "its plist or program is gone, or its app withdrew it");

  for (auto& [label, definition] : found) {
    auto it = jobs_.find(label);
    if (it == jobs_.end()) {
      log_.write("loading %s from %s", label.c_str(), definition.path.c_str());
      auto job = std::make_unique<Job>(std::move(definition), options_.rendezvousDir);
      job->openServices(log_);
      Job& loaded = *jobs_.emplace(label, std::move(job)).first->second;
      if (loaded.definition().runAtLoad || loaded.definition().keepAlive) startJob(loaded);
    } else if (it->second->definition() != definition) {
      log_.write("reloading %s from %s", label.c_str(), definition.path.c_str());
      it->second->update(std::move(definition));
      it->second->openServices(log_);
    }
  }
}

void Launchd::watch(const std::string& dir) {
  if (inotifyFd_ < 0) return;
  inotify_add_watch(inotifyFd_, dir.c_str(),
                    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_CLOSE_WRITE | IN_ATTRIB |
                        IN_ONLYDIR);
}

void Launchd::unload(const std::string& label, const char* why) {
  auto it = jobs_.find(label);
  if (it == jobs_.end()) return;
  log_.write("unloading %s: %s", label.c_str(), why);
  if (it->second->running()) {
    unloadedProcesses_[it->second->pid()] = label;
    // A daemon of an app that was unregistered or no longer allowed to run
    // is terminated, as the system does for such a daemon. Any other running
    // process is left to finish what it is doing: a helper that uninstalls
    // itself removes its files and then exits on its own.
    if (!it->second->definition().bundle.empty()) {
      log_.write("%s: terminating pid %d", label.c_str(), static_cast<int>(it->second->pid()));
      kill(it->second->pid(), SIGTERM);
    }
  }
  jobs_.erase(it);
}

void Launchd::startJob(Job& job) {
  std::string error;
  if (job.start(error)) {
    log_.write("%s: started pid %d", job.definition().label.c_str(), static_cast<int>(job.pid()));
  } else {
    log_.write("%s: %s", job.definition().label.c_str(), error.c_str());
  }
}

void Launchd::startOnDemand(const std::string& label) {
  auto it = jobs_.find(label);
  if (it == jobs_.end() || it->second->running()) return;
  // The folder watch may lag behind a removal; never start what is gone.
  struct stat st;
  const JobDefinition& definition = it->second->definition();
  if (stat(definition.path.c_str(), &st) != 0 || access(definition.program.c_str(), X_OK) != 0) {
    rescan();
    it = jobs_.find(label);
    if (it == jobs_.end()) return;
  }
  startJob(*it->second);
}

void Launchd::startDueJobs() {
  const auto now = Job::Clock::now();
  for (auto& [label, job] : jobs_) {
    if (job->definition().keepAlive && !job->running() && now >= job->notBefore()) startJob(*job);
  }
}

int Launchd::pollTimeoutMs() const {
  const auto now = Job::Clock::now();
  long long timeout = -1;
  auto atMost = [&](long long ms) { timeout = timeout < 0 ? ms : std::min(timeout, ms); };
  for (const auto& [label, job] : jobs_) {
    if (job->hasPendingServices()) atMost(1000);
    if (job->running() || job->notBefore() <= now) continue;
    auto wait = std::chrono::duration_cast<std::chrono::milliseconds>(job->notBefore() - now);
    atMost(wait.count() + 1);
  }
  return static_cast<int>(std::min<long long>(timeout, INT_MAX));
}

void Launchd::handleSignals() {
  signalfd_siginfo info;
  while (read(signalFd_, &info, sizeof info) == sizeof info) {
    switch (info.ssi_signo) {
      case SIGCHLD:
        reap();
        break;
      case SIGHUP:
        log_.write("SIGHUP: rescanning");
        rescan();
        break;
      case SIGINT:
      case SIGQUIT:
        // With a session the terminal's signals are the session's business.
        if (sessionPid_ > 0) break;
        [[fallthrough]];
      case SIGTERM:
        log_.write("%s: shutting down", strsignal(info.ssi_signo));
        done_ = true;
        exitStatus_ = sessionPid_ > 0 ? 128 + static_cast<int>(info.ssi_signo) : 0;
        break;
    }
  }
}

void Launchd::reap() {
  int status = 0;
  pid_t pid;
  while ((pid = waitpid(-1, &status, WNOHANG)) > 0) {
    if (pid == sessionPid_) {
      done_ = true;
      exitStatus_ = statusCode(status);
      continue;
    }
    auto job = std::find_if(jobs_.begin(), jobs_.end(),
                            [&](const auto& entry) { return entry.second->pid() == pid; });
    if (job != jobs_.end()) {
      std::string how = job->second->exited(status);
      log_.write("%s: pid %d %s", job->first.c_str(), static_cast<int>(pid), how.c_str());
    } else if (auto old = unloadedProcesses_.find(pid); old != unloadedProcesses_.end()) {
      log_.write("%s: pid %d (unloaded) ended", old->second.c_str(), static_cast<int>(pid));
      unloadedProcesses_.erase(old);
    }
    // Anything else is an orphan reparented to us; reaping it is all it needs.
  }
}
