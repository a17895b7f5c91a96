#include "Connection.h"

#include <Block.h>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Dictionary.h"
#include "Rendezvous.h"

namespace emu::xpc {
namespace {

Object* error(const _xpc_dictionary_s* symbol) { return Object::from(symbol); }

// A peer that takes none of what is written to it gets this much, then loses
// the connection: it costs the service memory, never a blocked thread.
constexpr size_t kMaxUnsent = 64u << 20;
constexpr size_t kReadChunk = 64 * 1024;

struct ReplyCall {
  xpc_handler_t handler;
  Object* reply;
  dispatch_queue_t queue;
};

void callReplyHandler(void* context) {
  auto* call = static_cast<ReplyCall*>(context);
  call->handler(call->reply->handle());
  Block_release(call->handler);
  call->reply->release();
  dispatch_release(call->queue);
  delete call;
}

}  // namespace

Connection* Connection::from(xpc_connection_t handle) {
  Connection* connection = objectAs<Connection>(handle, XPC_TYPE_CONNECTION);
  if (!connection) misuse("not a connection");
  return connection;
}

Connection::Connection(Role role, const char* name, dispatch_queue_t targetq)
    : Object(XPC_TYPE_CONNECTION), role_(role), name_(name) {
  if (targetq) {
    dispatch_retain(targetq);
    queue_ = targetq;
  } else {
    // Events still arrive one at a time, on a queue of the connection's own.
    queue_ = dispatch_queue_create(name_.empty() ? "xpc.peer" : name_.c_str(), DISPATCH_QUEUE_SERIAL);
  }
}

Connection::~Connection() {
  if (fd_ >= 0) close(fd_);
  for (Event& event : inbox_) {
    event.object->release();
    if (event.waiter.handler) {
      Block_release(event.waiter.handler);
      dispatch_release(event.waiter.queue);
    }
  }
  for (auto& entry : waiters_) {
    Block_release(entry.second.handler);
    if (entry.second.queue) dispatch_release(entry.second.queue);
  }
  if (handler_) Block_release(handler_);
  if (requirement_) CFRelease(requirement_);
  dispatch_release(queue_);
}

Connection* Connection::createClient(const char* name, dispatch_queue_t targetq) {
  return new Connection(Role::Client, name, targetq);
}

Connection* Connection::createListener(const char* name, dispatch_queue_t targetq) {
  int fd = rendezvous::listen(name);
  if (fd < 0) return nullptr;
  auto* listener = new Connection(Role::Listener, name, targetq);
  listener->fd_ = fd;
  return listener;
}

const char* Connection::name() const { return role_ == Role::Peer ? nullptr : name_.c_str(); }

void Connection::describe(std::string& out, int) const {
  describeHeader(out);
  out += " { name = " + name_ + ", listener = " + (role_ == Role::Listener ? "true" : "false") +
         ", pid = " + std::to_string(pid_) + " }";
}

void Connection::setEventHandler(xpc_handler_t handler) {
  xpc_handler_t copy = Block_copy(handler);
  std::unique_lock<std::mutex> lock(mu_);
  xpc_handler_t old = handler_;
  handler_ = copy;
  lock.unlock();
  if (old) Block_release(old);
}

void Connection::setTargetQueue(dispatch_queue_t targetq) {
  if (!targetq) misuse("a connection needs a target queue");
  dispatch_retain(targetq);
  std::unique_lock<std::mutex> lock(mu_);
  // Events already scheduled would run on the old queue.
  if (activated_) misuse("the target queue is set before the connection is activated");
  dispatch_queue_t old = queue_;
  queue_ = targetq;
  lock.unlock();
  dispatch_release(old);
}

int Connection::setPeerRequirement(const char* text) {
  if (role_ == Role::Client) misuse("peer requirements are emulated for listeners and their peers only");
  CFStringRef string = CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8);
  SecRequirementRef requirement = nullptr;
  OSStatus status = string ? SecRequirementCreateWithString(string, kSecCSDefaultFlags, &requirement)
                           : errSecCSReqInvalid;
  if (string) CFRelease(string);
  if (status != errSecSuccess) return EINVAL;
  std::lock_guard<std::mutex> lock(mu_);
  if (requirement_) misuse("a connection's peer requirement is set only once");
  requirement_ = requirement;
  return 0;
}

