// CFURL for POSIX file paths: file:///percent-encoded/path, directories with
// a trailing slash. Relative paths are kept relative to a base URL for the
// working directory at creation, as on the Mac.

#include <cstring>
#include <unistd.h>

#include "CFInternal.h"

struct __CFURL {
  CFRuntimeBase base;
  std::string path;      // as given, UTF-8, with a trailing slash for directories
  std::string basePath;  // working directory with a trailing slash; empty for absolute paths
  CFStringRef string;    // the URL string, relative to the base if there is one
};

namespace emu {
namespace {

const __CFURL *urlArg(CFURLRef url, const char *function) {
  requireType(url, kURLTypeID, function);
  return url;
}

// Everything outside the characters a URL path may carry is percent-encoded.
std::string percentEncode(const std::string &path) {
  static const char kAllowed[] = "-._~!$&'()*+,;=:@/";
  std::string out;
  for (unsigned char c : path) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || (c && std::strchr(kAllowed, c)))
      out += static_cast<char>(c);
    else
      out += strprintf("%%%02X", c);
  }
  return out;
}

std::string withoutTrailingSlash(std::string path) {
  if (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

void urlFinalize(CFTypeRef cf) {
  CFRelease(static_cast<CFURLRef>(cf)->string);
  cfFinalize<__CFURL>(cf);
}

Boolean urlEqual(CFTypeRef a, CFTypeRef b) {
  auto x = static_cast<CFURLRef>(a), y = static_cast<CFURLRef>(b);
  return x->path == y->path && x->basePath == y->basePath;
}

CFHashCode urlHash(CFTypeRef cf) { return CFHash(static_cast<CFURLRef>(cf)->string); }

std::string baseString(const __CFURL *url) { return "file://" + percentEncode(url->basePath); }

CFStringRef urlCopyFormattingDesc(CFTypeRef cf, CFDictionaryRef) {
  auto url = static_cast<CFURLRef>(cf);
  if (url->basePath.empty()) return static_cast<CFStringRef>(CFRetain(url->string));
  return stringCreateUTF8(stringUTF8(url->string) + " -- " + baseString(url));
}

CFStringRef urlCopyDebugDesc(CFTypeRef cf) {
  auto url = static_cast<CFURLRef>(cf);
  return stringCreateUTF8(descriptionPrefix(cf) + "{string = " + stringUTF8(url->string) +
                          ", encoding = 134217984, base = " + (url->basePath.empty() ? "(null)" : baseString(url)) +
                          "}");
}

}  // namespace

const CFRuntimeClass kURLClass = {"CFURL", urlFinalize, urlEqual, urlHash, urlCopyFormattingDesc, urlCopyDebugDesc};

}  // namespace emu

using namespace emu;

extern "C" {

CFTypeID CFURLGetTypeID(void) { return kURLTypeID; }

CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef, CFStringRef filePath, CFURLPathStyle pathStyle,
                                       Boolean isDirectory) {
  if (pathStyle != kCFURLPOSIXPathStyle) fatal("CFURLCreateWithFileSystemPath(): unknown path style %ld", pathStyle);
  std::string path = stringUTF8(filePath);
  if (path.empty()) return nullptr;
  if (isDirectory && path.back() != '/') path += '/';
  __CFURL *url = cfCreate<__CFURL>(kURLTypeID);
  url->path = path;
  if (path[0] != '/') {
    char cwd[4096];
    url->basePath = getcwd(cwd, sizeof cwd) ? cwd : "/";
    if (url->basePath.back() != '/') url->basePath += '/';
  }
  url->string = stringCreateUTF8((url->basePath.empty() ? "file://" : "") + percentEncode(path));
  return url;
}

CFStringRef CFURLGetString(CFURLRef anURL) { return urlArg(anURL, "CFURLGetString")->string; }

CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle) {
  if (pathStyle != kCFURLPOSIXPathStyle) fatal("CFURLCopyFileSystemPath(): unknown path style %ld", pathStyle);
  return stringCreateUTF8(withoutTrailingSlash(urlArg(anURL, "CFURLCopyFileSystemPath")->path));
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8 *buffer, CFIndex maxBufLen) {
  const __CFURL *u = urlArg(url, "CFURLGetFileSystemRepresentation");
  std::string path = withoutTrailingSlash((resolveAgainstBase ? u->basePath : "") + u->path);
  if (maxBufLen <= 0 || path.size() >= static_cast<size_t>(maxBufLen)) return false;
  std::memcpy(buffer, path.c_str(), path.size() + 1);
  return true;
}

}  // extern "C"
