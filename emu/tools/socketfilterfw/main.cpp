// /usr/libexec/ApplicationFirewall/socketfilterfw of the fake Mac: the
// application firewall's command-line interface, for its global state only.
//
//   socketfilterfw --getglobalstate
//   socketfilterfw --setglobalstate on|off
//
// Up to macOS 14 the state is "globalstate" in /Library/Preferences/com.apple.alf.plist,
// which the tool and anyone else may edit. macOS 15 keeps it out of any
// property list; the fake Mac keeps it in /var/emu/firewall.plist, a file of
// the emulation's own that only this tool reads and writes.
#include <plist/plist.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "Plist.h"

namespace {

const char kVersionFile[] = "/System/Library/CoreServices/SystemVersion.plist";
const char kPreferences[] = "/Library/Preferences/com.apple.alf.plist";
const char kOwnStore[] = "/var/emu/firewall.plist";

int usage() {
  fprintf(stderr,
          "usage: socketfilterfw --getglobalstate\n"
          "       socketfilterfw --setglobalstate on | off\n"
          "(the fake Mac emulates the global state only)\n");
  return 2;
}

const char* store() {
  Plist version = Plist::load(kVersionFile);
  std::string product = Plist::string(version.get(), "ProductVersion").value_or("0");
  return std::atoi(product.c_str()) >= 15 ? kOwnStore : kPreferences;
}

int printState(int64_t state) {
  printf("Firewall is %s. (State = %lld)\n", state != 0 ? "enabled" : "disabled", static_cast<long long>(state));
  return 0;
}

// The other keys of the file stay as they are; it is written back binary,
// as the preferences system writes it.
bool writeState(const char* path, int64_t state) {
  Plist file = Plist::load(path);
  if (!file.isDict()) file = Plist(plist_new_dict());
  plist_dict_set_item(file.get(), "globalstate", plist_new_uint(static_cast<uint64_t>(state)));
  char* bytes = nullptr;
  uint32_t length = 0;
  plist_to_bin(file.get(), &bytes, &length);
  std::string temporary = std::string(path) + "-new";
  std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
  out.write(bytes, length);
  plist_to_bin_free(bytes);
  out.close();
  return out && rename(temporary.c_str(), path) == 0;
}

}  // namespace

int main(int argc, char* argv[]) {
  const char* path = store();
  if (argc == 2 && strcmp(argv[1], "--getglobalstate") == 0) {
    Plist file = Plist::load(path);
    return printState(Plist::integer(file.get(), "globalstate").value_or(0));
  }
  if (argc != 3 || strcmp(argv[1], "--setglobalstate") != 0) return usage();
  int64_t state;
  if (strcmp(argv[2], "on") == 0) {
    state = 1;
  } else if (strcmp(argv[2], "off") == 0) {
    state = 0;
  } else {
    return usage();
  }
  if (geteuid() != 0) {
    fprintf(stderr, "socketfilterfw: changing the firewall needs root\n");
    return 1;
  }
  if (!writeState(path, state)) {
    fprintf(stderr, "socketfilterfw: cannot write %s: %s\n", path, strerror(errno));
    return 1;
  }
  return printState(state);
}
