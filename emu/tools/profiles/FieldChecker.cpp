#include "FieldChecker.h"

#include <string>

#include "common/CFSupport.h"

namespace {

// How a property list names a value of the type, for people who write them.
std::string typeName(CFTypeID type) {
  if (type == CFStringGetTypeID()) return "a string";
  if (type == CFNumberGetTypeID()) return "a number";
  if (type == CFBooleanGetTypeID()) return "a boolean";
  if (type == CFDataGetTypeID()) return "data";
  if (type == CFDictionaryGetTypeID()) return "a dictionary";
  if (type == CFArrayGetTypeID()) return "an array";
  if (type == CFDateGetTypeID()) return "a date";
  return "another type";
}

}  // namespace

bool FieldChecker::allow(const char *name, CFTypeID type, ProfileError &error) const {
  emu::Owned<CFStringRef> key(emu::createString(name));
  CFTypeRef value = CFDictionaryGetValue(dictionary_, key.get());
  if (value == nullptr || CFGetTypeID(value) == type) return true;
  error.code = badTypeCode_;
  error.text = std::string("Bad data type in field: ") + name + " (" + typeName(type) + " is expected, not " +
               typeName(CFGetTypeID(value)) + ")";
  return false;
}

bool FieldChecker::require(const char *name, CFTypeID type, ProfileError &error) const {
  emu::Owned<CFStringRef> key(emu::createString(name));
  CFTypeRef value = CFDictionaryGetValue(dictionary_, key.get());
  bool emptyString = emu::isString(value) && CFStringGetLength(static_cast<CFStringRef>(value)) == 0;
  if (value != nullptr && !emptyString) return allow(name, type, error);
  error.code = missingCode_;
  error.text = std::string("Missing required field: ") + name + (emptyString ? " (it is empty)" : "");
  return false;
}
