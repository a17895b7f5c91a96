// /usr/bin/profiles of the fake Mac: installs, lists and removes configuration
// profiles for the machine or for a user, applying their payloads the way
// macOS does (see PayloadInstaller). Failures are reported in the Mac tool's
// form on the standard error, with exit status 1. From macOS 11 on it refuses
// every installation, as the Mac tool does.
//
//   profiles -i -F file                  install for the machine
//   profiles -I [-U user] -F file        install for a user (root: the machine)
//   profiles -R -p identifier [-U user]  remove
//   profiles -P [-o file]                list every installed profile
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "PayloadInstaller.h"
#include "ProfileDocument.h"
#include "ProfileStore.h"
#include "common/Files.h"
#include "common/Release.h"

using emu::Owned;

namespace {

// errAuthorizationDenied: installing and removing need root.
constexpr int kAuthorizationDenied = -60005;

int usage() {
  fprintf(stderr,
          "Usage: profiles -i -F file\n"
          "       profiles -I [-U user] -F file\n"
          "       profiles -R -p identifier [-U user]\n"
          "       profiles -P [-o file]\n"
          "    -i  install a profile for the machine\n"
          "    -I  install a profile for a user (-U), or for the machine when run as root\n"
          "    -R  remove the profile with the identifier (-p)\n"
          "    -P  show all installed profiles, or write them to a property list file (-o)\n");
  return 1;
}

// "profiles install for file:‘/x.mobileconfig’ and user:‘root’ returned 1000 (Malformed profile)"
int report(const char *action, const char *subject, const std::string &target, const std::string &user,
           const ProfileError &error) {
  fprintf(stderr, "profiles %s for %s:\u2018%s\u2019 and user:\u2018%s\u2019 returned %d (%s)\n", action, subject,
          target.c_str(), user.c_str(), error.code, error.text.c_str());
  return 1;
}

ProfileError errnoError(int error) { return {error, strerror(error)}; }

bool allowed(ProfileError &error) {
  if (geteuid() == 0) return true;
  error = {kAuthorizationDenied, "The authorization was denied."};
  return false;
}

bool knownUser(const std::string &user, ProfileError &error) {
  if (getpwnam(user.c_str()) != nullptr) return true;
  error = {ENOENT, "No such user"};
  return false;
}

int install(const std::string &path, const std::string &user) {
  // macOS 11 and later take configuration profiles only from the person at
  // the Mac (or from device management), never from this tool.
  if (emu::releaseMajor() >= 11) {
    fprintf(stderr,
            "profiles tool no longer supports installs. Use System Preferences Profiles to add configuration "
            "profiles.\n");
    return 1;
  }
  auto failed = [&](const ProfileError &error) { return report("install", "file", path, user, error); };
  ProfileError error;
  bool machineLevel = user == "root";
  if (!allowed(error) || !knownUser(user, error)) return failed(error);
  ProfileDocument document;
  if (!document.load(path, error) || !document.allowedFor(machineLevel, error)) return failed(error);
  ProfileStore store;
  if (int failure = store.load()) return failed(errnoError(failure));

  Owned<CFDictionaryRef> installed = document.createInstalledProfile();
  std::vector<Owned<CFDictionaryRef>> before = store.all();
  PayloadInstaller installer;
  if (!installer.apply(installed.get(), machineLevel, error)) {
    installer.remove(installed.get(), before);
    return failed(error);
  }
  Owned<CFDictionaryRef> replaced =
      store.put(machineLevel ? ProfileStore::kComputerLevel : user, installed.get());
  if (int failure = store.save()) {
    installer.remove(installed.get(), before);
    return failed(errnoError(failure));
  }
  // What only the replaced profile brought goes with it.
  if (replaced) installer.remove(replaced.get(), store.all());
  return 0;
}

int remove(const std::string &identifier, const std::string &user) {
  auto failed = [&](const ProfileError &error) { return report("remove", "identifier", identifier, user, error); };
  ProfileError error;
  if (!allowed(error) || !knownUser(user, error)) return failed(error);
  ProfileStore store;
  if (int failure = store.load()) return failed(errnoError(failure));
  Owned<CFStringRef> key(emu::createString(identifier));
  Owned<CFDictionaryRef> removed = store.take(user == "root" ? ProfileStore::kComputerLevel : user, key.get());
  if (!removed) return failed({ENOENT, "The profile is not installed"});
  if (int failure = store.save()) return failed(errnoError(failure));
  PayloadInstaller().remove(removed.get(), store.all());
  return 0;
}

// Without a file, one line per profile and a count, as the Mac tool prints them.
int show(const char *output) {
  ProfileStore store;
  if (int failure = store.load()) {
    fprintf(stderr, "profiles: the installed profiles cannot be read (%s)\n", strerror(failure));
    return 1;
  }
  if (output != nullptr) {
    Owned<CFDataRef> data(
        CFPropertyListCreateData(nullptr, store.listing(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
    if (int failure = emu::replaceFile(output, data.get(), 0600)) {
      fprintf(stderr, "profiles: unable to write to %s (%s)\n", output, strerror(failure));
      return 1;
    }
    return 0;
  }
  size_t count = 0;
  for (const auto &[owner, profiles] : emu::entries(store.listing())) {
    auto list = static_cast<CFArrayRef>(profiles);
    for (CFIndex i = 0; i < CFArrayGetCount(list); ++i) {
      auto profile = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(list, i));
      CFTypeRef identifier = CFDictionaryGetValue(profile, CFSTR("ProfileIdentifier"));
      std::string shown = emu::isString(identifier) ? emu::utf8(static_cast<CFStringRef>(identifier)) : "";
      printf("%s[%ld] attribute: profileIdentifier: %s\n", emu::utf8(static_cast<CFStringRef>(owner)).c_str(),
             static_cast<long>(i + 1), shown.c_str());
      ++count;
    }
  }
  if (count == 0) {
    printf("There are no configuration profiles installed\n");
  } else {
    printf("There are %zu configuration profiles installed\n", count);
  }
  return 0;
}

}  // namespace

int main(int argc, char *argv[]) {
  char action = 0;
  const char *file = nullptr, *user = nullptr, *identifier = nullptr, *output = nullptr;
  for (int option; (option = getopt(argc, argv, "iIRPF:U:p:o:")) != -1;) {
    switch (option) {
      case 'i':
      case 'I':
      case 'R':
      case 'P':
        if (action != 0) return usage();
        action = static_cast<char>(option);
        break;
      case 'F': file = optarg; break;
      case 'U': user = optarg; break;
      case 'p': identifier = optarg; break;
      case 'o': output = optarg; break;
      default: return usage();
    }
  }
  if (optind != argc) return usage();
  switch (action) {
    case 'i':
      if (file == nullptr || user != nullptr || identifier != nullptr || output != nullptr) return usage();
      return install(file, "root");
    case 'I':
      if (file == nullptr || identifier != nullptr || output != nullptr) return usage();
      return install(file, user != nullptr ? user : "root");
    case 'R':
      if (identifier == nullptr || file != nullptr || output != nullptr) return usage();
      return remove(identifier, user != nullptr ? user : "root");
    case 'P':
      if (file != nullptr || user != nullptr || identifier != nullptr) return usage();
      return show(output);
    default:
      return usage();
  }
}
