#include "SCTestSupport.h"

#include <poll.h>
#include <unistd.h>

namespace sctest {

std::vector<std::string> texts(CFArrayRef strings) {
  std::vector<std::string> result;
  for (CFIndex i = 0, n = strings != nullptr ? CFArrayGetCount(strings) : 0; i < n; ++i) {
    result.push_back(utf8(CFArrayGetValueAtIndex(strings, i)));
  }
  return result;
}

xpc::CFRef<SCPreferencesRef> openPreferences() { return adopt(SCPreferencesCreate(nullptr, CFSTR("test"), nullptr)); }

Pipe::Pipe() {
  if (pipe(fds_) != 0) fds_[0] = fds_[1] = -1;
}

Pipe::~Pipe() {
  close(fds_[0]);
  close(fds_[1]);
}

void Pipe::signal() {
  char byte = 1;
  if (write(fds_[1], &byte, 1) != 1) perror("pipe");
}

bool Pipe::wait() {
  struct pollfd ready = {fds_[0], POLLIN, 0};
  char byte;
  return poll(&ready, 1, 60000) == 1 && read(fds_[0], &byte, 1) == 1;
}

}  // namespace sctest
