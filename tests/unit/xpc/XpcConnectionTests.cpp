#include <emu/ObjectCounts.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xpc/xpc.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "EchoService.h"
#include "Eventually.h"
#include "XpcRef.h"
#include "XpcTestClient.h"

namespace {

using xpc::XpcRef;

XpcRef adopt(xpc_object_t object) { return XpcRef(object, xpc::RefPolicy::Adopt); }

std::string serviceName() {
  return std::string("com.example.test.") + ::testing::UnitTest::GetInstance()->current_test_info()->name();
}

std::string socketPath(const std::string& name) { return "/var/run/xpc/" + name; }

// A raw socket at the service's rendezvous path: listening, or connected to it.
int rawSocket(const std::string& name, bool listening) {
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  std::strcpy(addr.sun_path, socketPath(name).c_str());
  auto* address = reinterpret_cast<sockaddr*>(&addr);
  if (listening) {
    EXPECT_EQ(bind(fd, address, sizeof addr), 0);
    EXPECT_EQ(listen(fd, 8), 0);
  } else {
    EXPECT_EQ(connect(fd, address, sizeof addr), 0);
  }
  return fd;
}

XpcRef op(const char* name, std::initializer_list<std::pair<const char*, int64_t>> numbers = {}) {
  XpcRef message = adopt(xpc_dictionary_create_empty());
  xpc_dictionary_set_string(message.get(), "op", name);
  for (const auto& [key, value] : numbers) xpc_dictionary_set_int64(message.get(), key, value);
  return message;
}

// An echo round trip; true if `value` came back.
bool echo(XpcTestClient& client, const char* value) {
  XpcRef message = op("echo");
  xpc_dictionary_set_string(message.get(), "value", value);
  XpcRef reply = client.send(message.get());
  return reply && xpc_get_type(reply.get()) == XPC_TYPE_DICTIONARY &&
         std::strcmp(xpc_dictionary_get_string(reply.get(), "value") ?: "", value) == 0;
}

class XpcConnection : public ::testing::Test {
 protected:
  std::string name_ = serviceName();
};

TEST_F(XpcConnection, RepliesGoToTheReplyHandlerAfterEverythingStreamedBeforeThem) {
  EchoService service(name_);
  ASSERT_TRUE(service.listening());
  XpcTestClient client(name_);
  constexpr int kLines = 300;
  XpcRef reply = client.send(op("stream", {{"count", kLines}}).get());

  EXPECT_EQ(client.logLines().size(), static_cast<size_t>(kLines)) << "events before the reply";
  ASSERT_EQ(xpc_get_type(reply.get()), XPC_TYPE_DICTIONARY);
  EXPECT_TRUE(xpc_dictionary_get_bool(reply.get(), "done"));
  EXPECT_EQ(xpc_dictionary_get_remote_connection(reply.get()), client.connection());
  EXPECT_EQ(xpc_dictionary_create_reply(reply.get()), nullptr) << "nobody waits for a reply to a reply";

  ASSERT_EQ(client.eventCount(), static_cast<size_t>(kLines));
  for (int i = 0; i < kLines; ++i) {
    xpc_object_t line = client.event(i);
    ASSERT_EQ(xpc_get_type(line), XPC_TYPE_DICTIONARY);
    ASSERT_EQ(xpc_dictionary_get_int64(line, "line"), i);
    EXPECT_FALSE(xpc_dictionary_get_bool(line, "done")) << "the reply reached the event handler";
  }
}

TEST_F(XpcConnection, MessagesSentFromManyQueuesAtOnceArriveWholeAndInPerSenderOrder) {
  EchoService service(name_);
  XpcTestClient client(name_);
  constexpr int kSenders = 4, kEach = 250;
  XpcRef reply = client.send(op("burst", {{"senders", kSenders}, {"count", kEach}}).get());
  ASSERT_TRUE(reply && xpc_dictionary_get_bool(reply.get(), "done"));

  ASSERT_EQ(client.eventCount(), static_cast<size_t>(kSenders * kEach));
  std::vector<int64_t> next(kSenders, 0);
  for (size_t i = 0; i < client.eventCount(); ++i) {
    int64_t sender = xpc_dictionary_get_int64(client.event(i), "sender");
    ASSERT_TRUE(sender >= 0 && sender < kSenders);
    ASSERT_EQ(xpc_dictionary_get_int64(client.event(i), "seq"), next[sender]++);
  }
}

TEST_F(XpcConnection, AServiceReceivesNonDictionaryMessagesAsTheirType) {
  EchoService service(name_);
  XpcTestClient client(name_);
  XpcRef array = adopt(xpc_array_create_empty());
  xpc_array_set_string(array.get(), XPC_ARRAY_APPEND, "not a request");
  XpcRef noOp = adopt(xpc_dictionary_create_empty());
  xpc_connection_send_message(client.connection(), array.get());
  xpc_connection_send_message(client.connection(), adopt(xpc_string_create("neither")).get());
  xpc_connection_send_message(client.connection(), noOp.get());
  xpc_connection_send_message_with_reply(client.connection(), noOp.get(), nullptr, ^(xpc_object_t) {});

  ASSERT_TRUE(service.waitForStrays(4));
  EXPECT_EQ(service.strays(),
            (std::vector<std::string>{"array", "string", "dictionary", "dictionary awaiting reply"}));
  EXPECT_TRUE(echo(client, "still served"));
}

TEST_F(XpcConnection, CancelFailsPendingRepliesAndEndsWithInvalid) {
  EchoService service(name_);
  XpcTestClient client(name_);
  dispatch_semaphore_t answered = dispatch_semaphore_create(0);
  __block const void* answer = nullptr;
  xpc_connection_send_message_with_reply(client.connection(), op("hold").get(), nullptr, ^(xpc_object_t r) {
    answer = r;
    dispatch_semaphore_signal(answered);
  });
  ASSERT_TRUE(echo(client, "the hold request has been handled"));

  client.cancel();
  ASSERT_TRUE(waitFor(answered));
  EXPECT_EQ(answer, XPC_ERROR_CONNECTION_INVALID);
  ASSERT_TRUE(client.waitForEvents(1));
  EXPECT_EQ(client.event(client.eventCount() - 1), XPC_ERROR_CONNECTION_INVALID);
  EXPECT_TRUE(service.waitForPeersEnded(1));
  dispatch_release(answered);
}

TEST_F(XpcConnection, AServiceThatDoesNotExistIsInvalid) {
  XpcTestClient client("com.example.test.nobody");
  ASSERT_TRUE(client.waitForEvents(1));
  EXPECT_EQ(client.event(0), XPC_ERROR_CONNECTION_INVALID);
  EXPECT_EQ(client.send(op("echo").get()).get(), XPC_ERROR_CONNECTION_INVALID);
  EXPECT_EQ(adopt(xpc_connection_send_message_with_reply_sync(client.connection(), op("echo").get())).get(),
            XPC_ERROR_CONNECTION_INVALID);
  EXPECT_EQ(client.eventCount(), 1u);
}

TEST_F(XpcConnection, ServiceDeathInterruptsTheClientAndTheNextSendReconnects) {
  ChildProcess server({XPC_TEST_PEER, "serve", name_});
  ASSERT_TRUE(waitForService(name_));
  XpcTestClient client(name_);
  ASSERT_TRUE(echo(client, "before"));
  EXPECT_EQ(xpc_connection_get_pid(client.connection()), server.pid());

  EXPECT_EQ(client.send(op("exit").get()).get(), XPC_ERROR_CONNECTION_INTERRUPTED);
  ASSERT_TRUE(client.waitForEvents(1));
  EXPECT_EQ(client.event(0), XPC_ERROR_CONNECTION_INTERRUPTED);
  EXPECT_EQ(server.wait(), 0);

  // A new instance takes over the service (and its stale socket file).
  EchoService restarted(name_);
  ASSERT_TRUE(restarted.listening());
  EXPECT_TRUE(echo(client, "after"));
  EXPECT_EQ(xpc_connection_get_pid(client.connection()), getpid());
  EXPECT_EQ(client.eventCount(), 1u);
}

TEST_F(XpcConnection, ListenerUsesTheSocketLaunchdHandedOver) {
  int fd = rawSocket(name_, true);
  std::string handOver = "com.example.other=99," + name_ + "=" + std::to_string(fd) + ",com.example.third=98";
  setenv("XPC_EMU_LISTENER_FDS", handOver.c_str(), 1);

  EchoService service(name_);
  ASSERT_TRUE(service.listening());
  EXPECT_STREQ(std::getenv("XPC_EMU_LISTENER_FDS"), "com.example.other=99,com.example.third=98");
  EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  EXPECT_NE(access((socketPath(name_) + ".lock").c_str(), F_OK), 0) << "took the lock instead";
  XpcTestClient client(name_);
  EXPECT_TRUE(echo(client, "through launchd's socket"));
  unsetenv("XPC_EMU_LISTENER_FDS");
}

// The bytes an XPC client puts on the wire for one request, read by a raw
// socket posing as the service.
std::string captureFrame(const std::string& name, xpc_object_t request) {
  int listener = rawSocket(name, true);
  std::string bytes;
  {
    XpcTestClient client(name);
    xpc_connection_send_message(client.connection(), request);
    int peer = accept(listener, nullptr, nullptr);
    // The client closes its end on cancel, so the capture ends with the frame.
    xpc_connection_cancel(client.connection());
    char buffer[4096];
    for (ssize_t n; (n = read(peer, buffer, sizeof buffer)) > 0;) bytes.append(buffer, n);
    close(peer);
  }
  close(listener);
  unlink(socketPath(name).c_str());
  return bytes;
}

void sendRaw(const std::string& name, const std::string& bytes) {
  int fd = rawSocket(name, false);
  EXPECT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  close(fd);
}

TEST_F(XpcConnection, GarbageOnTheWireDropsOnlyThatPeer) {
  EchoService service(name_);
  XpcRef request = op("echo"), nested = adopt(xpc_array_create_empty());
  xpc_dictionary_set_string(request.get(), "value", "captured");
  xpc_array_set_string(nested.get(), XPC_ARRAY_APPEND, "item");
  xpc_dictionary_set_value(request.get(), "list", nested.get());
  xpc_dictionary_set_data(request.get(), "blob", "\x01\x02", 2);
  xpc_dictionary_set_double(request.get(), "ratio", 0.5);
  long baseline = emu_xpc_live_objects();  // the request stays alive throughout
  std::string frame = captureFrame(name_ + ".capture", request.get());
  ASSERT_GT(frame.size(), 20u);
  std::vector<std::string> sent{frame, std::string(4, '\xff') + "huge length", "GET / HTTP/1.0\r\n\r\n",
                                frame + frame.substr(0, frame.size() / 2)};  // the first as a sanity check
  for (size_t cut = 1; cut < frame.size(); ++cut) sent.push_back(frame.substr(0, cut));
  for (size_t at = 0; at < frame.size(); ++at) {
    sent.push_back(frame);
    sent.back()[at] = static_cast<char>(frame[at] ^ 0xff);
  }
  for (const std::string& bytes : sent) sendRaw(name_, bytes);

  ASSERT_TRUE(service.waitForPeersEnded(static_cast<int>(sent.size())));
  EXPECT_EQ(service.eventsAfterEnd(), 0);
  EXPECT_TRUE(eventually([&] { return emu_xpc_live_objects() == baseline; }))
      << emu_xpc_live_objects() - baseline << " objects left behind";
  XpcTestClient client(name_);
  EXPECT_TRUE(echo(client, "still serving"));
}

size_t threadCount() {
  size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) count += entry.exists();
  return count;
}

