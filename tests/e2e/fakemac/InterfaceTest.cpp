// The fake Mac's network interfaces are real ones of its own network
// namespace: the helper's ioctls act on them and on nothing of the host's
// (the host side is checked by host_isolation.sh). The devices themselves are
// checked where the image's services name them and where the dynamic store
// reports them.
#include <gtest/gtest.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <optional>
#include <string>

#include "Files.h"

namespace {

// An interface's flags as the ioctl reads them, once set to `value` if given.
short flags(const char* name, std::optional<int> value = std::nullopt) {
  int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ifreq request{};
  snprintf(request.ifr_name, IFNAMSIZ, "%s", name);
  if (value) {
    request.ifr_flags = static_cast<short>(*value);
    EXPECT_EQ(ioctl(fd, SIOCSIFFLAGS, &request), 0) << name;
  }
  EXPECT_EQ(ioctl(fd, SIOCGIFFLAGS, &request), 0) << name;
  close(fd);
  return request.ifr_flags;
}

// The kernel's own view, through another interface than the ioctl.
long sysfsFlags(const char* name) {
  return std::stol(fileBytes(std::string("/sys/class/net/") + name + "/flags"), nullptr, 16);
}

TEST(InterfaceTest, FlagsChangeForReal) {
  EXPECT_TRUE(flags("lo") & IFF_UP);
  short before = flags("en0");
  ASSERT_TRUE(before & IFF_UP);
  EXPECT_FALSE(flags("en0", before & ~IFF_UP) & IFF_UP);
  EXPECT_FALSE(sysfsFlags("en0") & IFF_UP);
  EXPECT_TRUE(flags("en0", before | IFF_UP) & IFF_UP);
  EXPECT_TRUE(sysfsFlags("en0") & IFF_UP);
}

}  // namespace
