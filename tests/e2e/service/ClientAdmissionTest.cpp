// Who may drive the helper: copies of the client tool that the console user
// alex (uid 501) makes, signs and runs. Only the maker's intact signature with
// the hardened runtime gets a command run; every other client is cancelled
// before any of its messages is handled, and the helper says who and why.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "Files.h"
#include "HelperSession.h"

namespace {

constexpr char kFirewallPlist[] = "/Library/Preferences/com.apple.alf.plist";
constexpr char kCodesign[] = "/usr/bin/codesign";

// Runs a program as alex to its end; its exit status.
int runAsAlex(const std::vector<std::string>& argv) {
  ChildProcess alex([&argv] {
    if (setgid(20) != 0 || setuid(501) != 0) return 126;
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    execv(args[0], args.data());
    return 127;
  });
  return alex.wait();
}

struct Copy {
  const char* name;
  std::vector<std::string> signing;  // codesign's arguments before the file; none: left as copied
  const char* reason;                // the end of the helper's refusal line; null: admitted
};

const std::string kOurs = MACHELPER_SIGNING_IDENTITY;
const std::string kOurKeys = MACHELPER_SIGNING_KEYCHAIN;
const std::string kClientId = MACHELPER_CLIENT_ID;

TEST(ClientAdmissionTest, OnlyTheMakersSignedClientsAreServed) {
  if (runAsAlex({"/bin/true"}) != 0) GTEST_SKIP() << "this fake Mac cannot switch to uid 501";
  HelperSession helper;
  const std::string entitlements = "/tmp/no-library-validation.plist";
  writeFile(entitlements,
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
            "<key>com.apple.security.cs.disable-library-validation</key><true/></dict></plist>\n");
  // The refusals are logged to the attached client, this test's, until the
  // admitted copy (last) connects and takes the stream.
  const std::vector<Copy> copies{
      {"unsigned", {"--remove-signature"}, "it is not a signed client of this helper: code object is not signed at all"},
      {"adhoc", {"-f", "-s", "-", "-i", kClientId, "--options", "runtime"},
       "it is not a signed client of this helper: code failed to satisfy specified code requirement(s)"},
      {"other-team",
       {"-f", "-s", MACHELPER_OTHER_SIGNING_IDENTITY, "--keychain", MACHELPER_OTHER_SIGNING_KEYCHAIN, "-i", kClientId,
        "--options", "runtime"},
       "it is not a signed client of this helper: code failed to satisfy specified code requirement(s)"},
      {"other-identifier", {"-f", "-s", kOurs, "--keychain", kOurKeys, "-i", "com.example.Other", "--options", "runtime"},
       "it is not a signed client of this helper: code failed to satisfy specified code requirement(s)"},
      {"no-runtime", {"-f", "-s", kOurs, "--keychain", kOurKeys, "-i", kClientId},
       "it does not run with the hardened runtime, so other code could be injected into it."},
      {"no-library-validation",
       {"-f", "-s", kOurs, "--keychain", kOurKeys, "-i", kClientId, "--options", "runtime", "--entitlements",
        entitlements},
       "it disables library validation, so other code could be injected into it."},
      {"copied", {}, nullptr},
  };

  for (const Copy& copy : copies) {
    SCOPED_TRACE(copy.name);
    const std::string tool = std::string("/tmp/") + copy.name;
    ASSERT_EQ(runAsAlex({"/bin/cp", MACHELPERCTL_PATH, tool}), 0);
    if (!copy.signing.empty()) {
      std::vector<std::string> codesign{kCodesign};
      codesign.insert(codesign.end(), copy.signing.begin(), copy.signing.end());
      codesign.push_back(tool);
      // Re-signing with the maker's identity needs its private key, which
      // only the build (root here) has.
      ProcessResult signing = ChildProcess::run(codesign);
      ASSERT_EQ(signing.status, 0) << signing.err;
    }
    const std::string before = fileBytes(kFirewallPlist);
    int status = runAsAlex({tool, "changefirewallstate", "Enabled:int=1"});
    helper.lines();
    helper.send("ping");  // the refusal line, if any, was logged before this reply
    std::vector<LogLine> lines = helper.lines();
    if (copy.reason == nullptr) {
      EXPECT_EQ(status, 0);
      EXPECT_NE(fileBytes(kFirewallPlist), before);
      continue;
    }
    EXPECT_EQ(status, 3) << "a refused client gets no reply";
    EXPECT_EQ(fileBytes(kFirewallPlist), before) << "nothing ran";
    bool said = false;
    for (const LogLine& line : lines) {
      said = said || (line.level == 4 && line.text.rfind("Refused a connection from '" + tool + "' (PID ", 0) == 0 &&
                      line.text.find(", UID 501): " + std::string(copy.reason)) != std::string::npos);
    }
    EXPECT_TRUE(said) << "no refusal line for " << tool;
  }
}

// A copy whose code was changed after it was signed is not the maker's code.
TEST(ClientAdmissionTest, ATamperedCopyIsRefused) {
  if (runAsAlex({"/bin/true"}) != 0) GTEST_SKIP() << "this fake Mac cannot switch to uid 501";
  HelperSession helper;
  const std::string tool = "/tmp/tampered";
  ASSERT_EQ(runAsAlex({"/bin/cp", MACHELPERCTL_PATH, tool}), 0);
  std::string bytes = fileBytes(tool);
  bytes[bytes.size() / 3] ^= 0x01;  // inside the code the signature covers
  writeFile(tool, bytes);
  const std::string before = fileBytes(kFirewallPlist);
  EXPECT_EQ(runAsAlex({tool, "changefirewallstate", "Enabled:int=1"}), 3);
  EXPECT_EQ(fileBytes(kFirewallPlist), before);
}

}  // namespace
