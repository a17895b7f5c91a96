#include "Certificate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "ChildProcess.h"
#include "Files.h"

namespace {

std::string openssl(const std::string& path, std::vector<std::string> arguments) {
  std::vector<std::string> argv{"/usr/bin/openssl", "x509", "-in", path};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  ProcessResult result = ChildProcess::run(argv);
  EXPECT_EQ(result.status, 0) << path << ": " << result.err;
  return result.out;
}

}  // namespace

Certificate::Certificate(const std::string& name) {
  std::string path = "/usr/share/ca-certificates/mozilla/" + name;
  pem = fileBytes(path);
  der = openssl(path, {"-outform", "der"});
  // "sha1 Fingerprint=CA:BD:...:E8\n"
  std::string fingerprint = openssl(path, {"-noout", "-fingerprint", "-sha1"});
  thumbprint = fingerprint.substr(fingerprint.find('=') + 1);
  thumbprint.erase(thumbprint.find_last_not_of('\n') + 1);
  std::replace(thumbprint.begin(), thumbprint.end(), ':', ' ');
}

std::string Certificate::trustKey() const {
  std::string key = thumbprint;
  key.erase(std::remove(key.begin(), key.end(), ' '), key.end());
  return key;
}
