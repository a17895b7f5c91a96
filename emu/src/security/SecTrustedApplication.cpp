// Trusted applications name a program on disk, as the Mac checks when one
// is created from a path.

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <functional>

#include "SecInternal.h"

struct __SecTrustedApplication {
  CFRuntimeBase base;
  std::string path;
};

namespace {

Boolean applicationEqual(CFTypeRef a, CFTypeRef b) {
  return static_cast<const __SecTrustedApplication *>(a)->path == static_cast<const __SecTrustedApplication *>(b)->path;
}

CFHashCode applicationHash(CFTypeRef cf) {
  return std::hash<std::string>()(static_cast<const __SecTrustedApplication *>(cf)->path);
}

CFStringRef applicationDescription(CFTypeRef cf) {
  return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("<SecTrustedApplication %p: %s>"), cf,
                                  static_cast<const __SecTrustedApplication *>(cf)->path.c_str());
}

const CFRuntimeClass kApplicationClass = {
    "SecTrustedApplication", emu::cfFinalize<__SecTrustedApplication>, applicationEqual, applicationHash, nullptr,
    applicationDescription};

const __SecTrustedApplication *applicationOf(CFTypeRef cf) {
  return emu::instance<const __SecTrustedApplication>(cf, SecTrustedApplicationGetTypeID());
}

}  // namespace

namespace emu::sec {

const std::string *trustedApplicationPath(CFTypeRef application) {
  const __SecTrustedApplication *app = applicationOf(application);
  return app != nullptr ? &app->path : nullptr;
}

std::string callingProgram() {
  char path[PATH_MAX];
  ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
  return std::string(path, length > 0 ? static_cast<size_t>(length) : 0);
}

}  // namespace emu::sec

CFTypeID SecTrustedApplicationGetTypeID(void) {
  static const CFTypeID typeID = _CFRuntimeRegisterClass(&kApplicationClass);
  return typeID;
}

OSStatus SecTrustedApplicationCreateFromPath(const char *path, SecTrustedApplicationRef *app) {
  if (app == nullptr) return errSecParam;
  std::string program = path != nullptr ? std::string(path) : emu::sec::callingProgram();
  struct stat status;
  if (stat(program.c_str(), &status) != 0) return emu::sec::kErrnoBase + errno;
  auto *application = emu::cfCreate<__SecTrustedApplication>(SecTrustedApplicationGetTypeID());
  application->path = program;
  *app = application;
  return errSecSuccess;
}

OSStatus SecTrustedApplicationCopyData(SecTrustedApplicationRef appRef, CFDataRef *data) {
  const __SecTrustedApplication *application = applicationOf(appRef);
  if (application == nullptr || data == nullptr) return errSecParam;
  *data = CFDataCreate(nullptr, reinterpret_cast<const UInt8 *>(application->path.c_str()),
                       static_cast<CFIndex>(application->path.size() + 1));
  return errSecSuccess;
}
