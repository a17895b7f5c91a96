// /usr/bin/security of the fake Mac: the commands a person needs to look at
// and change its certificates and trust settings, with the Mac tool's
// options, messages and exit statuses.
//
//   security [-h] [command] [opt ...]
#include <cstdio>
#include <cstring>

#include "SecurityTool.h"

namespace {

struct Command {
  const char *name;
  CommandFunction function;
  const char *usage;
  const char *help;
};

int help(int argc, char *const *argv);

const Command kCommands[] = {
    {"help", help, "[command ...]", "Show all commands, or show usage for a command."},
    {"find-certificate", findCertificate,
     "[-a] [-c name] [-e emailAddress] [-m] [-p] [-Z] [keychain...]\n"
     "    -a  Find all matching certificates, not just the first one\n"
     "    -c  Match on \"name\" when searching (optional)\n"
     "    -e  Match on \"emailAddress\" when searching (optional)\n"
     "    -m  Show the email addresses in the certificate\n"
     "    -p  Output certificate in pem format\n"
     "    -Z  Print SHA-256 (and SHA-1) hash of the certificate\n"
     "If no keychains are specified to search, the default search list is used.",
     "Find a certificate item."},
    {"delete-certificate", deleteCertificate,
     "[-c name] [-Z hash] [-t] [keychain...]\n"
     "    -c  Specify certificate to delete by its common name\n"
     "    -Z  Specify certificate to delete by its SHA-1 hash value\n"
     "    -t  Also delete user trust settings for this certificate\n"
     "The certificate to be deleted must be uniquely specified either by a\n"
     "string found in its common name, or by its SHA-1 hash.\n"
     "If no keychains are specified to search, the default search list is used.",
     "Delete a certificate from a keychain."},
    {"add-trusted-cert", addTrustedCert,
     " [<options>] [certFile]\n"
     "    -d                  Add to admin cert store; default is user\n"
     "    -r resultType       resultType = trustRoot|trustAsRoot|deny|unspecified;\n"
     "                              default is trustRoot\n"
     "    -p policy           Specify policy constraint (basic, ssl, eap)\n"
     "    -k keychain         Specify keychain to which cert is added\n"
     "    certFile            Certificate(s)",
     "Add trusted certificate(s)."},
    {"dump-trust-settings", dumpTrustSettings,
     " [-s] [-d]\n"
     "    -s                  Display trusted system certs (default is user)\n"
     "    -d                  Display trusted admin certs (default is user)\n",
     "Display contents of trust settings."},
};

// A command is named by any start of its name; the first in the table wins.
const Command *find(const char *name) {
  for (const Command &command : kCommands) {
    if (strncmp(command.name, name, strlen(name)) == 0) return &command;
  }
  return nullptr;
}

int help(int argc, char *const *argv) {
  if (argc <= 1) {
    for (const Command &command : kCommands) printf("    %-17s %s\n", command.name, command.help);
    return 0;
  }
  for (int i = 1; i < argc; ++i) {
    const Command *command = find(argv[i]);
    if (command == nullptr) {
      secError("%s: no such command: %s", argv[0], argv[i]);
      return 1;
    }
    printf("Usage: %s %s\n", command->name, command->usage);
  }
  return 0;
}

int usage() {
  printf(
      "Usage: security [-h] [command] [opt ...]\n"
      "security commands are:\n");
  help(0, nullptr);
  return 2;
}

}  // namespace

int main(int argc, char **argv) {
  int first = 1;
  bool showHelp = false;
  for (; first < argc && argv[first][0] == '-'; ++first) {
    if (strcmp(argv[first], "-h") != 0) return usage();
    showHelp = true;
  }
  if (showHelp) return help(argc - first + 1, argv + first - 1);
  if (first == argc) return usage();
  const Command *command = find(argv[first]);
  if (command == nullptr) {
    secError("unknown command \"%s\"", argv[first]);
    return 1;
  }
  int result = command->function(argc - first, argv + first);
  if (result == 2) fprintf(stderr, "Usage: %s %s\n        %s\n", command->name, command->usage, command->help);
  return result;
}
