#include "StoreSnapshot.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace {

std::vector<std::string> children(const std::string& dir) {
  std::vector<std::string> names;
  DIR* d = opendir(dir.c_str());
  if (d == nullptr) return names;
  while (dirent* e = readdir(d)) {
    std::string name = e->d_name;
    if (name != "." && name != "..") names.push_back(dir + "/" + name);
  }
  closedir(d);
  return names;
}

// A fuzz target that cannot put the system back would measure nothing.
[[noreturn]] void fail(const std::string& path) {
  std::perror(("snapshot: " + path).c_str());
  std::abort();
}

}  // namespace

StoreSnapshot::StoreSnapshot(const std::vector<std::string>& roots)
    : roots_(roots), changes_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  if (changes_ < 0) fail("inotify");
  for (const std::string& root : roots_) record(root);
  watch();
}

void StoreSnapshot::watch() {
  // Adding a watch that exists is harmless; a folder that was removed and
  // made again needs a new one.
  const uint32_t events = IN_ATTRIB | IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_DELETE_SELF | IN_MODIFY |
                          IN_MOVE_SELF | IN_MOVED_FROM | IN_MOVED_TO;
  for (const auto& [path, entry] : entries_) {
    if (S_ISDIR(entry.status.st_mode) && inotify_add_watch(changes_, path.c_str(), events) < 0) fail(path);
  }
  // A root is made or removed in the folder above it, which may be watched
  // already as a recorded folder: that watch keeps its own events too.
  for (const std::string& root : roots_) {
    std::string parent = root.substr(0, std::max<size_t>(root.rfind('/'), 1));
    if (entries_.count(parent) == 0 &&
        inotify_add_watch(changes_, parent.c_str(), IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO) < 0)
      fail(parent);
  }
}

bool StoreSnapshot::drainChanges() {
  alignas(inotify_event) char buffer[16384];
  bool any = false;
  while (read(changes_, buffer, sizeof buffer) > 0) any = true;
  return any;
}

StoreSnapshot StoreSnapshot::ofSystemStores() {
  return StoreSnapshot({"/Library", "/Applications", "/Users", "/var/db", "/var/run/configd", "/var/root"});
}

StoreSnapshot StoreSnapshot::ofCertificateStores() { return StoreSnapshot({"/Library/Keychains", "/Library/Security"}); }

void StoreSnapshot::record(const std::string& path) {
  Entry entry;
  if (lstat(path.c_str(), &entry.status) != 0) return;
  if (S_ISREG(entry.status.st_mode)) {
    std::ifstream in(path, std::ios::binary);
    entry.content.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  } else if (S_ISLNK(entry.status.st_mode)) {
    std::error_code error;
    entry.content = std::filesystem::read_symlink(path, error).string();
  }
  bool dir = S_ISDIR(entry.status.st_mode);
  entries_.emplace(path, std::move(entry));
  if (dir) {
    for (const std::string& child : children(path)) record(child);
  }
}

bool StoreSnapshot::same(const struct stat& a, const struct stat& b) {
  return a.st_ino == b.st_ino && a.st_mode == b.st_mode && a.st_size == b.st_size &&
         a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec &&
         a.st_ctim.tv_sec == b.st_ctim.tv_sec && a.st_ctim.tv_nsec == b.st_ctim.tv_nsec;
}

void StoreSnapshot::restore() {
  // Most inputs are refused before anything is written: then there is
  // nothing to walk.
  if (!drainChanges()) return;
  // What appeared goes first, deepest paths last in the walk but removed whole.
  std::vector<std::string> pending(roots_);
  while (!pending.empty()) {
    std::string path = pending.back();
    pending.pop_back();
    struct stat now;
    if (lstat(path.c_str(), &now) != 0) continue;
    auto known = entries_.find(path);
    if (known == entries_.end() || (now.st_mode & S_IFMT) != (known->second.status.st_mode & S_IFMT)) {
      std::error_code error;
      std::filesystem::remove_all(path, error);
      if (error) fail(path);
      continue;
    }
    if (S_ISDIR(now.st_mode)) {
      for (const std::string& child : children(path)) pending.push_back(child);
    }
  }
  // Parents sort before their children, so folders exist before their files.
  for (auto& [path, entry] : entries_) {
    struct stat now;
    if (lstat(path.c_str(), &now) == 0 && same(now, entry.status)) continue;
    put(path, entry);
  }
  // What was just put back is no change to report next time.
  watch();
  drainChanges();
}

void StoreSnapshot::put(const std::string& path, Entry& entry) {
  const mode_t mode = entry.status.st_mode;
  struct stat now;
  bool exists = lstat(path.c_str(), &now) == 0;
  if (S_ISDIR(mode)) {
    if (!exists && mkdir(path.c_str(), mode & 07777) != 0) fail(path);
  } else if (S_ISLNK(mode)) {
    if (exists) unlink(path.c_str());
    if (symlink(entry.content.c_str(), path.c_str()) != 0) fail(path);
  } else if (S_ISREG(mode)) {
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, mode & 07777);
    if (fd < 0) fail(path);
    size_t written = 0;
    while (written < entry.content.size()) {
      ssize_t n = write(fd, entry.content.data() + written, entry.content.size() - written);
      if (n <= 0) fail(path);
      written += static_cast<size_t>(n);
    }
    close(fd);
  } else {
    return;  // sockets and devices are not the stores' business
  }
  if (!S_ISLNK(mode)) {
    if (chmod(path.c_str(), mode & 07777) != 0) fail(path);
    if (chown(path.c_str(), entry.status.st_uid, entry.status.st_gid) != 0) fail(path);
  }
  if (lstat(path.c_str(), &entry.status) != 0) fail(path);
}
