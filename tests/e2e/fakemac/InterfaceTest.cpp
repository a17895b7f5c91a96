// The fake Mac's network interfaces are real ones of its own network
// namespace: the helper's ioctls act on them and on nothing of the host's
// (the host side is checked by host_isolation.sh).
#include <gtest/gtest.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <string>

namespace {

class InterfaceTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_GE(fd_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), 0); }
  void TearDown() override { close(fd_); }

  short flags(const char* name) {
    ifreq request{};
    snprintf(request.ifr_name, IFNAMSIZ, "%s", name);
    EXPECT_EQ(ioctl(fd_, SIOCGIFFLAGS, &request), 0) << name;
    return request.ifr_flags;
  }
  void setFlags(const char* name, short value) {
    ifreq request{};
    snprintf(request.ifr_name, IFNAMSIZ, "%s", name);
    request.ifr_flags = value;
    ASSERT_EQ(ioctl(fd_, SIOCSIFFLAGS, &request), 0) << name;
  }
  // The kernel's own view, through another interface than the ioctl.
  static long sysfsFlags(const char* name) {
    std::ifstream in(std::string("/sys/class/net/") + name + "/flags");
    std::string hex;
    in >> hex;
    return hex.empty() ? -1 : std::stol(hex, nullptr, 16);
  }

  int fd_ = -1;
};

TEST_F(InterfaceTest, TheServicesDevicesExist) {
  for (const char* name : {"lo", "en0", "en1", "en2", "en3", "bridge0"}) {
    EXPECT_NE(if_nametoindex(name), 0u) << name;
  }
  EXPECT_TRUE(flags("lo") & IFF_UP);
  EXPECT_TRUE(flags("en0") & IFF_UP);
}

TEST_F(InterfaceTest, FlagsChangeForReal) {
  short before = flags("en0");
  setFlags("en0", static_cast<short>(before & ~IFF_UP));
  EXPECT_FALSE(flags("en0") & IFF_UP);
  EXPECT_FALSE(sysfsFlags("en0") & IFF_UP);

  setFlags("en0", static_cast<short>(before | IFF_UP));
  EXPECT_TRUE(flags("en0") & IFF_UP);
  EXPECT_TRUE(sysfsFlags("en0") & IFF_UP);
}

}  // namespace
