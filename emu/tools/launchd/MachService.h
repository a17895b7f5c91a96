#pragma once
// The rendezvous for one Mach service NAME, as emu's XPC expects it: the Unix
// stream socket DIR/NAME, listening, and an exclusive flock on DIR/NAME.lock
// held for as long as the service is held, so that a helper started by hand
// finds the name taken.
#include <string>

class MachService {
 public:
  enum class OpenResult { Opened, Taken, Failed };

  MachService(std::string dir, std::string name);
  ~MachService();
  MachService(const MachService&) = delete;
  MachService& operator=(const MachService&) = delete;

  OpenResult open(std::string& error);
  // Unlinks the socket, so that clients fail at once instead of queueing.
  void close();

  bool isOpen() const { return fd_ >= 0; }
  int fd() const { return fd_; }
  const std::string& name() const { return name_; }
  std::string socketPath() const { return dir_ + "/" + name_; }

 private:
  std::string dir_;
  std::string name_;
  int fd_ = -1;
  int lockFd_ = -1;
};