// A connection costs the service memory, not a thread, and what one client
// does or fails to do holds up no other: clients that connect and say
// nothing, one that stops halfway through a request, one that takes none of
// what the service sends it, and one that goes away while its request runs.
TEST_F(XpcConnection, HeldSlowAndVanishingClientsCostNoThreadAndHoldUpNobody) {
  std::string stream = captureFrame(name_ + ".capture", op("stream", {{"count", 100000}}).get());
  EchoService service(name_);
  XpcTestClient steady(name_);
  ASSERT_TRUE(echo(steady, "before"));
  const size_t threads = threadCount();

  constexpr int kHeld = 300;
  std::vector<int> held;
  for (int i = 0; i < kHeld; ++i) held.push_back(rawSocket(name_, false));
  int halfway = rawSocket(name_, false);
  ASSERT_EQ(write(halfway, stream.data(), stream.size() / 2), static_cast<ssize_t>(stream.size() / 2));
  int deaf = rawSocket(name_, false);
  ASSERT_EQ(write(deaf, stream.data(), stream.size()), static_cast<ssize_t>(stream.size()));
  {
    XpcTestClient gone(name_);
    xpc_connection_send_message(gone.connection(), op("hold").get());
  }

  EXPECT_TRUE(echo(steady, "after"));
  XpcTestClient late(name_);
  EXPECT_TRUE(echo(late, "a newcomer"));
  // The pool may have grown to the machine's width meanwhile; one thread per
  // connection would be hundreds.
  EXPECT_LT(threadCount(), threads + 16) << "threads for " << kHeld << " held connections";

  for (int fd : held) close(fd);
  close(halfway);
  close(deaf);
  ASSERT_TRUE(service.waitForPeersEnded(kHeld + 3));
  EXPECT_TRUE(echo(steady, "at the end"));
}

