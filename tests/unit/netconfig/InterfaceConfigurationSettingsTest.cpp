// The interface family called in-process: the installer's and the up/down
// reader's refusals that no request can reach.
#include <sys/resource.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "InterfaceConfigurationSettings.h"
#include "NetconfigTestSupport.h"

namespace {

class InterfaceConfigurationSettingsTest : public CFTest {
 protected:
  LogCapture log;
  InterfaceConfigurationSettings family{log.logger()};
};

// No request reaches the installer without a path; called directly, it says so.
TEST_F(InterfaceConfigurationSettingsTest, TheProfileInstallerNeedsAPath) {
  EXPECT_FALSE(family.writeMobileconfigData(true, "", ""));
  EXPECT_TRUE(log.saw(4, "No mobileconfig path was provided while attempting to write our mobileconfig data!"));
}

TEST_F(InterfaceConfigurationSettingsTest, AdminStateNeedsANameAndASocket) {
  EXPECT_FALSE(family.setInterfaceAdminState("", false));
  EXPECT_TRUE(log.saw(4, "Unable to determine the up/down state of an interface because the provided interface "
                         "name was empty!"));

  // With every descriptor taken there is no socket to ask the interface with.
  rlimit saved{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &saved), 0);
  rlimit tight = saved;
  tight.rlim_cur = 256;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
  std::vector<int> taken;
  for (int fd; (fd = dup(STDERR_FILENO)) != -1;) taken.push_back(fd);
  bool changed = family.setInterfaceAdminState("en0", false);
  for (int fd : taken) close(fd);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &saved), 0);

  EXPECT_FALSE(changed);
  EXPECT_EQ(log.take(),
            (std::vector<LogLine>{
                {4, "Unable to get a socket to operate on while checking the up/down state of an interface!"},
                {4, "    Error was : Too many open files"}}));
}

}  // namespace
