// smjobbless: what a blessed helper leaves behind, and the executables it
// must refuse without installing anything.
#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>

#include "ChildProcess.h"
#include "Files.h"

namespace fs = std::filesystem;
using ::testing::HasSubstr;

namespace {

const std::string kLabel = "com.example.fakemac.stub";

bool nothingInstalled() {
  return fs::is_empty("/Library/PrivilegedHelperTools") && fs::is_empty("/Library/LaunchDaemons");
}

TEST(InstallTest, CopiesTheHelperAndWritesItsJob) {
  ProcessResult result = ChildProcess::run({SMJOBBLESS_PATH, STUB_PATH});
  ASSERT_EQ(result.status, 0) << result.err;

  const std::string program = "/Library/PrivilegedHelperTools/" + kLabel;
  struct stat st;
  ASSERT_EQ(stat(program.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode, S_IFREG | 0544);
  EXPECT_EQ(st.st_uid, 0u);
  EXPECT_EQ(st.st_gid, 0u);
  EXPECT_TRUE(fileBytes(program) == fileBytes(STUB_PATH));

  // What the job says is proven by launchd starting the program for the service.
  const std::string plistPath = "/Library/LaunchDaemons/" + kLabel + ".plist";
  ASSERT_EQ(stat(plistPath.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode, S_IFREG | 0644);
  EXPECT_THAT(fileBytes(plistPath), HasSubstr("<?xml"));
}

// Nothing is installed from a refused executable. Damaged section tables
// must be refused, not read past (the sanitizer build catches an
// out-of-bounds read here).
TEST(InstallTest, RefusesForeignAndDamagedExecutables) {
  std::vector<std::pair<std::string, std::string>> refused = {
      {MISMATCHED_STUB_PATH, "the Info plist's CFBundleIdentifier (com.example.fakemac.other) does not match "
                             "the launchd plist's Label (" + kLabel + ")"},
      {"/bin/true", "no __info_plist section"}};
  const std::string good = fileBytes(STUB_PATH);
  ASSERT_GT(good.size(), sizeof(Elf64_Ehdr));
  Elf64_Ehdr header;
  memcpy(&header, good.data(), sizeof header);

  std::vector<std::string> damaged = {good.substr(0, 16), good.substr(0, sizeof header),
                                      good.substr(0, good.size() / 2),
                                      good.substr(0, good.size() - 1)};
  auto patched = [&](auto change) {
    Elf64_Ehdr h = header;
    change(h);
    std::string bytes = good;
    memcpy(bytes.data(), &h, sizeof h);
    damaged.push_back(bytes);
  };
  patched([](Elf64_Ehdr& h) { h.e_shoff = ~0ull - 8; });
  patched([](Elf64_Ehdr& h) { h.e_shnum = 0xffff; });
  patched([](Elf64_Ehdr& h) { h.e_shstrndx = h.e_shnum; });
  patched([](Elf64_Ehdr& h) { h.e_ident[EI_CLASS] = ELFCLASS32; });

  for (size_t i = 0; i < damaged.size(); ++i) {
    const std::string path = "/tmp/damaged-" + std::to_string(i);
    writeFile(path, damaged[i]);
    chmod(path.c_str(), 0755);
    refused.emplace_back(path, "");
  }

  for (const auto& [path, message] : refused) {
    ProcessResult result = ChildProcess::run({SMJOBBLESS_PATH, path});
    EXPECT_EQ(result.status, 1) << path << ": " << result.err;
    EXPECT_THAT(result.err, HasSubstr(message)) << path;
  }
  EXPECT_TRUE(nothingInstalled());
}

}  // namespace
