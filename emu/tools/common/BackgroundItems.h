#pragma once
// The daemons apps have registered from their bundles, and whether the user
// allowed each to run in the background. A Mac keeps this in its background
// task management database, whose format is not public; the fake Mac keeps
// it in a property list of its own, which the registering tool writes and
// launchd follows:
//
//   {"Daemons": [{"Bundle": "/Applications/X.app", "Plist": "label.plist",
//                 "Approved": false}, ...]}
#include <string>
#include <utility>
#include <vector>

class BackgroundItems {
 public:
  struct Item {
    std::string bundle;  // canonical path of the app
    std::string plist;   // a file name in the app's Contents/Library/LaunchDaemons
    bool approved = false;

    std::string jobPlistPath() const { return bundle + "/Contents/Library/LaunchDaemons/" + plist; }
  };

  static constexpr const char* kDefaultPath = "/var/emu/backgrounditems.plist";

  // Whether a path relative to a bundle (a BundleProgram) stays inside it.
  static bool staysInsideBundle(const std::string& relative);

  explicit BackgroundItems(std::string path) : path_(std::move(path)) {}
  const std::string& path() const { return path_; }

  // Entries that are not well-formed are skipped; a missing file is empty.
  std::vector<Item> load() const;
  // Replaces the file whole (written aside, then renamed), so that a reader
  // never sees half of it.
  bool save(const std::vector<Item>& items, std::string& error) const;

 private:
  std::string path_;
};
