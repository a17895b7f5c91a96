#pragma once
// Checks the fields of one dictionary of a profile (the profile's own, or a
// payload's) for presence and type, and says which field is wrong and how.

#include <CoreFoundation/CoreFoundation.h>

#include "ProfileError.h"

class FieldChecker {
 public:
  // The codes reported for a missing field and for one of the wrong type.
  FieldChecker(CFDictionaryRef dictionary, int missingCode, int badTypeCode)
      : dictionary_(dictionary), missingCode_(missingCode), badTypeCode_(badTypeCode) {}

  // Present, of the type, and not an empty string.
  bool require(const char *name, CFTypeID type, ProfileError &error) const;
  // Absent, or of the type.
  bool allow(const char *name, CFTypeID type, ProfileError &error) const;

 private:
  CFDictionaryRef dictionary_;
  int missingCode_;
  int badTypeCode_;
};