audit_token_t Connection::auditToken() const {
  audit_token_t token{};
  if (identity_) token = kernel::auditTokenOf(*identity_);
  return token;
}

bool Connection::admits(pid_t sender) {
  SecRequirementRef requirement;
  {
    std::lock_guard<std::mutex> lock(mu_);
    requirement = requirement_;
    if (!requirement) return true;
    CFRetain(requirement);
  }
  // Another process writing on the peer's socket (it was handed on, say) is
  // not the peer the kernel vouched for.
  bool admitted = identity_ && sender == identity_->pid;
  if (admitted && verdict_ < 0) {
    audit_token_t token = kernel::auditTokenOf(*identity_);
    CFDataRef data = CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(&token), sizeof token);
    const void* keys[] = {kSecGuestAttributeAudit};
    const void* values[] = {data};
    CFDictionaryRef attributes = CFDictionaryCreate(nullptr, keys, values, 1, &kCFTypeDictionaryKeyCallBacks,
                                                    &kCFTypeDictionaryValueCallBacks);
    SecCodeRef code = nullptr;
    verdict_ = SecCodeCopyGuestWithAttributes(nullptr, attributes, kSecCSDefaultFlags, &code) == errSecSuccess &&
               SecCodeCheckValidity(code, kSecCSDefaultFlags, requirement) == errSecSuccess;
    if (code) CFRelease(code);
    CFRelease(attributes);
    CFRelease(data);
  }
  CFRelease(requirement);
  return admitted && verdict_ == 1;
}

void Connection::activate() {
  {
    std::lock_guard<std::mutex> lock(mu_);
    if (activated_) return;
    activated_ = true;
    holdForRuntimeLocked();
    scheduleLocked();
  }
  std::lock_guard<std::mutex> write(writeMu_);
  if (role_ == Role::Client) {
    connectLocked();
  } else if (fd_ >= 0) {
    watchLocked(fd_, 0);
  }
}

void Connection::suspend() {
  std::lock_guard<std::mutex> lock(mu_);
  ++suspended_;
}

void Connection::resume() {
  {
    std::lock_guard<std::mutex> lock(mu_);
    if (suspended_ > 0) {
      --suspended_;
      scheduleLocked();
      return;
    }
    if (activated_) {
      // Harmless once the connection is finished; otherwise unbalanced.
      if (!finished_) misuse("connection resumed more often than suspended");
      return;
    }
  }
  activate();
}

void Connection::cancel() {
  {
    std::lock_guard<std::mutex> lock(mu_);
    if (!activated_) {
      // A connection canceled before activation still ends with its final event.
      activated_ = true;
      holdForRuntimeLocked();
    }
    // Before the socket goes down, so that its reader does not take the
    // hangup for an interruption.
    finishLocked();
  }
  // The socket loop sees the hangup and closes the socket.
  std::lock_guard<std::mutex> write(writeMu_);
  if (fd_ >= 0) shutdown(fd_, SHUT_RDWR);
}

void Connection::send(Object& message) { transmit(message, nullptr); }

void Connection::sendWithReply(Object& message, dispatch_queue_t replyq, xpc_handler_t handler) {
  Waiter waiter{replyq ? replyq : queue_, Block_copy(handler), 0};
  dispatch_retain(waiter.queue);
  transmit(message, &waiter);
}

Object* Connection::sendWithReplySync(Object& message) {
  dispatch_semaphore_t answered = dispatch_semaphore_create(0);
  __block Object* reply = nullptr;
  Waiter waiter{nullptr, Block_copy(^(xpc_object_t object) {
                  reply = Object::from(object);
                  reply->retain();
                  dispatch_semaphore_signal(answered);
                }),
                0};
  transmit(message, &waiter);
  dispatch_semaphore_wait(answered, DISPATCH_TIME_FOREVER);
  dispatch_release(answered);
  return reply;
}

