#include "DaemonService.h"

#include <unistd.h>

#include <climits>
#include <cstdlib>

#include "Plist.h"

DaemonService::DaemonService(BackgroundItems items, const std::string& bundle, std::string plistName)
    : items_(std::move(items)), plistName_(std::move(plistName)) {
  char canonical[PATH_MAX];
  bundle_ = realpath(bundle.c_str(), canonical) ? canonical : bundle;
}

const char* DaemonService::name(Status status) {
  switch (status) {
    case Status::NotRegistered:
      return "notRegistered";
    case Status::Enabled:
      return "enabled";
    case Status::RequiresApproval:
      return "requiresApproval";
    case Status::NotFound:
      return "notFound";
  }
  return "notFound";
}

int DaemonService::find(const std::vector<BackgroundItems::Item>& items) const {
  for (size_t i = 0; i < items.size(); ++i) {
    if (items[i].bundle == bundle_ && items[i].plist == plistName_) return static_cast<int>(i);
  }
  return -1;
}

DaemonService::Status DaemonService::status() const {
  if (access(item().jobPlistPath().c_str(), R_OK) != 0) return Status::NotFound;
  std::vector<BackgroundItems::Item> items = items_.load();
  int index = find(items);
  if (index < 0) return Status::NotRegistered;
  return items[static_cast<size_t>(index)].approved ? Status::Enabled : Status::RequiresApproval;
}

int DaemonService::registerService(std::string& error) const {
  const std::string path = item().jobPlistPath();
  if (plistName_.empty() || plistName_.find('/') != std::string::npos || access(path.c_str(), R_OK) != 0) {
    error = "no job plist " + path;
    return kSMErrorJobPlistNotFound;
  }
  Plist job = Plist::load(path);
  const std::string program = Plist::string(job.get(), "BundleProgram").value_or("");
  if (!job.isDict() || Plist::string(job.get(), "Label").value_or("").empty() ||
      !BackgroundItems::staysInsideBundle(program) || access((bundle_ + "/" + program).c_str(), X_OK) != 0) {
    error = path + " needs a Label and a BundleProgram naming an executable inside the app";
    return kSMErrorInvalidPlist;
  }
  std::vector<BackgroundItems::Item> items = items_.load();
  int index = find(items);
  if (index >= 0 && items[static_cast<size_t>(index)].approved) {
    error = "already registered";
    return kSMErrorAlreadyRegistered;
  }
  if (index < 0) {
    items.push_back(item());
    if (!items_.save(items, error)) return kSMErrorInternalFailure;
  }
  error = "registered; it runs once the user allows it in System Settings > General > Login Items";
  return kSMErrorLaunchDeniedByUser;
}

int DaemonService::unregisterService(std::string& error) const {
  std::vector<BackgroundItems::Item> items = items_.load();
  int index = find(items);
  if (index < 0) {
    error = "not registered";
    return kSMErrorJobNotFound;
  }
  items.erase(items.begin() + index);
  return items_.save(items, error) ? 0 : kSMErrorInternalFailure;
}

bool DaemonService::setApproved(bool approved, std::string& error) const {
  std::vector<BackgroundItems::Item> items = items_.load();
  int index = find(items);
  if (index < 0) {
    error = "no such background item";
    return false;
  }
  items[static_cast<size_t>(index)].approved = approved;
  return items_.save(items, error);
}

std::string DaemonService::label() const {
  return Plist::string(Plist::load(item().jobPlistPath()).get(), "Label").value_or("");
}

std::vector<std::string> DaemonService::machServices() const {
  std::vector<std::string> names;
  Plist job = Plist::load(item().jobPlistPath());
  for (const auto& [name, value] : Plist::entries(Plist::child(job.get(), "MachServices", PLIST_DICT))) {
    names.push_back(name);
  }
  return names;
}
