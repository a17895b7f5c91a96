// Code, running or on disk, as CF objects. Running code is found through the
// kernel's record of a process, and its executable is read through the
// descriptor taken when that record was made, never again by path.

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include "../kernel/ProcessIdentity.h"
#include "CodeRequirement.h"
#include "CodeSignature.h"
#include "KeychainStore.h"
#include "SecInternal.h"

#include <algorithm>

using emu::Owned;
using emu::sec::CodeSignature;

struct __SecCode {
  CFRuntimeBase base;
  std::shared_ptr<const emu::kernel::ProcessIdentity> process;  // running code
  int ownFd = -1;                                                // code on disk
  std::string path;

  ~__SecCode() {
    if (ownFd >= 0) close(ownFd);
  }
  int fd() const { return process ? *process->executable : ownFd; }
};

namespace {

constexpr char kSystemRootsPath[] = "/System/Library/Keychains/SystemRootCertificates.keychain";

const CFRuntimeClass kCodeClass = {"SecCode", emu::cfFinalize<__SecCode>, nullptr, nullptr, nullptr, nullptr};

const __SecCode *codeOf(CFTypeRef cf) { return emu::instance<const __SecCode>(cf, SecCodeGetTypeID()); }

SecCodeRef codeCreate(std::shared_ptr<const emu::kernel::ProcessIdentity> process, int fd, std::string path) {
  auto *code = emu::cfCreate<__SecCode>(SecCodeGetTypeID());
  code->process = std::move(process);
  code->ownFd = fd;
  code->path = std::move(path);
  return code;
}

// Whether the chain ends at a root of the system's root keychain.
bool anchoredAtSystemRoot(const CodeSignature &signature) {
  if (signature.chain().empty()) return false;
  emu::sec::KeychainStore roots(kSystemRootsPath);
  if (roots.load() != errSecSuccess) return false;
  const auto &anchor = signature.chain().back()->der();
  CFArrayRef items = roots.items();
  for (CFIndex i = 0; i < CFArrayGetCount(items); ++i) {
    auto item = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(items, i));
    CFTypeRef data = emu::isDictionary(item) ? CFDictionaryGetValue(item, kSecValueData) : nullptr;
    if (emu::isA(data, CFDataGetTypeID()) &&
        static_cast<size_t>(CFDataGetLength(static_cast<CFDataRef>(data))) == anchor.size() &&
        std::equal(anchor.begin(), anchor.end(), CFDataGetBytePtr(static_cast<CFDataRef>(data)))) {
      return true;
    }
  }
  return false;
}

OSStatus checkValidity(SecStaticCodeRef code, SecCSFlags flags, SecRequirementRef requirement) {
  const __SecCode *instance = codeOf(code);
  if (instance == nullptr) return errSecCSInvalidObjectRef;
  if (flags != kSecCSDefaultFlags) return errSecCSInvalidFlags;
  const emu::sec::CodeRequirement *parsed = nullptr;
  if (requirement != nullptr && (parsed = emu::sec::requirementOf(requirement)) == nullptr)
    return errSecCSInvalidObjectRef;
  std::unique_ptr<CodeSignature> signature;
  OSStatus status = CodeSignature::read(instance->fd(), &signature);
  if (status != errSecSuccess) return status;
  if (parsed != nullptr && !parsed->satisfiedBy(*signature, anchoredAtSystemRoot(*signature)))
    return errSecCSReqFailed;
  return errSecSuccess;
}

// The executable of a process, for a caller that has only its PID.
SecCodeRef codeForPid(pid_t pid) {
  std::string link = "/proc/" + std::to_string(pid) + "/exe";
  char path[4096];
  ssize_t length = readlink(link.c_str(), path, sizeof path);
  int fd = open(link.c_str(), O_RDONLY | O_CLOEXEC);
  if (length <= 0 || static_cast<size_t>(length) >= sizeof path || fd < 0) {
    if (fd >= 0) close(fd);
    return nullptr;
  }
  return codeCreate(nullptr, fd, std::string(path, static_cast<size_t>(length)));
}

void setValue(CFMutableDictionaryRef dictionary, CFStringRef key, CFTypeRef value) {
  CFDictionarySetValue(dictionary, key, value);
  CFRelease(value);
}

}  // namespace

CFTypeID SecCodeGetTypeID(void) {
  static const CFTypeID typeID = _CFRuntimeRegisterClass(&kCodeClass);
  return typeID;
}

// Static and running code share their type, as on the Mac.
CFTypeID SecStaticCodeGetTypeID(void) { return SecCodeGetTypeID(); }

