#include <gtest/gtest.h>
#include <os/log.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace {

// What the calls made by `log` wrote to standard error.
template <typename F>
std::string capturedStderr(F log) {
  std::FILE* capture = std::tmpfile();
  int saved = dup(STDERR_FILENO);
  dup2(fileno(capture), STDERR_FILENO);
  log();
  dup2(saved, STDERR_FILENO);
  close(saved);
  std::string text;
  std::rewind(capture);
  for (int c; (c = std::fgetc(capture)) != EOF;) text += static_cast<char>(c);
  std::fclose(capture);
  return text;
}

TEST(OsLog, WritesOneLinePerMessageWithPrivacyAnnotationsRemoved) {
  std::string text = capturedStderr([] {
    os_log(OS_LOG_DEFAULT, "user %{public}s has %{private}d items, 100%% done", "alice", 3);
    os_log_error(OS_LOG_DEFAULT, "failed: %{public}s", "reason");
    os_log(OS_LOG_DEFAULT, "plain");
  });
  EXPECT_EQ(text, "user alice has 3 items, 100% done\nfailed: reason\nplain\n");
}

}  // namespace
