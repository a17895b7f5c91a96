#include "OsRelease.h"

#include <cstdlib>
#include <string>

#include "PlistManipulator.h"

namespace xpc {

OsRelease OsRelease::running() {
  // Read anew each time: the file is small, and a release changes only with a reboot.
  PlistManipulator file(nullptr);
  std::string version;
  if (!file.loadPlistFile("/System/Library/CoreServices/SystemVersion.plist") ||
      file.getValue("ProductVersion", version) != 0) {
    return OsRelease(0);
  }
  return OsRelease(std::atoi(version.c_str()));
}

}  // namespace xpc
