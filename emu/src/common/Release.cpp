#include "Release.h"

#include <CoreFoundation/CoreFoundation.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "Files.h"

namespace emu {

namespace {

int readReleaseMajor() {
  std::vector<UInt8> bytes;
  struct stat status;
  if (!readFile("/System/Library/CoreServices/SystemVersion.plist", bytes, status)) return 0;
  CFDataRef data = CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size()));
  CFPropertyListRef root = CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, nullptr, nullptr);
  CFRelease(data);
  int major = 0;
  if (root != nullptr && CFGetTypeID(root) == CFDictionaryGetTypeID()) {
    CFTypeRef version = CFDictionaryGetValue(static_cast<CFDictionaryRef>(root), CFSTR("ProductVersion"));
    char text[32];
    if (version != nullptr && CFGetTypeID(version) == CFStringGetTypeID() &&
        CFStringGetCString(static_cast<CFStringRef>(version), text, sizeof(text), kCFStringEncodingUTF8)) {
      major = std::atoi(text);
    }
  }
  if (root != nullptr) CFRelease(root);
  return major;
}

}  // namespace

int releaseMajor() {
  // A process lives within one boot of one release.
  static const int major = readReleaseMajor();
  return major;
}

}  // namespace emu