void Connection::transmit(Object& message, const Waiter* waiter) {
  if (role_ == Role::Listener) misuse("messages cannot be sent on a listener connection");
  Wire::Header header;
  header.id = nextId_++;
  header.wantsReply = waiter != nullptr;
  if (message.type() == XPC_TYPE_DICTIONARY) header.replyTo = static_cast<Dictionary&>(message).inReplyTo();
  std::string frame;
  if (!Wire::encode(header, message, frame)) {
    misuse("message cannot be sent: it holds a connection or error, nests too deeply, or is too large");
  }

  std::lock_guard<std::mutex> write(writeMu_);
  bool open = connectLocked();
  {
    std::lock_guard<std::mutex> lock(mu_);
    open = open && !finished_;
    if (waiter && open) {
      Waiter registered = *waiter;
      registered.session = session_;
      waiters_.emplace(header.id, registered);
    } else if (waiter) {
      answerLocked(*waiter, error(&_xpc_error_connection_invalid));
      scheduleLocked();
    }
  }
  // A failed write means a dead socket. The socket loop reports that and
  // answers the waiter registered above: it closes the socket under
  // writeMu_, so only after this write.
  if (open) {
    output_ += frame;
    flushLocked();
  }
}

// Caller holds writeMu_, with the socket open.
void Connection::flushLocked() {
  size_t sent = 0;
  while (sent < output_.size()) {
    ssize_t n = ::send(fd_, output_.data() + sent, output_.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
    if (n <= 0) {
      output_.clear();  // the loop notices the broken socket and reports it
      return;
    }
    sent += static_cast<size_t>(n);
  }
  output_.erase(0, sent);
  if (output_.size() > kMaxUnsent) {
    output_.clear();
    shutdown(fd_, SHUT_RDWR);
  }
  bool want = !output_.empty();
  if (want != wantOutput_ && fd_ == watchedFd_) {
    SocketLoop::shared().wantOutput(fd_, this, want);
    wantOutput_ = want;
  }
}

// Caller holds writeMu_. A client connects on first need; the others only
// say whether their socket is still open.
bool Connection::connectLocked() {
  if (fd_ >= 0) return true;
  if (role_ != Role::Client) return false;
  {
    std::lock_guard<std::mutex> lock(mu_);
    if (finished_) return false;
  }
  int fd = rendezvous::connect(name_);
  if (fd < 0) {
    std::lock_guard<std::mutex> lock(mu_);
    finishLocked();
    return false;
  }
  fd_ = fd;
  ++session_;
  // The socket may be held by launchd on the service's behalf, so the
  // listener's credentials say nothing; the service's first bytes tell.
  pid_ = 0;
  watchLocked(fd, session_);
  return true;
}

void Connection::watchLocked(int fd, uint64_t session) {
  retain();  // the loop's reference
  fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
  watchedFd_ = fd;
  watchedSession_ = session;
  input_.clear();
  inputSender_ = 0;
  malformed_ = false;
  wantOutput_ = false;
  SocketLoop::shared().add(fd, this);
  if (!output_.empty()) {
    SocketLoop::shared().wantOutput(fd, this, true);
    wantOutput_ = true;
  }
}

void Connection::socketReady(uint32_t events) {
  if (role_ == Role::Listener) {
    // A listening socket that cancel() shut down reads as hung up; accept()
    // on it would only say "try again".
    if (events & (EPOLLHUP | EPOLLERR)) {
      socketClosed();
    } else {
      acceptAvailable();
    }
    return;
  }
  if (events & EPOLLOUT) {
    std::lock_guard<std::mutex> write(writeMu_);
    if (fd_ == watchedFd_) flushLocked();
  }
  if ((events & (EPOLLIN | EPOLLHUP | EPOLLERR)) && !readAvailable()) socketClosed();
}

bool Connection::readAvailable() {
  char chunk[kReadChunk];
  for (;;) {
    iovec io{chunk, sizeof chunk};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
    msghdr message{};
    message.msg_iov = &io;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    ssize_t n = recvmsg(watchedFd_, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return true;
    if (n <= 0) {
      // Closed between frames is a hangup; within one, garbage.
      if (!input_.empty()) malformed_ = true;
      return false;
    }
    // Who wrote these bytes (SCM_CREDENTIALS): the kernel never returns the
    // bytes of two writers in one read.
    pid_t sender = 0;
    for (cmsghdr* c = CMSG_FIRSTHDR(&message); c != nullptr; c = CMSG_NXTHDR(&message, c)) {
      if (c->cmsg_level == SOL_SOCKET && c->cmsg_type == SCM_CREDENTIALS) {
        ucred cred;
        memcpy(&cred, CMSG_DATA(c), sizeof cred);
        sender = cred.pid;
      }
    }
    if (input_.empty()) {
      inputSender_ = sender;
    } else if (sender != inputSender_) {
      inputSender_ = -1;
    }
    input_.append(chunk, static_cast<size_t>(n));
    if (!takeFrames(sender)) {
      malformed_ = true;
      return false;
    }
  }
}

// Hands on every whole frame in input_; false on a malformed one.
bool Connection::takeFrames(pid_t chunkSender) {
  size_t at = 0;
  while (input_.size() - at >= Wire::kPrefixSize) {
    unsigned char prefix[Wire::kPrefixSize];
    memcpy(prefix, input_.data() + at, sizeof prefix);
    uint32_t length = Wire::bodyLength(prefix);
    if (length == 0) return false;
    if (input_.size() - at - Wire::kPrefixSize < length) break;
    Wire::Header header;
    Object* message = Wire::decode(input_.substr(at + Wire::kPrefixSize, length), header);
    at += Wire::kPrefixSize + length;
    if (!message) return false;
    // A frame written by two processes is nobody's.
    pid_t sender = inputSender_ > 0 ? inputSender_ : 0;
    inputSender_ = chunkSender;  // what follows came in the latest read
    if (sender > 0 && role_ == Role::Client) pid_ = sender;
    receive(header, message, sender);
  }
  input_.erase(0, at);
  return true;
}

void Connection::socketClosed() {
  {
    std::lock_guard<std::mutex> write(writeMu_);
    SocketLoop::shared().remove(watchedFd_);
    close(watchedFd_);
    if (fd_ == watchedFd_) fd_ = -1;
    watchedFd_ = -1;
    output_.clear();
    input_.clear();
  }
  {
    std::lock_guard<std::mutex> lock(mu_);
    // Only a client can reach the service again; for everyone else, and
    // after garbage, the conversation is over.
    if (role_ == Role::Client && !malformed_) {
      interruptLocked(watchedSession_);
    } else {
      finishLocked();
    }
  }
  release();  // the loop's reference
}

void Connection::receive(const Wire::Header& header, Object* message, pid_t sender) {
  if (!admits(sender)) {
    // A request is dropped unseen; whoever waits for a reply learns why.
    message->release();
    if (!header.replyTo) return;
    message = error(&_xpc_error_peer_code_signing_requirement);
  }
  std::unique_lock<std::mutex> lock(mu_);
  auto waiter = header.replyTo ? waiters_.find(header.replyTo) : waiters_.end();
  if (finished_ || (header.replyTo && waiter == waiters_.end())) {
    lock.unlock();  // a reply nobody waits for (any more)
    message->release();
    return;
  }
  if (message->type() == XPC_TYPE_DICTIONARY) {
    uint64_t awaited = header.wantsReply && !header.replyTo ? header.id : 0;
    static_cast<Dictionary*>(message)->setOrigin(this, awaited);
  }
  if (header.replyTo) {
    answerLocked(waiter->second, message);
    waiters_.erase(waiter);
  } else {
    inbox_.push_back(Event{message, {}, false});
  }
  // The socket loop never runs a handler itself: a slow one would hold up
  // every other connection.
  scheduleLocked();
}

void Connection::acceptAvailable() {
  for (;;) {
    int peerFd = accept4(watchedFd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (peerFd < 0) {
      if (errno == EINTR || errno == ECONNABORTED) continue;
      if (errno == EAGAIN || errno == EWOULDBLOCK) return;
      if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
        // Out of resources: the pending clients wait, the others are served.
        SocketLoop::shared().pauseInput(watchedFd_, this, std::chrono::milliseconds(100));
        return;
      }
      break;  // shut down by cancel()
    }
    auto* peer = new Connection(Role::Peer, "", nullptr);
    peer->fd_ = peerFd;
    // Who connected, as the kernel saw it then; and from now on, who wrote
    // each message (SCM_CREDENTIALS).
    peer->identity_ = kernel::captureSocketPeer(peerFd);
    peer->pid_ = peer->identity_ ? peer->identity_->pid : rendezvous::peerPid(peerFd);
    int on = 1;
    setsockopt(peerFd, SOL_SOCKET, SO_PASSCRED, &on, sizeof on);
    peer->runtimeRef_ = true;  // its only reference
    peer->heldForListener_ = true;
    std::unique_lock<std::mutex> lock(mu_);
    if (finished_) {
      lock.unlock();
      peer->release();
      break;
    }
    if (requirement_) peer->requirement_ = static_cast<SecRequirementRef>(const_cast<void*>(CFRetain(requirement_)));
    peer->retain();  // the runtime's; the event below owns the creation reference
    inbox_.push_back(Event{peer, {}, false});
    scheduleLocked();
  }
  socketClosed();
}

void Connection::holdForRuntimeLocked() {
  if (runtimeRef_) return;
  retain();
  runtimeRef_ = true;
}

// Hands `object` (owned) to whoever waits for a reply: a blocked thread right
// away, a reply handler in inbox order.
void Connection::answerLocked(const Waiter& waiter, Object* object) {
  if (waiter.queue) {
    inbox_.push_back(Event{object, waiter, false});
    return;
  }
  waiter.handler(object->handle());
  Block_release(waiter.handler);
  object->release();
}

void Connection::interruptLocked(uint64_t session) {
  if (finished_) return;
  for (auto it = waiters_.begin(); it != waiters_.end();) {
    if (it->second.session == session) {
      answerLocked(it->second, error(&_xpc_error_connection_interrupted));
      it = waiters_.erase(it);
    } else {
      ++it;
    }
  }
  inbox_.push_back(Event{error(&_xpc_error_connection_interrupted), {}, false});
  scheduleLocked();
}

void Connection::finishLocked() {
  if (finished_) return;
  finished_ = true;
  for (auto& entry : waiters_) answerLocked(entry.second, error(&_xpc_error_connection_invalid));
  waiters_.clear();
  inbox_.push_back(Event{error(&_xpc_error_connection_invalid), {}, true});
  scheduleLocked();
}

bool Connection::claimDeliveryLocked() {
  if (scheduled_ || heldForListener_ || inbox_.empty() || !activated_ || suspended_ > 0) return false;
  scheduled_ = true;
  retain();  // the delivery's reference
  return true;
}

// A listener's handler typically sets up and resumes a new peer and then does
// more for it (a server attaches its logging to it, say). On a Mac that
// handler is done long before the peer's own queue gets to run; on a busy
// machine here the peer's reader could deliver first, so the peer waits.
void Connection::releaseListenerHold() {
  std::lock_guard<std::mutex> lock(mu_);
  heldForListener_ = false;
  scheduleLocked();
}

void Connection::scheduleLocked() {
  if (claimDeliveryLocked()) dispatch_async_f(queue_, this, deliverNext);
}

void Connection::deliverNext(void* connection) {
  auto* self = static_cast<Connection*>(connection);
  self->deliver();
  self->release();
}

void Connection::deliver() {
  std::unique_lock<std::mutex> lock(mu_);
  if (inbox_.empty() || suspended_ > 0) {
    scheduled_ = false;
    return;
  }
  Event event = inbox_.front();
  inbox_.pop_front();
  xpc_handler_t handler = nullptr;
  if (!event.waiter.handler && handler_) handler = Block_copy(handler_);
  lock.unlock();

  if (event.waiter.handler) {
    auto* call = new ReplyCall{event.waiter.handler, event.object, event.waiter.queue};
    // On the connection's own queue the reply runs now, keeping inbox order.
    if (event.waiter.queue == queue_) {
      callReplyHandler(call);
    } else {
      dispatch_async_f(event.waiter.queue, call, callReplyHandler);
    }
  } else {
    if (handler) {
      handler(event.object->handle());
      Block_release(handler);
    }
    if (event.object->type() == XPC_TYPE_CONNECTION) static_cast<Connection*>(event.object)->releaseListenerHold();
    event.object->release();
  }

  lock.lock();
  scheduled_ = false;
  scheduleLocked();  // after the final event, only answers to late requests
  if (!event.last) return;
  // No event follows the final one: let go of the handler (and whatever it
  // captured) and of the runtime's reference.
  xpc_handler_t last = handler_;
  handler_ = nullptr;
  bool drop = runtimeRef_;
  runtimeRef_ = false;
  lock.unlock();
  if (last) Block_release(last);
  if (drop) release();
}

}  // namespace emu::xpc

using emu::xpc::Connection;
using emu::xpc::Object;

extern "C" {

xpc_connection_t xpc_connection_create_mach_service(const char* name, dispatch_queue_t targetq, uint64_t flags) {
  Connection* connection = (flags & XPC_CONNECTION_MACH_SERVICE_LISTENER)
                               ? Connection::createListener(name, targetq)
                               : Connection::createClient(name, targetq);
  return connection ? static_cast<xpc_connection_t>(connection->handle()) : nullptr;
}

void xpc_connection_set_event_handler(xpc_connection_t connection, xpc_handler_t handler) {
  Connection::from(connection)->setEventHandler(handler);
}

void xpc_connection_set_target_queue(xpc_connection_t connection, dispatch_queue_t targetq) {
  Connection::from(connection)->setTargetQueue(targetq);
}

int xpc_connection_set_peer_code_signing_requirement(xpc_connection_t connection, const char* requirement) {
  return Connection::from(connection)->setPeerRequirement(requirement);
}

void xpc_connection_activate(xpc_connection_t connection) { Connection::from(connection)->activate(); }

void xpc_connection_suspend(xpc_connection_t connection) { Connection::from(connection)->suspend(); }

void xpc_connection_resume(xpc_connection_t connection) { Connection::from(connection)->resume(); }

void xpc_connection_cancel(xpc_connection_t connection) { Connection::from(connection)->cancel(); }

void xpc_connection_send_message(xpc_connection_t connection, xpc_object_t message) {
  Connection::from(connection)->send(*Object::from(message));
}

void xpc_connection_send_message_with_reply(xpc_connection_t connection, xpc_object_t message,
                                            dispatch_queue_t replyq, xpc_handler_t handler) {
  Connection::from(connection)->sendWithReply(*Object::from(message), replyq, handler);
}

xpc_object_t xpc_connection_send_message_with_reply_sync(xpc_connection_t connection, xpc_object_t message) {
  return Connection::from(connection)->sendWithReplySync(*Object::from(message))->handle();
}

const char* xpc_connection_get_name(xpc_connection_t connection) { return Connection::from(connection)->name(); }

pid_t xpc_connection_get_pid(xpc_connection_t connection) { return Connection::from(connection)->pid(); }

uid_t xpc_connection_get_euid(xpc_connection_t connection) { return Connection::from(connection)->euid(); }

// Not in the SDK's headers, but exported by libxpc and what a service uses to
// ask the Security framework about a peer.
void xpc_connection_get_audit_token(xpc_connection_t connection, audit_token_t* token) {
  *token = Connection::from(connection)->auditToken();
}

}  // extern "C"
