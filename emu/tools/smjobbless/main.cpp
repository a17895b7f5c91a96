// smjobbless HELPER
//
// Installs a privileged helper inside the fake Mac, as SMJobBless does on a
// Mac, and waits until launchd holds its Mach services.
#include <cstdio>

#include "HelperInstaller.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: smjobbless HELPER_EXECUTABLE\n");
    return 2;
  }
  HelperInstaller installer{HelperInstaller::Paths{}};
  std::string error;
  auto installed = installer.install(argv[1], error);
  if (!installed) {
    fprintf(stderr, "smjobbless: %s: %s\n", argv[1], error.c_str());
    return 1;
  }
  printf("installed %s\n  %s\n  %s\n", installed->label.c_str(), installed->program.c_str(),
         installed->plist.c_str());
  if (!installer.waitUntilLoaded(*installed, std::chrono::seconds(10), error)) {
    fprintf(stderr, "smjobbless: %s\n", error.c_str());
    return 1;
  }
  return 0;
}
