#include <Security/Security.h>
#include <emu/ObjectCounts.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "ChildProcess.h"
#include "common/CFSupport.h"
#include "kernel/ProcessIdentity.h"
#include "security/CodeSigner.h"

using emu::Owned;

namespace {

const std::string kClientRequirement =
    "anchor apple generic and (identifier \"com.example.OnboardingClient\" or identifier "
    "\"com.example.OnboardingClientAgent\") and (certificate leaf[field.1.2.840.113635.100.6.1.9] /* exists */ or "
    "certificate 1[field.1.2.840.113635.100.6.2.6] /* exists */ and certificate "
    "leaf[field.1.2.840.113635.100.6.1.13] /* exists */ and certificate leaf[subject.OU] = \"" MACHELPER_TEAM_ID
    "\")";

std::string ownExecutable() {
  char path[PATH_MAX];
  ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  return std::string(path, static_cast<size_t>(length));
}

// A copy of a small real program, signed as asked ("" leaves it unsigned).
class Program {
 public:
  Program(const std::string &keychain, const std::string &identity, const std::string &identifier)
      : path_("/tmp/codesigning-test-" + std::to_string(getpid()) + "-" + std::to_string(++count_)) {
    EXPECT_EQ(0, ChildProcess::run({"/bin/cp", "/bin/true", path_}).status);
    if (keychain.empty() && identity.empty()) return;
    std::string error;
    auto signer = identity == "-" ? emu::sec::CodeSigner::adhoc()
                                  : emu::sec::CodeSigner::fromIdentityFile(keychain, identity, &error);
    EXPECT_TRUE(signer) << error;
    int fd = open(path_.c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_TRUE(signer && signer->sign(fd, identifier, kSecCodeSignatureRuntime, nullptr, &error)) << error;
    close(fd);
  }
  ~Program() { unlink(path_.c_str()); }
  const std::string &path() const { return path_; }

  // Flips one byte at offset (from the end when negative).
  void corrupt(off_t offset) const {
    int fd = open(path_.c_str(), O_RDWR);
    off_t size = lseek(fd, 0, SEEK_END);
    off_t at = offset >= 0 ? offset : size + offset;
    unsigned char byte = 0;
    EXPECT_EQ(1, pread(fd, &byte, 1, at));
    byte ^= 0x01;
    EXPECT_EQ(1, pwrite(fd, &byte, 1, at));
    close(fd);
  }

  OSStatus check(const std::string &requirement = std::string()) const {
    Owned<CFStringRef> text(emu::createString(path_));
    Owned<CFURLRef> url(CFURLCreateWithFileSystemPath(nullptr, text.get(), kCFURLPOSIXPathStyle, false));
    SecStaticCodeRef code = nullptr;
    OSStatus status = SecStaticCodeCreateWithPath(url.get(), kSecCSDefaultFlags, &code);
    if (status != errSecSuccess) return status;
    Owned<SecStaticCodeRef> held(code);
    Owned<SecRequirementRef> parsed;
    if (!requirement.empty()) {
      SecRequirementRef created = nullptr;
      Owned<CFStringRef> source(emu::createString(requirement));
      status = SecRequirementCreateWithString(source.get(), kSecCSDefaultFlags, &created);
      if (status != errSecSuccess) return status;
      parsed.reset(created);
    }
    return SecStaticCodeCheckValidity(code, kSecCSDefaultFlags, parsed.get());
  }

 private:
  static int count_;
  std::string path_;
};
int Program::count_ = 0;

OSStatus parse(const std::string &text) {
  Owned<CFStringRef> source(emu::createString(text));
  SecRequirementRef requirement = nullptr;
  OSStatus status = SecRequirementCreateWithString(source.get(), kSecCSDefaultFlags, &requirement);
  if (requirement != nullptr) CFRelease(requirement);
  return status;
}

std::string errorText(OSStatus status) {
  Owned<CFStringRef> text(SecCopyErrorMessageString(status, nullptr));
  return text ? emu::utf8(text.get()) : std::string();
}

}  // namespace

TEST(CodeRequirement, ReadsTheLanguageAndRefusesWhatItIsNot) {
  long before = emu_cf_live_objects();
  for (const char *valid : {
           "anchor apple", "anchor apple generic", "identifier com.example.a", "identifier = \"a b\"",
           "cert root[subject.CN] = \"Apple Root CA\"", "certificate -2[field.1.2.3] exists",
           "!(identifier a) // a comment\n and ! ! identifier b", "/* c */ ( ( identifier a ) )"}) {
    EXPECT_EQ(errSecSuccess, parse(valid)) << valid;
  }
  EXPECT_EQ(errSecSuccess, parse(kClientRequirement));
  for (const char *invalid : {
           "", "anchor", "anchor trusted", "identifier", "identifier a and", "(identifier a", "identifier a)",
           "identifier \"a", "identifier a /* open", "certificate leaf[field.1..2] exists",
           "certificate leaf[field.1.2] = \"x\"", "certificate leaf[subject.XX] = \"x\"", "certificate leaf[subject.CN]",
           "certificate middle[subject.CN] = \"x\"", "info[CFBundleVersion] = \"1\"", "identifier a or or identifier b",
           "identifier a; identifier b"}) {
    EXPECT_EQ(errSecCSReqInvalid, parse(invalid)) << invalid;
  }
  EXPECT_EQ(errSecCSReqInvalid, parse(std::string(5000, '(') + "identifier a" + std::string(5000, ')')));
  EXPECT_EQ("invalid or corrupted code requirement(s)", errorText(errSecCSReqInvalid));
  EXPECT_EQ(before, emu_cf_live_objects());
}

TEST(CodeRequirement, EachClauseAndApplesPrecedence) {
  Program client(MACHELPER_SIGNING_KEYCHAIN, MACHELPER_SIGNING_IDENTITY, "com.example.OnboardingClient");
  Program other(MACHELPER_OTHER_SIGNING_KEYCHAIN, MACHELPER_OTHER_SIGNING_IDENTITY, "com.example.OnboardingClient");
  Program adhoc("", "-", "com.example.OnboardingClient");
  long before = emu_cf_live_objects();

  EXPECT_EQ(errSecSuccess, client.check(kClientRequirement));
  EXPECT_EQ(errSecCSReqFailed, other.check(kClientRequirement));
  EXPECT_EQ(errSecCSReqFailed, adhoc.check(kClientRequirement));

  EXPECT_EQ(errSecSuccess, client.check("anchor apple generic"));
  EXPECT_EQ(errSecSuccess, other.check("anchor apple generic"));
  EXPECT_EQ(errSecCSReqFailed, adhoc.check("anchor apple generic"));
  // Developer ID code is not Apple's own.
  EXPECT_EQ(errSecCSReqFailed, client.check("anchor apple"));
  EXPECT_EQ(errSecSuccess, adhoc.check("identifier com.example.OnboardingClient"));
  EXPECT_EQ(errSecCSReqFailed, client.check("identifier com.example.OnboardingClientAgent"));
  EXPECT_EQ(errSecSuccess, client.check("certificate leaf[subject.OU] = " MACHELPER_TEAM_ID));
  EXPECT_EQ(errSecCSReqFailed, client.check("certificate leaf[subject.OU] = " MACHELPER_TEAM_ID "x"));
  EXPECT_EQ(errSecSuccess, client.check("certificate leaf[subject.OU] = \"" MACHELPER_TEAM_ID "\""));
  EXPECT_EQ(errSecCSReqFailed, other.check("certificate leaf[subject.OU] = \"" MACHELPER_TEAM_ID "\""));
  EXPECT_EQ(errSecSuccess, client.check("certificate root[subject.CN] = \"Apple Root CA\""));
  EXPECT_EQ(errSecSuccess, client.check("certificate -2[field.1.2.840.113635.100.6.2.6] exists"));
  EXPECT_EQ(errSecSuccess, client.check("certificate 1[field.1.2.840.113635.100.6.2.6] exists"));
  EXPECT_EQ(errSecCSReqFailed, client.check("certificate leaf[field.1.2.840.113635.100.6.2.6] exists"));
  EXPECT_EQ(errSecCSReqFailed, client.check("certificate 5[subject.CN] = \"x\""));
  // ! binds tighter than and, and tighter than or.
  EXPECT_EQ(errSecSuccess, adhoc.check("identifier com.example.OnboardingClient or identifier x and identifier y"));
  EXPECT_EQ(errSecCSReqFailed,
            adhoc.check("(identifier com.example.OnboardingClient or identifier x) and identifier y"));
  EXPECT_EQ(errSecCSReqFailed, adhoc.check("! identifier com.example.OnboardingClient and identifier x"));
  EXPECT_EQ(errSecSuccess, adhoc.check("! (identifier x and identifier com.example.OnboardingClient)"));
  EXPECT_EQ(before, emu_cf_live_objects());
}

TEST(CodeSignature, ModifiedOrUnsignedCodeIsRefused) {
  Program unsignedProgram("", "", "");
  EXPECT_EQ(errSecCSUnsigned, unsignedProgram.check());
  EXPECT_EQ(errSecCSUnsigned, unsignedProgram.check(kClientRequirement));
  EXPECT_EQ("code object is not signed at all", errorText(errSecCSUnsigned));

  Program code(MACHELPER_SIGNING_KEYCHAIN, MACHELPER_SIGNING_IDENTITY, "com.example.OnboardingClient");
  EXPECT_EQ(errSecSuccess, code.check());
  code.corrupt(100);
  EXPECT_EQ(errSecCSSignatureFailed, code.check());
  EXPECT_EQ(errSecCSSignatureFailed, code.check(kClientRequirement));
  EXPECT_EQ("invalid signature (code or signature have been modified)", errorText(errSecCSSignatureFailed));

  // Anywhere in the signature: the code directory, the CMS, the length.
  for (off_t offset : {-13, -200, -600, -1200, -12}) {
    Program signature(MACHELPER_SIGNING_KEYCHAIN, MACHELPER_SIGNING_IDENTITY, "com.example.OnboardingClient");
    signature.corrupt(offset);
    OSStatus status = signature.check();
    EXPECT_TRUE(status == errSecCSSignatureFailed) << offset << ": " << status;
  }
  Program adhoc("", "-", "com.example.OnboardingClient");
  EXPECT_EQ(errSecSuccess, adhoc.check());
  adhoc.corrupt(0);
  EXPECT_EQ(errSecCSSignatureFailed, adhoc.check());
}

// The code a guest-attribute lookup by these audit-token bytes finds, and its status.
static OSStatus guestByAudit(const audit_token_t &token, CFIndex length, Owned<SecCodeRef> *held) {
  Owned<CFDataRef> audit(CFDataCreate(nullptr, reinterpret_cast<const UInt8 *>(&token), length));
  const void *keys[] = {kSecGuestAttributeAudit};
  const void *values[] = {audit.get()};
  Owned<CFDictionaryRef> attributes(
      CFDictionaryCreate(nullptr, keys, values, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  SecCodeRef code = nullptr;
  OSStatus status = SecCodeCopyGuestWithAttributes(nullptr, attributes.get(), kSecCSDefaultFlags, &code);
  held->reset(code);
  return status;
}

TEST(SecCode, APeerFoundByItsAuditTokenIsCheckedAgainstTheClientRequirement) {
  long before = emu_cf_live_objects();
  int pair[2];
  ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair));
  auto identity = emu::kernel::captureSocketPeer(pair[0]);
  ASSERT_NE(nullptr, identity);
  audit_token_t token = emu::kernel::auditTokenOf(*identity);
  {
    Owned<SecCodeRef> code;
    ASSERT_EQ(errSecSuccess, guestByAudit(token, sizeof token, &code));
    SecRequirementRef requirement = nullptr;
    Owned<CFStringRef> text(emu::createString(kClientRequirement));
    ASSERT_EQ(errSecSuccess, SecRequirementCreateWithString(text.get(), kSecCSDefaultFlags, &requirement));
    Owned<SecRequirementRef> heldRequirement(requirement);
    EXPECT_EQ(errSecSuccess, SecCodeCheckValidity(code.get(), kSecCSDefaultFlags, requirement));

    CFDictionaryRef information = nullptr;
    ASSERT_EQ(errSecSuccess, SecCodeCopySigningInformation(code.get(), kSecCSSigningInformation, &information));
    Owned<CFDictionaryRef> heldInformation(information);
    auto value = [&](CFStringRef key) { return CFDictionaryGetValue(information, key); };
    EXPECT_TRUE(CFEqual(CFSTR("com.example.OnboardingClient"), value(kSecCodeInfoIdentifier)));
    EXPECT_TRUE(CFEqual(CFSTR(MACHELPER_TEAM_ID), value(kSecCodeInfoTeamIdentifier)));
    uint32_t flags = 0;
    ASSERT_TRUE(emu::isA(value(kSecCodeInfoFlags), CFNumberGetTypeID()));
    CFNumberGetValue(static_cast<CFNumberRef>(value(kSecCodeInfoFlags)), kCFNumberSInt32Type, &flags);
    EXPECT_EQ(kSecCodeSignatureRuntime, flags);
    EXPECT_EQ(3, CFArrayGetCount(static_cast<CFArrayRef>(value(kSecCodeInfoCertificates))));

    CFURLRef path = nullptr;
    ASSERT_EQ(errSecSuccess, SecCodeCopyPath(code.get(), kSecCSDefaultFlags, &path));
    Owned<CFURLRef> heldPath(path);
    Owned<CFStringRef> pathText(CFURLCopyFileSystemPath(path, kCFURLPOSIXPathStyle));
    EXPECT_EQ(ownExecutable(), emu::utf8(pathText.get()));
  }
  // A token nobody holds names no code, nor does a cut-off one.
  identity.reset();
  for (CFIndex length : {static_cast<CFIndex>(sizeof token), CFIndex{7}}) {
    Owned<SecCodeRef> code;
    EXPECT_EQ(errSecCSNoSuchCode, guestByAudit(token, length, &code));
    EXPECT_EQ(nullptr, code.get());
  }
  close(pair[0]);
  close(pair[1]);
  EXPECT_EQ(before, emu_cf_live_objects());
}

TEST(CodesignTool, SignsDisplaysAndVerifiesWithTheRealToolsWords) {
  Program program("", "", "");
  const std::string &path = program.path();
  ProcessResult unsignedResult = ChildProcess::run({"/usr/bin/codesign", "-v", path});
  EXPECT_EQ(1, unsignedResult.status);
  EXPECT_EQ(path + ": code object is not signed at all\n", unsignedResult.err);

  ProcessResult signing = ChildProcess::run({"/usr/bin/codesign", "-s", MACHELPER_SIGNING_IDENTITY, "--keychain",
                                             MACHELPER_SIGNING_KEYCHAIN, "-i", "com.example.OnboardingClient",
                                             "--options", "runtime", path});
  EXPECT_EQ(0, signing.status) << signing.err;
  ProcessResult again = ChildProcess::run({"/usr/bin/codesign", "-s", "-", path});
  EXPECT_EQ(1, again.status);
  EXPECT_EQ(path + ": is already signed\n", again.err);

  ProcessResult shown = ChildProcess::run({"/usr/bin/codesign", "-dv", path});
  EXPECT_EQ(0, shown.status);
  EXPECT_NE(std::string::npos, shown.err.find("Identifier=com.example.OnboardingClient\n"));
  EXPECT_NE(std::string::npos, shown.err.find("flags=0x10000(runtime)"));
  EXPECT_NE(std::string::npos, shown.err.find("Authority=" MACHELPER_SIGNING_IDENTITY "\n"
                                              "Authority=Developer ID Certification Authority\n"
                                              "Authority=Apple Root CA\n"));
  EXPECT_NE(std::string::npos, shown.err.find("TeamIdentifier=" MACHELPER_TEAM_ID "\n"));

  ProcessResult satisfied = ChildProcess::run({"/usr/bin/codesign", "-vv", "-R=" + kClientRequirement, path});
  EXPECT_EQ(0, satisfied.status) << satisfied.err;
  EXPECT_EQ(path + ": valid on disk\n" + path + ": explicit requirement satisfied\n", satisfied.err);
  ProcessResult failed = ChildProcess::run({"/usr/bin/codesign", "-v", "-R", "identifier other", path});
  EXPECT_EQ(3, failed.status);

  EXPECT_EQ(0, ChildProcess::run({"/usr/bin/codesign", "-f", "-s", "-", path}).status);
  EXPECT_NE(std::string::npos, ChildProcess::run({"/usr/bin/codesign", "-dv", path}).err.find("Signature=adhoc\n"));
  EXPECT_EQ(0, ChildProcess::run({"/usr/bin/codesign", "--remove-signature", path}).status);
  EXPECT_EQ(1, ChildProcess::run({"/usr/bin/codesign", "-v", path}).status);
  // What is left is the program as it was.
  EXPECT_EQ(0, ChildProcess::run({"/usr/bin/cmp", path, "/bin/true"}).status);
}
