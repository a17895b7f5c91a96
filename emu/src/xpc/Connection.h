#pragma once
#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include <Security/Security.h>
#include <bsm/audit.h>

#include "../kernel/ProcessIdentity.h"
#include "Object.h"
#include "SocketLoop.h"
#include "Wire.h"

namespace emu::xpc {

// One end of a conversation with a Mach service over a Unix stream socket: a
// client, a listener, or a peer a listener accepted. Whatever arrives
// (messages, replies, new peers, errors) passes through one FIFO inbox that is
// drained one event at a time on the target queue, so handlers never overlap
// and a reply is handled only after everything that arrived before it.
//
// Its socket is watched by the process's one socket loop, which reads
// frames, accepts peers and writes what the socket would not take at once;
// a connection has no thread of its own.
//
// Lifetime: from activation until the final XPC_ERROR_CONNECTION_INVALID has
// been delivered the runtime holds a reference of its own. Peers are born
// holding only that one, so a service never retains or releases the peers it
// is given.
class Connection : public Object, private SocketLoop::Watcher {
 public:
  static Connection* from(xpc_connection_t handle);
  static Connection* createClient(const char* name, dispatch_queue_t targetq);
  // Null if another live process listens for `name`.
  static Connection* createListener(const char* name, dispatch_queue_t targetq);

  void setEventHandler(xpc_handler_t handler);
  void setTargetQueue(dispatch_queue_t targetq);
  // Non-zero if the requirement cannot be read.
  int setPeerRequirement(const char* requirement);
  void activate();
  void suspend();
  void resume();
  void cancel();
  void send(Object& message);
  void sendWithReply(Object& message, dispatch_queue_t replyq, xpc_handler_t handler);
  // The reply or an error; owned by the caller.
  Object* sendWithReplySync(Object& message);
  const char* name() const;
  pid_t pid() const { return pid_; }
  uid_t euid() const { return identity_ ? identity_->uid : static_cast<uid_t>(-1); }
  // The peer's audit token as the kernel gave it when the peer connected; all
  // zeros for a connection that is not a peer.
  audit_token_t auditToken() const;

  void describe(std::string& out, int depth) const override;

 private:
  enum class Role { Client, Listener, Peer };

  // Someone waiting for the reply to a message. No queue: a thread blocked
  // in sendWithReplySync, answered on the spot.
  struct Waiter {
    dispatch_queue_t queue;  // retained
    xpc_handler_t handler;   // copied
    uint64_t session;        // the socket the message went out on
  };

  struct Event {
    Object* object;       // retained
    Waiter waiter;        // a handler that waits for this object, else the event handler gets it
    bool last;            // nothing follows; the runtime lets go of the connection after it
  };

  Connection(Role role, const char* name, dispatch_queue_t targetq);
  ~Connection() override;

  void transmit(Object& message, const Waiter* waiter);
  bool connectLocked();
  // Hands the socket to the socket loop, which holds a reference until it
  // has closed it.
  void watchLocked(int fd, uint64_t session);
  void socketReady(uint32_t events) override;
  // False once the conversation on the socket is over.
  bool readAvailable();
  bool takeFrames(pid_t chunkSender);
  void acceptAvailable();
  void socketClosed();
  void flushLocked();
  void receive(const Wire::Header& header, Object* message, pid_t sender);
  // Whether a message written by process `sender` may be delivered: always,
  // unless a code-signing requirement is set; then only from the process that
  // connected, if it satisfies the requirement.
  bool admits(pid_t sender);

  void holdForRuntimeLocked();
  void answerLocked(const Waiter& waiter, Object* object);
  void interruptLocked(uint64_t session);
  void finishLocked();
  void scheduleLocked();
  // Marks a delivery as due; true if the caller is the one to start it.
  bool claimDeliveryLocked();
  void releaseListenerHold();
  static void deliverNext(void* connection);
  void deliver();

  const Role role_;
  const std::string name_;
  dispatch_queue_t queue_;  // retained
  std::atomic<uint64_t> nextId_{1};
  std::atomic<pid_t> pid_{0};
  // A peer's identity, taken from the kernel when it connected.
  std::shared_ptr<const kernel::ProcessIdentity> identity_;
  SecRequirementRef requirement_ = nullptr;  // guarded by mu_
  int verdict_ = -1;  // the requirement's verdict on the identity once known; the reader's alone

  std::mutex writeMu_;    // orders writes; guards connecting and closing the socket
  int fd_ = -1;           // the socket (listening socket for a listener), -1 when closed
  uint64_t session_ = 0;  // sockets connected so far
  std::string output_;    // written, not yet taken by the socket
  bool wantOutput_ = false;  // the loop watches for room to write it

  // The socket loop's alone, while it watches the socket.
  int watchedFd_ = -1;
  uint64_t watchedSession_ = 0;
  std::string input_;       // bytes of frames not yet whole
  pid_t inputSender_ = 0;   // who wrote them; -1 if more than one process did
  bool malformed_ = false;

  std::mutex mu_;  // guards everything below; taken after writeMu_, never before
  xpc_handler_t handler_ = nullptr;
  bool activated_ = false;
  int suspended_ = 0;
  bool finished_ = false;    // the final event is queued
  bool runtimeRef_ = false;  // the runtime holds a reference
  bool scheduled_ = false;   // a delivery is queued or running
  // A new peer delivers nothing until the listener's handler that received
  // it has returned (see releaseListenerHold).
  bool heldForListener_ = false;
  std::deque<Event> inbox_;
  std::map<uint64_t, Waiter> waiters_;  // by message id
};

}  // namespace emu::xpc
