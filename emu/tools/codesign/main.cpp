// codesign: signs, verifies and describes code with the emulated signature.
// Options and messages follow the Mac's tool where they apply. Identities
// come from a PEM identity file given with --keychain (key, certificate and
// chain), which stands in for a keychain holding an imported identity.

#include <Security/Security.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "common/CFSupport.h"
#include "security/CodeSignature.h"
#include "security/CodeSigner.h"

using emu::Owned;

namespace {

struct Options {
  std::string identity, identifier, keychain, requirement, entitlements;
  bool sign = false, force = false, runtime = false, remove = false, display = false, verify = false;
  int verbose = 0;
  std::vector<std::string> paths;
};

int usage() {
  std::fprintf(stderr,
               "Usage: codesign -s identity [-fv*] [-o flags] [-r reqs] [-i ident] path ... # sign\n"
               "       codesign -v [-v*] [-R=<req string>|-R <req file path>] path|[+]pid ... # verify\n"
               "       codesign -d [options] path ... # display contents\n");
  return 2;
}

std::string message(OSStatus status) {
  Owned<CFStringRef> text(SecCopyErrorMessageString(status, nullptr));
  return text ? emu::utf8(text.get()) : "error " + std::to_string(status);
}

CFDictionaryRef readEntitlements(const std::string &path) {
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return nullptr;
  std::string bytes;
  char buffer[4096];
  for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0;) bytes.append(buffer, static_cast<size_t>(n));
  close(fd);
  Owned<CFDataRef> data(CFDataCreate(nullptr, reinterpret_cast<const UInt8 *>(bytes.data()), static_cast<CFIndex>(bytes.size())));
  CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListImmutable, nullptr, nullptr);
  if (plist != nullptr && !emu::isDictionary(plist)) {
    CFRelease(plist);
    return nullptr;
  }
  return static_cast<CFDictionaryRef>(plist);
}

int sign(const Options &options, const std::string &path) {
  std::string error;
  auto signer = options.identity == "-" ? emu::sec::CodeSigner::adhoc()
                                        : emu::sec::CodeSigner::fromIdentityFile(options.keychain, options.identity, &error);
  if (!signer) {
    std::fprintf(stderr, "error: %s\n", error.c_str());
    return 1;
  }
  int fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0) {
    std::fprintf(stderr, "%s: No such file or directory\n", path.c_str());
    return 1;
  }
  std::unique_ptr<emu::sec::CodeSignature> existing;
  if (!options.force && emu::sec::CodeSignature::read(fd, &existing) != errSecCSUnsigned) {
    close(fd);
    std::fprintf(stderr, "%s: is already signed\n", path.c_str());
    return 1;
  }
  Owned<CFDictionaryRef> entitlements;
  if (!options.entitlements.empty()) {
    entitlements.reset(readEntitlements(options.entitlements));
    if (!entitlements) {
      close(fd);
      std::fprintf(stderr, "%s: invalid entitlements file\n", options.entitlements.c_str());
      return 1;
    }
  }
  std::string identifier = options.identifier;
  if (identifier.empty()) identifier = path.substr(path.rfind('/') + 1);
  uint32_t flags = options.runtime ? kSecCodeSignatureRuntime : 0;
  bool signed_ = signer->sign(fd, identifier, flags, entitlements.get(), &error);
  close(fd);
  if (!signed_) {
    std::fprintf(stderr, "%s: %s\n", path.c_str(), error.c_str());
    return 1;
  }
  if (options.verbose > 0) std::fprintf(stderr, "%s: signed ELF [%s]\n", path.c_str(), identifier.c_str());
  return 0;
}

int removeSignature(const std::string &path) {
  int fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
  bool removed = fd >= 0 && emu::sec::CodeSigner::removeSignature(fd);
  if (fd >= 0) close(fd);
  if (!removed) std::fprintf(stderr, "%s: No such file or directory\n", path.c_str());
  return removed ? 0 : 1;
}

std::string flagsText(uint32_t flags) {
  std::string names;
  if (flags & kSecCodeSignatureAdhoc) names += "adhoc";
  if (flags & kSecCodeSignatureRuntime) names += std::string(names.empty() ? "" : ",") + "runtime";
  char text[64];
  std::snprintf(text, sizeof text, "0x%x(%s)", flags, names.empty() ? "none" : names.c_str());
  return text;
}

int display(const Options &options, const std::string &path) {
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    std::fprintf(stderr, "%s: No such file or directory\n", path.c_str());
    return 1;
  }
  std::unique_ptr<emu::sec::CodeSignature> signature;
  OSStatus status = emu::sec::CodeSignature::read(fd, &signature);
  close(fd);
  if (status != errSecSuccess) {
    std::fprintf(stderr, "%s: %s\n", path.c_str(), message(status).c_str());
    return 1;
  }
  std::fprintf(stderr, "Executable=%s\n", path.c_str());
  if (options.verbose > 0) {
    std::fprintf(stderr, "Identifier=%s\nFormat=ELF\n", signature->identifier().c_str());
    std::fprintf(stderr, "CodeDirectory v=20500 flags=%s hashes=1 location=embedded\n",
                 flagsText(signature->flags()).c_str());
    if (options.verbose > 1) std::fprintf(stderr, "Hash type=sha256\n");
    if (signature->adhoc()) std::fprintf(stderr, "Signature=adhoc\n");
    for (const auto &certificate : signature->chain()) {
      auto names = certificate->commonNames();
      std::fprintf(stderr, "Authority=%s\n", names.empty() ? "" : names.back().c_str());
    }
    std::fprintf(stderr, "TeamIdentifier=%s\n",
                 signature->adhoc() ? "not set" : signature->teamIdentifier().c_str());
  }
  return 0;
}

