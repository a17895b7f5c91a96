// Code requirements as CF objects over CodeRequirement.

#include "CodeRequirement.h"
#include "SecInternal.h"

struct __SecRequirement {
  CFRuntimeBase base;
  std::unique_ptr<emu::sec::CodeRequirement> requirement;
};

namespace {

const CFRuntimeClass kRequirementClass = {
    "SecRequirement", emu::cfFinalize<__SecRequirement>, nullptr, nullptr, nullptr, nullptr};

}  // namespace

namespace emu::sec {

const CodeRequirement *requirementOf(SecRequirementRef requirement) {
  auto *instance = emu::instance<__SecRequirement>(requirement, SecRequirementGetTypeID());
  return instance != nullptr ? instance->requirement.get() : nullptr;
}

}  // namespace emu::sec

CFTypeID SecRequirementGetTypeID(void) {
  static const CFTypeID typeID = _CFRuntimeRegisterClass(&kRequirementClass);
  return typeID;
}

OSStatus SecRequirementCreateWithString(CFStringRef text, SecCSFlags flags, SecRequirementRef *requirement) {
  if (requirement == nullptr || !emu::isString(text)) return errSecCSObjectRequired;
  if (flags != kSecCSDefaultFlags) return errSecCSInvalidFlags;
  auto parsed = emu::sec::CodeRequirement::parse(emu::utf8(text));
  if (!parsed) return errSecCSReqInvalid;
  auto *created = emu::cfCreate<__SecRequirement>(SecRequirementGetTypeID());
  created->requirement = std::move(parsed);
  *requirement = created;
  return errSecSuccess;
}

OSStatus SecRequirementCopyString(SecRequirementRef requirement, SecCSFlags flags, CFStringRef *text) {
  const emu::sec::CodeRequirement *parsed = emu::sec::requirementOf(requirement);
  if (parsed == nullptr || text == nullptr) return errSecCSInvalidObjectRef;
  if (flags != kSecCSDefaultFlags) return errSecCSInvalidFlags;
  *text = emu::createString(parsed->text());
  return errSecSuccess;
}
