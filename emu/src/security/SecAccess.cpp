// Accesses: a descriptor and the applications trusted with an item. An item
// created with one records them in its keychain.

#include "SecInternal.h"

using emu::Owned;

struct __SecAccess {
  CFRuntimeBase base;
  Owned<CFStringRef> descriptor;
  std::vector<std::string> applications;
};

namespace {

const CFRuntimeClass kAccessClass = {"SecAccess", emu::cfFinalize<__SecAccess>, nullptr, nullptr, nullptr, nullptr};

}  // namespace

namespace emu::sec {

CFDictionaryRef createAccessRecord(SecAccessRef access, CFStringRef label) {
  auto *a = instance<const __SecAccess>(access, SecAccessGetTypeID());
  std::vector<std::string> applications = a != nullptr ? a->applications : std::vector<std::string>{callingProgram()};
  Owned<CFMutableArrayRef> paths(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  for (const std::string &path : applications) {
    Owned<CFStringRef> text(createString(path));
    CFArrayAppendValue(paths.get(), text.get());
  }
  CFMutableDictionaryRef record = createMutableDictionary();
  CFStringRef descriptor = a != nullptr ? a->descriptor.get() : label;
  if (descriptor != nullptr) CFDictionarySetValue(record, CFSTR("Descriptor"), descriptor);
  CFDictionarySetValue(record, CFSTR("TrustedApplications"), paths.get());
  return record;
}

}  // namespace emu::sec

CFTypeID SecAccessGetTypeID(void) {
  static const CFTypeID typeID = _CFRuntimeRegisterClass(&kAccessClass);
  return typeID;
}

OSStatus SecAccessCreate(CFStringRef descriptor, CFArrayRef trustedlist, SecAccessRef *accessRef) {
  if (!emu::isString(descriptor) || accessRef == nullptr ||
      (trustedlist != nullptr && !emu::isA(trustedlist, CFArrayGetTypeID()))) {
    return errSecParam;
  }
  std::vector<std::string> applications;
  if (trustedlist == nullptr) applications.push_back(emu::sec::callingProgram());
  for (CFIndex i = 0; trustedlist != nullptr && i < CFArrayGetCount(trustedlist); ++i) {
    const std::string *path = emu::sec::trustedApplicationPath(CFArrayGetValueAtIndex(trustedlist, i));
    if (path == nullptr) return errSecParam;
    applications.push_back(*path);
  }
  auto *access = emu::cfCreate<__SecAccess>(SecAccessGetTypeID());
  access->descriptor.reset(static_cast<CFStringRef>(CFRetain(descriptor)));
  access->applications = std::move(applications);
  *accessRef = access;
  return errSecSuccess;
}