OSStatus SecCodeCopyGuestWithAttributes(SecCodeRef host, CFDictionaryRef attributes, SecCSFlags flags,
                                        SecCodeRef *guest) {
  if (guest == nullptr) return errSecCSObjectRequired;
  if (host != nullptr) emu::sec::unimplemented(__func__, "a host other than the kernel");
  if (flags != kSecCSDefaultFlags) return errSecCSInvalidFlags;
  if (!emu::isDictionary(attributes)) return errSecCSNoSuchCode;
  CFTypeRef audit = CFDictionaryGetValue(attributes, kSecGuestAttributeAudit);
  CFTypeRef pid = CFDictionaryGetValue(attributes, kSecGuestAttributePid);
  if (audit != nullptr) {
    if (!emu::isA(audit, CFDataGetTypeID()) ||
        CFDataGetLength(static_cast<CFDataRef>(audit)) != static_cast<CFIndex>(sizeof(audit_token_t)))
      return errSecCSNoSuchCode;
    audit_token_t token;
    memcpy(&token, CFDataGetBytePtr(static_cast<CFDataRef>(audit)), sizeof token);
    auto process = emu::kernel::identityForAuditToken(token);
    if (!process) return errSecCSNoSuchCode;
    // A PID given alongside must agree with the token.
    int given = 0;
    if (pid != nullptr && (!emu::isA(pid, CFNumberGetTypeID()) ||
                           !CFNumberGetValue(static_cast<CFNumberRef>(pid), kCFNumberIntType, &given) ||
                           given != process->pid))
      return errSecCSNoSuchCode;
    *guest = codeCreate(process, -1, process->executablePath);
    return errSecSuccess;
  }
  int number = 0;
  if (!emu::isA(pid, CFNumberGetTypeID()) || !CFNumberGetValue(static_cast<CFNumberRef>(pid), kCFNumberIntType, &number) ||
      number <= 0)
    return errSecCSNoSuchCode;
  SecCodeRef code = codeForPid(number);
  if (code == nullptr) return errSecCSNoSuchCode;
  *guest = code;
  return errSecSuccess;
}

OSStatus SecCodeCheckValidity(SecCodeRef code, SecCSFlags flags, SecRequirementRef requirement) {
  return checkValidity(code, flags, requirement);
}

OSStatus SecStaticCodeCheckValidity(SecStaticCodeRef staticCode, SecCSFlags flags, SecRequirementRef requirement) {
  return checkValidity(staticCode, flags, requirement);
}

OSStatus SecStaticCodeCreateWithPath(CFURLRef path, SecCSFlags flags, SecStaticCodeRef *staticCode) {
  if (staticCode == nullptr || !emu::isA(path, CFURLGetTypeID())) return errSecCSObjectRequired;
  if (flags != kSecCSDefaultFlags) return errSecCSInvalidFlags;
  char buffer[4096];
  if (!CFURLGetFileSystemRepresentation(path, true, reinterpret_cast<UInt8 *>(buffer), sizeof buffer))
    return errSecCSStaticCodeNotFound;
  int fd = open(buffer, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return errSecCSStaticCodeNotFound;
  *staticCode = codeCreate(nullptr, fd, buffer);
  return errSecSuccess;
}

OSStatus SecCodeCopyPath(SecStaticCodeRef staticCode, SecCSFlags flags, CFURLRef *path) {
  const __SecCode *code = codeOf(staticCode);
  if (code == nullptr) return errSecCSInvalidObjectRef;
  if (path == nullptr) return errSecCSObjectRequired;
  if (flags != kSecCSDefaultFlags) return errSecCSInvalidFlags;
  Owned<CFStringRef> text(emu::createString(code->path));
  *path = CFURLCreateWithFileSystemPath(nullptr, text.get(), kCFURLPOSIXPathStyle, false);
  return errSecSuccess;
}

OSStatus SecCodeCopySigningInformation(SecStaticCodeRef code, SecCSFlags flags, CFDictionaryRef *information) {
  const __SecCode *instance = codeOf(code);
  if (instance == nullptr) return errSecCSInvalidObjectRef;
  if (information == nullptr) return errSecCSObjectRequired;
  Owned<CFMutableDictionaryRef> result(emu::createMutableDictionary());
  Owned<CFStringRef> path(emu::createString(instance->path));
  setValue(result.get(), kSecCodeInfoMainExecutable,
           CFURLCreateWithFileSystemPath(nullptr, path.get(), kCFURLPOSIXPathStyle, false));
  std::unique_ptr<CodeSignature> signature;
  OSStatus status = CodeSignature::read(instance->fd(), &signature);
  if (status == errSecCSUnsigned) {
    *information = result.release();
    return errSecSuccess;
  }
  if (status != errSecSuccess) return status;
  setValue(result.get(), kSecCodeInfoIdentifier, emu::createString(signature->identifier()));
  setValue(result.get(), kSecCodeInfoFormat, CFSTR("ELF"));
  uint32_t signatureFlags = signature->flags();
  setValue(result.get(), kSecCodeInfoFlags, CFNumberCreate(nullptr, kCFNumberSInt32Type, &signatureFlags));
  if (signature->entitlements() != nullptr)
    CFDictionarySetValue(result.get(), kSecCodeInfoEntitlementsDict, signature->entitlements());
  if ((flags & kSecCSSigningInformation) != 0 && !signature->adhoc()) {
    setValue(result.get(), kSecCodeInfoTeamIdentifier, emu::createString(signature->teamIdentifier()));
    Owned<CFMutableArrayRef> certificates(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (const auto &certificate : signature->chain()) {
      SecCertificateRef copy = emu::sec::certificateCreate(
          emu::sec::X509Certificate::parse(certificate->der().data(), certificate->der().size()), nullptr);
      CFArrayAppendValue(certificates.get(), copy);
      CFRelease(copy);
    }
    CFDictionarySetValue(result.get(), kSecCodeInfoCertificates, certificates.get());
  }
  *information = result.release();
  return errSecSuccess;
}
