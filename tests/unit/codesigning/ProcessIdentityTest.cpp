#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "ChildProcess.h"
#include "kernel/ProcessIdentity.h"

using emu::kernel::ProcessIdentity;

namespace {

std::string ownExecutable() {
  char path[PATH_MAX];
  ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  return length > 0 ? std::string(path, static_cast<size_t>(length)) : std::string();
}

// A listening socket in the abstract namespace that forked children connect to.
class Listener {
 public:
  Listener() : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    address_.sun_family = AF_UNIX;
    std::string name = "processidentity-test-" + std::to_string(getpid());
    name.copy(address_.sun_path + 1, sizeof address_.sun_path - 2);
    length_ = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    EXPECT_EQ(0, bind(fd_, reinterpret_cast<sockaddr*>(&address_), length_));
    EXPECT_EQ(0, listen(fd_, 4));
  }
  ~Listener() { close(fd_); }
  // In the child: connects, then (when asked to wait) waits until the test closes its end.
  int connectFromChild(bool wait) const {
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address_), length_) != 0) return 1;
    char byte;
    return !wait || read(fd, &byte, 1) == 0 ? 0 : 2;
  }
  int accept() const { return ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC); }

 private:
  int fd_;
  sockaddr_un address_{};
  socklen_t length_ = 0;
};

}  // namespace

TEST(ProcessIdentity, NamesTheConnectedProcessAndItsTokenFindsItWhileItLives) {
  Listener listener;
  ChildProcess child([&] { return listener.connectFromChild(true); });
  int fd = listener.accept();
  ASSERT_GE(fd, 0);

  auto identity = emu::kernel::captureSocketPeer(fd);
  ASSERT_NE(nullptr, identity);
  EXPECT_EQ(child.pid(), identity->pid);
  EXPECT_EQ(getuid(), identity->uid);
  EXPECT_EQ(getgid(), identity->gid);
  EXPECT_EQ(ownExecutable(), identity->executablePath);
  char magic[4] = {};
  EXPECT_EQ(4, pread(*identity->executable, magic, 4, 0));
  EXPECT_EQ(std::string("\x7f" "ELF", 4), std::string(magic, 4));

  audit_token_t token = emu::kernel::auditTokenOf(*identity);
  EXPECT_EQ(static_cast<unsigned int>(child.pid()), token.val[5]);
  EXPECT_EQ(getuid(), token.val[1]);
  EXPECT_EQ(identity, emu::kernel::identityForAuditToken(token));

  // Another capture of the same peer is another generation, reading the
  // same open executable.
  auto again = emu::kernel::captureSocketPeer(fd);
  ASSERT_NE(nullptr, again);
  EXPECT_NE(identity->generation, again->generation);
  EXPECT_EQ(identity->executable, again->executable);

  // A forged token (the right PID, another generation) names nothing, and a
  // token outlives nothing.
  audit_token_t forged = token;
  forged.val[7] += 1000;
  EXPECT_EQ(nullptr, emu::kernel::identityForAuditToken(forged));
  forged = token;
  forged.val[1] = 0;
  if (getuid() != 0) EXPECT_EQ(nullptr, emu::kernel::identityForAuditToken(forged));
  identity.reset();
  EXPECT_EQ(nullptr, emu::kernel::identityForAuditToken(token));

  close(fd);
  EXPECT_EQ(0, child.wait());
}

TEST(ProcessIdentity, APeerThatIsGoneCannotBeNamed) {
  Listener listener;
  ChildProcess child([&] { return listener.connectFromChild(false); });
  EXPECT_EQ(0, child.wait());
  int fd = listener.accept();
  ASSERT_GE(fd, 0);
  EXPECT_EQ(nullptr, emu::kernel::captureSocketPeer(fd));
  close(fd);

  int notASocket[2];
  ASSERT_EQ(0, pipe(notASocket));
  EXPECT_EQ(nullptr, emu::kernel::captureSocketPeer(notASocket[0]));
  close(notASocket[0]);
  close(notASocket[1]);
}
