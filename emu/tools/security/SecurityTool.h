#pragma once
// What the commands of /usr/bin/security share: their signature, the messages
// the Mac tool prints, and reading certificate files.
#include <Security/Security.h>

#include <string>

#include "common/CFSupport.h"

// A command returns 0, 1 for a failure, 2 for a usage error (the caller then
// prints the usage), or a Security status, which becomes the exit status.
using CommandFunction = int (*)(int argc, char *const *argv);

int addTrustedCert(int argc, char *const *argv);
int dumpTrustSettings(int argc, char *const *argv);
int findCertificate(int argc, char *const *argv);
int deleteCertificate(int argc, char *const *argv);

// "security: " and the message, on the standard error.
void secError(const char *format, ...) __attribute__((format(printf, 1, 2)));
// "security: what: <the status's text>".
void secPerror(const char *what, OSStatus status);
// "what: <the status's text>", without the program's name, as the trust
// settings commands print failures.
void cssmPerror(const char *what, OSStatus status);

// A certificate file, PEM or DER; prints the Mac tool's messages and answers
// null when the file cannot be read or is not a certificate.
emu::Owned<SecCertificateRef> readCertFile(const std::string &path);

// The keychains named on a command line (NULL for the default search list).
emu::Owned<CFArrayRef> openKeychains(int argc, char *const *argv);
