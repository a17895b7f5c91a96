#include "ProfilesTestSupport.h"

#include <gtest/gtest.h>

namespace profiletest {

ProcessResult profiles(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "/usr/bin/profiles");
  return ChildProcess::run(arguments);
}

void install(const std::string& file, const std::string& user) {
  ProcessResult run = user.empty() ? profiles({"-i", "-F", file}) : profiles({"-I", "-U", user, "-F", file});
  ASSERT_EQ(run.status, 0) << run.err;
}

std::map<std::string, std::vector<std::string>> installedProfiles() {
  const char listing[] = "/tmp/listing.plist";
  ProcessResult run = profiles({"-P", "-o", listing});
  EXPECT_EQ(run.status, 0) << run.err;
  Plist dump(listing);
  std::map<std::string, std::vector<std::string>> owners;
  for (const std::string& owner : dump.keysAt({})) {
    auto list = static_cast<CFArrayRef>(dump.at({owner}));
    for (CFIndex i = 0; i < CFArrayGetCount(list); ++i) {
      owners[owner].push_back(utf8(valueAt(CFArrayGetValueAtIndex(list, i), "ProfileIdentifier")));
    }
  }
  unlink(listing);
  return owners;
}

std::vector<std::string> systemCertificates() {
  std::vector<std::string> labels;
  Plist keychain(kSystemKeychain);
  auto items = static_cast<CFArrayRef>(keychain.at({"Items"}));
  for (CFIndex i = 0; items != nullptr && i < CFArrayGetCount(items); ++i) {
    CFTypeRef item = CFArrayGetValueAtIndex(items, i);
    if (utf8(valueAt(item, "class")) == "cert") labels.push_back(utf8(valueAt(item, "labl")));
  }
  return labels;
}

size_t adminTrustedCount() { return Plist(kAdminTrust).keysAt({"trustList"}).size(); }

}  // namespace profiletest