int verify(const Options &options, const std::string &path) {
  Owned<SecRequirementRef> requirement;
  if (!options.requirement.empty()) {
    Owned<CFStringRef> text(emu::createString(options.requirement));
    SecRequirementRef parsed = nullptr;
    OSStatus status = SecRequirementCreateWithString(text.get(), kSecCSDefaultFlags, &parsed);
    if (status != errSecSuccess) {
      std::fprintf(stderr, "%s: %s\n", path.c_str(), message(status).c_str());
      return 1;
    }
    requirement.reset(parsed);
  }
  Owned<CFStringRef> pathText(emu::createString(path));
  Owned<CFURLRef> url(CFURLCreateWithFileSystemPath(nullptr, pathText.get(), kCFURLPOSIXPathStyle, false));
  SecStaticCodeRef code = nullptr;
  OSStatus status = SecStaticCodeCreateWithPath(url.get(), kSecCSDefaultFlags, &code);
  Owned<SecStaticCodeRef> held(code);
  if (status == errSecSuccess) status = SecStaticCodeCheckValidity(code, kSecCSDefaultFlags, nullptr);
  if (status != errSecSuccess) {
    std::fprintf(stderr, "%s: %s\n", path.c_str(), message(status).c_str());
    return 1;
  }
  if (options.verbose > 0) std::fprintf(stderr, "%s: valid on disk\n", path.c_str());
  if (requirement) {
    if (SecStaticCodeCheckValidity(code, kSecCSDefaultFlags, requirement.get()) != errSecSuccess) {
      std::fprintf(stderr, "%s: test-requirement: code failed to satisfy specified code requirement(s)\n",
                   path.c_str());
      return 3;
    }
    if (options.verbose > 0) std::fprintf(stderr, "%s: explicit requirement satisfied\n", path.c_str());
  }
  return 0;
}

}  // namespace

int main(int argc, char **argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    std::string argument = argv[i];
    auto value = [&](std::string *into) {
      if (i + 1 >= argc) return false;
      *into = argv[++i];
      return true;
    };
    std::string ignored;
    if (argument == "-s" || argument == "--sign") {
      options.sign = true;
      if (!value(&options.identity)) return usage();
    } else if (argument == "-i" || argument == "--identifier") {
      if (!value(&options.identifier)) return usage();
    } else if (argument == "--keychain") {
      if (!value(&options.keychain)) return usage();
    } else if (argument == "--entitlements") {
      if (!value(&options.entitlements)) return usage();
    } else if (argument == "-o" || argument == "--options") {
      std::string flags;
      if (!value(&flags) || flags != "runtime") return usage();
      options.runtime = true;
    } else if (argument == "--force") {
      options.force = true;
    } else if (argument == "--remove-signature") {
      options.remove = true;
    } else if (argument == "--display") {
      options.display = true;
    } else if (argument == "--verify") {
      options.verify = true;
    } else if (argument.size() > 1 && argument[0] == '-' && argument.find_first_not_of("dfv", 1) == std::string::npos) {
      // Short flags combine (-dvv, -fv). -v alone verifies; more v's, or -v
      // with another operation, say more.
      for (char flag : argument.substr(1)) {
        if (flag == 'd') options.display = true;
        if (flag == 'f') options.force = true;
        if (flag == 'v') ++options.verbose;
      }
    } else if (argument == "-R" || argument == "--test-requirement") {
      if (!value(&options.requirement)) return usage();
    } else if (argument.compare(0, 3, "-R=") == 0 || argument.compare(0, 19, "--test-requirement=") == 0) {
      options.requirement = argument.substr(argument.find('=') + 1);
    } else if (!argument.empty() && argument[0] == '-') {
      return usage();
    } else {
      options.paths.push_back(argument);
    }
  }
  if (!options.sign && !options.remove && !options.display && options.verbose > 0) {
    options.verify = true;
    --options.verbose;
  }
  if (options.requirement.size() > 0 && options.requirement[0] == '=') options.requirement.erase(0, 1);
  if (options.paths.empty() || (!options.sign && !options.remove && !options.display && !options.verify))
    return usage();
  int result = 0;
  for (const std::string &path : options.paths) {
    int status = options.sign ? sign(options, path)
                 : options.remove ? removeSignature(path)
                 : options.display ? display(options, path)
                                   : verify(options, path);
    if (status > result) result = status;
  }
  return result;
}
