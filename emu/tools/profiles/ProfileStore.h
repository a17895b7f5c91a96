#pragma once
// The profiles installed on this Mac, kept where macOS keeps its store
// (/var/db/ConfigurationProfiles/Store) in a property list of the
// emulation's own: exactly what the listing shows, owners ("_computerlevel",
// or a user's short name) to arrays of installed profiles. Every change
// reads the file afresh and replaces it whole.

#include <CoreFoundation/CoreFoundation.h>
#include <sys/types.h>

#include <string>
#include <vector>

#include "common/CFSupport.h"

class ProfileStore {
 public:
  static constexpr char kPath[] = "/var/db/ConfigurationProfiles/Store/ConfigProfiles.plist";
  static constexpr char kComputerLevel[] = "_computerlevel";

  // 0, or an errno: EINVAL for a file that is not such a property list,
  // which is then never overwritten.
  int load();
  int save();

  // Owners to arrays of installed profiles.
  CFDictionaryRef listing() const { return root_.get(); }
  std::vector<emu::Owned<CFDictionaryRef>> all() const;

  // Adds the owner's profile, replacing the one with the same identifier,
  // which it answers (null when there was none).
  emu::Owned<CFDictionaryRef> put(const std::string &owner, CFDictionaryRef installed);
  // Removes and answers the owner's profile with the identifier, or null.
  emu::Owned<CFDictionaryRef> take(const std::string &owner, CFStringRef identifier);

 private:
  emu::Owned<CFMutableDictionaryRef> root_;
  mode_t mode_ = 0600;
};
