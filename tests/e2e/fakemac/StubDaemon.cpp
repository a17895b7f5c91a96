// Stands in for the privileged helper in the fake Mac's own tests: it carries
// the two embedded property lists the installer reads, and serves its Mach
// service on the socket launchd hands over in XPC_EMU_LISTENER_FDS. Started
// by hand it only tries the service's lock: exit status 3 when launchd holds it.
//
// One request per line: "ping" -> "pong PID", "env" -> the listener variable,
// "fds" -> its open descriptors, "quit" -> "bye" and exit 0.
//
//   fakemac_stub                      serve
//   fakemac_stub --send NAME REQUEST  client: print the reply, exit 1 if none
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

asm(".pushsection __info_plist,\"a\"\n.incbin \"" STUB_INFO_PLIST
    "\"\n.popsection\n"
    ".pushsection __launchd_plist,\"a\"\n.incbin \"" STUB_LAUNCHD_PLIST "\"\n.popsection\n");

namespace {

const char kService[] = "com.example.fakemac.stub";
const char kRendezvous[] = "/var/run/xpc/";

int inheritedListener() {
  const char* fds = getenv("XPC_EMU_LISTENER_FDS");
  std::string prefix = std::string(kService) + "=";
  if (!fds || strncmp(fds, prefix.c_str(), prefix.size()) != 0) return -1;
  return atoi(fds + prefix.size());
}

int lockTaken() {
  std::string lock = std::string(kRendezvous) + kService + ".lock";
  int fd = open(lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) == 0) {
    fprintf(stderr, "%s: not started by launchd\n", kService);
    return 1;
  }
  fprintf(stderr, "%s: service is taken\n", kService);
  return 3;
}

std::string openFds() {
  std::string result;
  DIR* dir = opendir("/proc/self/fd");
  while (dirent* entry = readdir(dir)) {
    if (entry->d_name[0] == '.' || atoi(entry->d_name) == dirfd(dir)) continue;
    result += std::string(" ") + entry->d_name;
  }
  closedir(dir);
  return result;
}

int serve(int listener) {
  for (;;) {
    int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) return 1;
    FILE* in = fdopen(connection, "r");
    char line[256];
    while (fgets(line, sizeof line, in)) {
      line[strcspn(line, "\n")] = 0;
      std::string reply;
      if (!strcmp(line, "ping")) {
        reply = "pong " + std::to_string(getpid());
      } else if (!strcmp(line, "env")) {
        const char* value = getenv("XPC_EMU_LISTENER_FDS");
        reply = std::string("listener ") + std::to_string(listener) + " " + (value ? value : "");
      } else if (!strcmp(line, "fds")) {
        reply = "fds" + openFds();
      } else if (!strcmp(line, "quit")) {
        reply = "bye";
      } else {
        reply = "unknown";
      }
      reply += "\n";
      (void)!write(connection, reply.data(), reply.size());
      if (!strcmp(line, "quit")) return 0;
    }
    fclose(in);
  }
}

int send(const std::string& name, const std::string& request) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  snprintf(address.sun_path, sizeof address.sun_path, "%s%s", kRendezvous, name.c_str());
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  // A reply that never comes fails instead of hanging the test.
  timeval patience{10, 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    perror("connect");
    return 1;
  }
  std::string line = request + "\n";
  (void)!write(fd, line.data(), line.size());
  char reply[256];
  ssize_t n = read(fd, reply, sizeof reply - 1);
  if (n <= 0) return 1;
  fwrite(reply, 1, static_cast<size_t>(n), stdout);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && !strcmp(argv[1], "--send")) return send(argv[2], argv[3]);
  int listener = inheritedListener();
  return listener >= 0 ? serve(listener) : lockTaken();
}
