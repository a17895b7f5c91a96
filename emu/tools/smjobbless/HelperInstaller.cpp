#include "HelperInstaller.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

#include "ElfImage.h"
#include "Plist.h"

namespace {

const char kInfoSection[] = "__info_plist";
const char kLaunchdSection[] = "__launchd_plist";

// Written next to the target and renamed over it, so that launchd never sees
// a partial file.
bool writeFile(const std::string& path, std::string_view bytes, mode_t mode, std::string& error) {
  const std::string temporary =
      path.substr(0, path.rfind('/') + 1) + ".install-" + std::to_string(getpid());
  int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  bool ok = fd >= 0;
  for (size_t done = 0; ok && done < bytes.size();) {
    ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
    ok = n > 0 || (n < 0 && errno == EINTR);
    if (n > 0) done += static_cast<size_t>(n);
  }
  ok = ok && fchown(fd, 0, 0) == 0 && fchmod(fd, mode) == 0;
  if (fd >= 0 && close(fd) != 0) ok = false;
  ok = ok && rename(temporary.c_str(), path.c_str()) == 0;
  if (!ok) {
    error = "cannot write " + path + ": " + strerror(errno);
    unlink(temporary.c_str());
  }
  return ok;
}

bool validLabel(const std::string& label) {
  return !label.empty() && label[0] != '.' && label.find('/') == std::string::npos;
}

}  // namespace

std::optional<HelperInstaller::Installed> HelperInstaller::install(const std::string& executable,
                                                                   std::string& error) const {
  std::optional<ElfImage> image = ElfImage::read(executable, error);
  if (!image) return std::nullopt;
  auto infoBytes = image->section(kInfoSection);
  auto launchdBytes = image->section(kLaunchdSection);
  if (!infoBytes || !launchdBytes) {
    error = std::string("no ") + (infoBytes ? kLaunchdSection : kInfoSection) +
            " section: not a privileged helper";
    return std::nullopt;
  }
  Plist info = Plist::parse(*infoBytes);
  Plist launchd = Plist::parse(*launchdBytes);
  if (!info.isDict() || !launchd.isDict()) {
    error = std::string("the embedded ") + (info.isDict() ? "launchd" : "Info") +
            " plist is not a property list dictionary";
    return std::nullopt;
  }

  Installed installed;
  installed.label = Plist::string(launchd.get(), "Label").value_or("");
  if (!validLabel(installed.label)) {
    error = "the embedded launchd plist has no usable Label";
    return std::nullopt;
  }
  const std::string identifier = Plist::string(info.get(), "CFBundleIdentifier").value_or("");
  if (identifier != installed.label) {
    error = "the Info plist's CFBundleIdentifier (" + identifier +
            ") does not match the launchd plist's Label (" + installed.label + ")";
    return std::nullopt;
  }
  for (const auto& [name, value] :
       Plist::entries(Plist::child(launchd.get(), "MachServices", PLIST_DICT))) {
    installed.machServices.push_back(name);
  }
  installed.program = paths_.helperTools + "/" + installed.label;
  installed.plist = paths_.launchDaemons + "/" + installed.label + ".plist";
  plist_dict_set_item(launchd.get(), "Program", plist_new_string(installed.program.c_str()));

  mkdir(paths_.helperTools.c_str(), 0755);
  mkdir(paths_.launchDaemons.c_str(), 0755);
  // The program first: launchd ignores a job whose program is missing.
  if (!writeFile(installed.program, image->bytes(), 0544, error) ||
      !writeFile(installed.plist, launchd.toXml(), 0644, error)) {
    return std::nullopt;
  }
  return installed;
}

bool HelperInstaller::waitUntilLoaded(const Installed& installed, std::chrono::milliseconds timeout,
                                      std::string& error) const {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (const auto& name : installed.machServices) {
    const std::string socket = paths_.rendezvous + "/" + name;
    struct stat st;
    while (stat(socket.c_str(), &st) != 0 || !S_ISSOCK(st.st_mode)) {
      if (std::chrono::steady_clock::now() >= deadline) {
        error = "launchd did not take up " + name + " (see /var/log/launchd.log)";
        return false;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }
  return true;
}
