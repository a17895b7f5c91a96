#pragma once
// The files under a few folders as they were when the snapshot was taken,
// and a way back to that state. A stateful fuzz target restores it after each
// input, so that every execution starts from the same small system and the
// stores it writes never grow with the run.

#include <sys/stat.h>

#include <map>
#include <string>
#include <vector>

class StoreSnapshot {
 public:
  explicit StoreSnapshot(const std::vector<std::string>& roots);
  // Where the fake Mac keeps what commands change: preferences, keychains,
  // trust settings, the profile store, the dynamic store, applications.
  static StoreSnapshot ofSystemStores();
  // The System keychain and the administrator's trust settings.
  static StoreSnapshot ofCertificateStores();

  // Removes what appeared under the roots since, and puts back every file,
  // folder and link that changed or went away. Free when nothing changed
  // (inotify reported nothing), cheap when little did: unchanged files are
  // recognised by their inode, size and times.
  void restore();

 private:
  struct Entry {
    struct stat status;
    std::string content;  // a file's bytes or a link's target
  };

  void record(const std::string& path);
  void watch();
  bool drainChanges();  // whether anything changed since the last call
  void put(const std::string& path, Entry& entry);
  static bool same(const struct stat& a, const struct stat& b);

  std::vector<std::string> roots_;
  std::map<std::string, Entry> entries_;
  int changes_;  // inotify, watching every recorded folder
};