TEST_F(XpcConnection, LiveObjectsReturnToTheirCountAfterRequestsAndTeardown) {
  long baseline = emu_xpc_live_objects();
  {
    EchoService service(name_);
    long serving = emu_xpc_live_objects();
    {
      XpcTestClient client(name_);
      ASSERT_TRUE(echo(client, "one"));
      adopt(xpc_connection_send_message_with_reply_sync(client.connection(), op("stream", {{"count", 5}}).get()));
      ASSERT_TRUE(client.waitForEvents(5));
    }
    // A client that goes away ends its peer once, with the peer's last event.
    ASSERT_TRUE(service.waitForPeersEnded(1));
    EXPECT_EQ(service.eventsAfterEnd(), 0);
    EXPECT_TRUE(eventually([&] { return emu_xpc_live_objects() == serving; }))
        << emu_xpc_live_objects() - serving << " objects left behind by a request";
  }
  // A canceled listener lets go of its socket, and the runtime of the listener.
  EXPECT_TRUE(eventually([&] { return emu_xpc_live_objects() == baseline; }))
      << emu_xpc_live_objects() - baseline << " objects left behind by the listener";
  XpcTestClient late(name_);
  EXPECT_FALSE(echo(late, "nobody listens"));
}

// A listener's code-signing requirement reaches every peer it accepts: what
// code that fails it sends is dropped unseen, while code that satisfies it
// (this test program is signed as the client application) is served.
TEST_F(XpcConnection, APeerRequirementDropsWhatCodeThatFailsItSends) {
  for (bool satisfied : {true, false}) {
    SCOPED_TRACE(satisfied ? "satisfied" : "not satisfied");
    const std::string name = name_ + (satisfied ? ".ours" : ".theirs");
    dispatch_queue_t queue = dispatch_queue_create("requirement", DISPATCH_QUEUE_SERIAL);
    xpc_connection_t listener =
        xpc_connection_create_mach_service(name.c_str(), queue, XPC_CONNECTION_MACH_SERVICE_LISTENER);
    EXPECT_NE(xpc_connection_set_peer_code_signing_requirement(listener, "identifier ("), 0);
    ASSERT_EQ(xpc_connection_set_peer_code_signing_requirement(
                  listener, satisfied ? "identifier \"" MACHELPER_CLIENT_ID "\"" : "identifier \"com.example.Nobody\""),
              0);
    __block int messages = 0;
    dispatch_semaphore_t peerEnded = dispatch_semaphore_create(0);
    dispatch_semaphore_t listenerEnded = dispatch_semaphore_create(0);
    xpc_connection_set_event_handler(listener, ^(xpc_object_t event) {
      if (event == XPC_ERROR_CONNECTION_INVALID) dispatch_semaphore_signal(listenerEnded);
      if (xpc_get_type(event) != XPC_TYPE_CONNECTION) return;
      xpc_connection_t peer = static_cast<xpc_connection_t>(event);
      xpc_connection_set_event_handler(peer, ^(xpc_object_t message) {
        if (message == XPC_ERROR_CONNECTION_INVALID) dispatch_semaphore_signal(peerEnded);
        if (xpc_get_type(message) != XPC_TYPE_DICTIONARY) return;
        ++messages;
        xpc_object_t reply = xpc_dictionary_create_reply(message);
        if (reply) xpc_connection_send_message(peer, reply);
        if (reply) xpc_release(reply);
      });
      xpc_connection_resume(peer);
    });
    xpc_connection_resume(listener);
    {
      XpcTestClient client(name);
      if (satisfied) {
        EXPECT_EQ(xpc_get_type(client.sendCommand("hello").get()), XPC_TYPE_DICTIONARY);
      } else {
        client.sendWithoutReply(op("hello").get());
      }
      client.cancel();
    }
    // The peer's last event follows whatever it was sent.
    ASSERT_TRUE(waitFor(peerEnded));
    EXPECT_EQ(messages, satisfied ? 1 : 0);
    xpc_connection_cancel(listener);
    ASSERT_TRUE(waitFor(listenerEnded));
    xpc_release(listener);
    dispatch_release(peerEnded);
    dispatch_release(listenerEnded);
    dispatch_release(queue);
  }
}

}  // namespace
