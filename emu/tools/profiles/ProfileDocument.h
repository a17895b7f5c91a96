#pragma once
// A configuration profile file as the installer reads it: a property list,
// bare or inside a CMS signed-data envelope (a signed profile), checked for
// what an installation needs before anything on the system changes.

#include <CoreFoundation/CoreFoundation.h>

#include <string>

#include "ProfileError.h"
#include "common/CFSupport.h"

class ProfileDocument {
 public:
  // False, with `error` set, when the file cannot be read or is not a
  // profile that can be installed.
  bool load(const std::string &path, ProfileError &error);

  // False, with `error` set, when a payload cannot be installed for a user
  // (`machineLevel` false): the global HTTP proxy is the machine's alone.
  bool allowedFor(bool machineLevel, ProfileError &error) const;

  // The profile as the installed-profile listing shows it, installed now.
  emu::Owned<CFDictionaryRef> createInstalledProfile() const;

 private:
  // Replaces a signed envelope by the document it carries.
  bool unwrap(std::string &bytes, ProfileError &error);
  bool check(ProfileError &error) const;

  emu::Owned<CFDictionaryRef> profile_;
  bool signed_ = false;
};
