#include <emu/ObjectCounts.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xpc/xpc.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "EchoService.h"
#include "Eventually.h"
#include "PeerProcess.h"

namespace {

using xpctest::eventually;
using xpctest::waitFor;

std::string serviceName() {
  return std::string("com.example.test.") + ::testing::UnitTest::GetInstance()->current_test_info()->name();
}

std::string socketPath(const std::string& name) { return "/var/run/xpc/" + name; }

// Events a client connection received, and a semaphore signalled on each.
struct Events {
  std::mutex mu;
  std::vector<xpc_object_t> received;  // retained
  dispatch_semaphore_t arrived = dispatch_semaphore_create(0);

  ~Events() {
    for (xpc_object_t event : received) xpc_release(event);
    dispatch_release(arrived);
  }
  size_t count() {
    std::lock_guard<std::mutex> lock(mu);
    return received.size();
  }
  xpc_object_t at(size_t i) {
    std::lock_guard<std::mutex> lock(mu);
    return received.at(i);
  }
  bool waitForCount(size_t n) {
    while (count() < n) {
      if (!waitFor(arrived)) return false;
    }
    return true;
  }
};

class Client {
 public:
  explicit Client(const std::string& name, bool resume = true)
      : connection_(xpc_connection_create_mach_service(name.c_str(), nullptr, 0)) {
    Events* events = &events_;
    xpc_connection_set_event_handler(connection_, ^(xpc_object_t event) {
      std::lock_guard<std::mutex> lock(events->mu);
      events->received.push_back(xpc_retain(event));
      dispatch_semaphore_signal(events->arrived);
    });
    if (resume) xpc_connection_resume(connection_);
  }
  // Cancels and waits for the final event, so nothing refers to events_ afterwards.
  ~Client() {
    xpc_connection_cancel(connection_);
    EXPECT_TRUE(eventually([&] { return lastEvent() == XPC_ERROR_CONNECTION_INVALID; }));
    xpc_release(connection_);
  }

  xpc_connection_t get() const { return connection_; }
  Events& events() { return events_; }
  const void* lastEvent() {
    std::lock_guard<std::mutex> lock(events_.mu);
    return events_.received.empty() ? nullptr : events_.received.back();
  }

  // Sends `request` and returns the reply (or error) its reply handler got; owned.
  xpc_object_t request(xpc_object_t message) {
    dispatch_semaphore_t answered = dispatch_semaphore_create(0);
    __block xpc_object_t reply = nullptr;
    xpc_connection_send_message_with_reply(connection_, message, nullptr, ^(xpc_object_t r) {
      reply = xpc_retain(r);
      dispatch_semaphore_signal(answered);
    });
    EXPECT_TRUE(waitFor(answered));
    dispatch_release(answered);
    return reply;
  }

  // An echo round trip; true if `value` came back.
  bool echo(const char* value) {
    xpc_object_t message = xpc_dictionary_create_empty();
    xpc_dictionary_set_string(message, "op", "echo");
    xpc_dictionary_set_string(message, "value", value);
    xpc_object_t reply = request(message);
    xpc_release(message);
    bool ok = reply && xpc_get_type(reply) == XPC_TYPE_DICTIONARY &&
              std::strcmp(xpc_dictionary_get_string(reply, "value") ?: "", value) == 0;
    if (reply) xpc_release(reply);
    return ok;
  }

 private:
  Events events_;
  xpc_connection_t connection_;
};

xpc_object_t op(const char* name, std::initializer_list<std::pair<const char*, int64_t>> numbers = {}) {
  xpc_object_t message = xpc_dictionary_create_empty();
  xpc_dictionary_set_string(message, "op", name);
  for (const auto& [key, value] : numbers) xpc_dictionary_set_int64(message, key, value);
  return message;
}

class XpcConnection : public ::testing::Test {
 protected:
  std::string name_ = serviceName();
};

TEST_F(XpcConnection, RepliesGoToTheReplyHandlerAfterEverythingStreamedBeforeThem) {
  EchoService service(name_);
  ASSERT_TRUE(service.listening());
  Client client(name_);
  constexpr int kLines = 300;

  dispatch_semaphore_t answered = dispatch_semaphore_create(0);
  __block size_t linesAtReply = 0;
  __block xpc_object_t reply = nullptr;
  Events* events = &client.events();
  xpc_object_t request = op("stream", {{"count", kLines}});
  xpc_connection_send_message_with_reply(client.get(), request, nullptr, ^(xpc_object_t r) {
    linesAtReply = events->count();
    reply = xpc_retain(r);
    dispatch_semaphore_signal(answered);
  });
  xpc_release(request);
  ASSERT_TRUE(waitFor(answered));

  EXPECT_EQ(linesAtReply, static_cast<size_t>(kLines));
  ASSERT_EQ(xpc_get_type(reply), XPC_TYPE_DICTIONARY);
  EXPECT_TRUE(xpc_dictionary_get_bool(reply, "done"));
  EXPECT_EQ(xpc_dictionary_get_remote_connection(reply), client.get());
  EXPECT_EQ(xpc_dictionary_create_reply(reply), nullptr) << "nobody waits for a reply to a reply";
  xpc_release(reply);
  dispatch_release(answered);

  ASSERT_EQ(client.events().count(), static_cast<size_t>(kLines));
  for (int i = 0; i < kLines; ++i) {
    xpc_object_t line = client.events().at(i);
    ASSERT_EQ(xpc_get_type(line), XPC_TYPE_DICTIONARY);
    ASSERT_EQ(xpc_dictionary_get_int64(line, "line"), i);
    EXPECT_FALSE(xpc_dictionary_get_bool(line, "done")) << "the reply reached the event handler";
  }
}

TEST_F(XpcConnection, MessagesSentFromManyQueuesAtOnceArriveWholeAndInPerSenderOrder) {
  EchoService service(name_);
  Client client(name_);
  constexpr int kSenders = 4, kEach = 250;
  xpc_object_t request = op("burst", {{"senders", kSenders}, {"count", kEach}});
  xpc_object_t reply = client.request(request);
  xpc_release(request);
  ASSERT_TRUE(reply && xpc_dictionary_get_bool(reply, "done"));
  xpc_release(reply);

  ASSERT_EQ(client.events().count(), static_cast<size_t>(kSenders * kEach));
  std::vector<int64_t> next(kSenders, 0);
  for (size_t i = 0; i < client.events().count(); ++i) {
    xpc_object_t line = client.events().at(i);
    int64_t sender = xpc_dictionary_get_int64(line, "sender");
    ASSERT_TRUE(sender >= 0 && sender < kSenders);
    ASSERT_EQ(xpc_dictionary_get_int64(line, "seq"), next[sender]++);
  }
}

TEST_F(XpcConnection, SyncSendReturnsAnOwnedReply) {
  EchoService service(name_);
  Client client(name_);
  xpc_object_t request = op("echo", {{"value", 42}});
  xpc_object_t reply = xpc_connection_send_message_with_reply_sync(client.get(), request);
  xpc_release(request);
  ASSERT_EQ(xpc_get_type(reply), XPC_TYPE_DICTIONARY);
  EXPECT_EQ(xpc_dictionary_get_int64(reply, "value"), 42);
  xpc_release(reply);
  EXPECT_EQ(xpc_connection_get_pid(client.get()), getpid());
  EXPECT_STREQ(xpc_connection_get_name(client.get()), name_.c_str());
}

TEST_F(XpcConnection, AServiceReceivesNonDictionaryMessagesAsTheirType) {
  EchoService service(name_);
  Client client(name_);
  xpc_object_t array = xpc_array_create_empty();
  xpc_array_set_string(array, XPC_ARRAY_APPEND, "not a request");
  xpc_object_t text = xpc_string_create("neither");
  xpc_object_t noOp = xpc_dictionary_create_empty();
  xpc_connection_send_message(client.get(), array);
  xpc_connection_send_message(client.get(), text);
  xpc_connection_send_message(client.get(), noOp);
  xpc_connection_send_message_with_reply(client.get(), noOp, nullptr, ^(xpc_object_t) {});
  xpc_release(array);
  xpc_release(text);
  xpc_release(noOp);

  ASSERT_TRUE(service.waitForStrays(4));
  EXPECT_EQ(service.strays(),
            (std::vector<std::string>{"array", "string", "dictionary", "dictionary awaiting reply"}));
  EXPECT_TRUE(client.echo("still served"));
}

TEST_F(XpcConnection, AClientThatGoesAwayIsInvalidOnceAndLastOnTheServiceSide) {
  EchoService service(name_);
  {
    Client first(name_);
    ASSERT_TRUE(first.echo("one"));
  }
  ASSERT_TRUE(service.waitForPeersEnded(1));
  Client second(name_);
  EXPECT_TRUE(second.echo("two"));
  EXPECT_EQ(service.eventsAfterEnd(), 0);
}

TEST_F(XpcConnection, CancelFailsPendingRepliesAndEndsWithInvalid) {
  EchoService service(name_);
  auto* client = new Client(name_);
  dispatch_semaphore_t answered = dispatch_semaphore_create(0);
  __block const void* answer = nullptr;
  xpc_object_t request = op("hold");
  xpc_connection_send_message_with_reply(client->get(), request, nullptr, ^(xpc_object_t r) {
    answer = r;
    dispatch_semaphore_signal(answered);
  });
  xpc_release(request);
  ASSERT_TRUE(client->echo("the hold request has been handled"));

  delete client;  // cancels, and checks that the last event is XPC_ERROR_CONNECTION_INVALID
  ASSERT_TRUE(waitFor(answered));
  EXPECT_EQ(answer, XPC_ERROR_CONNECTION_INVALID);
  EXPECT_TRUE(service.waitForPeersEnded(1));
  dispatch_release(answered);
}

TEST_F(XpcConnection, AServiceThatDoesNotExistIsInvalid) {
  Client client("com.example.test.nobody");
  ASSERT_TRUE(client.events().waitForCount(1));
  EXPECT_EQ(client.events().at(0), XPC_ERROR_CONNECTION_INVALID);

  xpc_object_t request = op("echo");
  xpc_object_t reply = client.request(request);
  EXPECT_EQ(reply, XPC_ERROR_CONNECTION_INVALID);
  reply = xpc_connection_send_message_with_reply_sync(client.get(), request);
  EXPECT_EQ(reply, XPC_ERROR_CONNECTION_INVALID);
  xpc_release(reply);
  xpc_release(request);
  EXPECT_EQ(client.events().count(), 1u);
}

TEST_F(XpcConnection, ServiceDeathInterruptsTheClientAndTheNextSendReconnects) {
  PeerProcess server({"serve", name_});
  std::string line;
  ASSERT_TRUE(server.readLine(line));
  ASSERT_EQ(line, "ready");
  Client client(name_);
  ASSERT_TRUE(client.echo("before"));
  EXPECT_EQ(xpc_connection_get_pid(client.get()), server.pid());

  xpc_object_t request = op("exit");
  xpc_object_t reply = client.request(request);
  xpc_release(request);
  EXPECT_EQ(reply, XPC_ERROR_CONNECTION_INTERRUPTED);
  ASSERT_TRUE(client.events().waitForCount(1));
  EXPECT_EQ(client.events().at(0), XPC_ERROR_CONNECTION_INTERRUPTED);
  EXPECT_EQ(server.wait(), 0);

  // A new instance takes over the service (and its stale socket file).
  EchoService restarted(name_);
  ASSERT_TRUE(restarted.listening());
  EXPECT_TRUE(client.echo("after"));
  EXPECT_EQ(xpc_connection_get_pid(client.get()), getpid());
  EXPECT_EQ(client.events().count(), 1u);
}

TEST_F(XpcConnection, OnlyOneLiveProcessListensForAService) {
  EchoService service(name_);
  ASSERT_TRUE(service.listening());
  PeerProcess rival({"claim", name_});
  EXPECT_EQ(rival.wait(), 0) << "a second process was allowed to listen";
  EXPECT_EQ(xpc_connection_create_mach_service(name_.c_str(), nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER),
            nullptr);
}

TEST_F(XpcConnection, ListenerUsesTheSocketLaunchdHandedOver) {
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  std::strcpy(addr.sun_path, socketPath(name_).c_str());
  ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
  ASSERT_EQ(listen(fd, 8), 0);
  std::string handOver = "com.example.other=99," + name_ + "=" + std::to_string(fd) + ",com.example.third=98";
  setenv("XPC_EMU_LISTENER_FDS", handOver.c_str(), 1);

  EchoService service(name_);
  ASSERT_TRUE(service.listening());
  EXPECT_STREQ(std::getenv("XPC_EMU_LISTENER_FDS"), "com.example.other=99,com.example.third=98");
  EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  EXPECT_NE(access((socketPath(name_) + ".lock").c_str(), F_OK), 0) << "took the lock instead";
  Client client(name_);
  EXPECT_TRUE(client.echo("through launchd's socket"));
  unsetenv("XPC_EMU_LISTENER_FDS");
}

// The bytes an XPC client puts on the wire for one request, read by a raw
// socket posing as the service.
std::string captureFrame(const std::string& name) {
  int listener = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  std::strcpy(addr.sun_path, socketPath(name).c_str());
  EXPECT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
  EXPECT_EQ(listen(listener, 1), 0);
  std::string bytes;
  {
    Client client(name);
    xpc_object_t request = op("echo");
    xpc_dictionary_set_string(request, "value", "captured");
    xpc_object_t nested = xpc_array_create_empty();
    xpc_array_set_string(nested, XPC_ARRAY_APPEND, "item");
    xpc_dictionary_set_value(request, "list", nested);
    xpc_dictionary_set_data(request, "blob", "\x01\x02", 2);
    xpc_dictionary_set_double(request, "ratio", 0.5);
    xpc_connection_send_message(client.get(), request);
    xpc_release(nested);
    xpc_release(request);
    int peer = accept(listener, nullptr, nullptr);
    // The client closes its end on cancel, so the capture ends with the frame.
    xpc_connection_cancel(client.get());
    char buffer[4096];
    for (ssize_t n; (n = read(peer, buffer, sizeof buffer)) > 0;) bytes.append(buffer, n);
    close(peer);
  }
  close(listener);
  unlink(socketPath(name).c_str());
  return bytes;
}

void sendRaw(const std::string& name, const std::string& bytes) {
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  std::strcpy(addr.sun_path, socketPath(name).c_str());
  ASSERT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
  ASSERT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  close(fd);
}

TEST_F(XpcConnection, GarbageOnTheWireDropsOnlyThatPeer) {
  EchoService service(name_);
  long baseline = emu_xpc_live_objects();
  std::string frame = captureFrame(name_ + ".capture");
  ASSERT_GT(frame.size(), 20u);
  int peers = 0;
  sendRaw(name_, frame);  // the genuine article, as a sanity check
  ++peers;
  for (size_t cut = 1; cut < frame.size(); ++cut, ++peers) sendRaw(name_, frame.substr(0, cut));
  for (size_t at = 0; at < frame.size(); ++at, ++peers) {
    std::string flipped = frame;
    flipped[at] = static_cast<char>(flipped[at] ^ 0xff);
    sendRaw(name_, flipped);
  }
  sendRaw(name_, std::string(4, '\xff') + "huge length");
  sendRaw(name_, "GET / HTTP/1.0\r\n\r\n");
  sendRaw(name_, frame + frame.substr(0, frame.size() / 2));
  peers += 3;

  ASSERT_TRUE(service.waitForPeersEnded(peers));
  EXPECT_EQ(service.eventsAfterEnd(), 0);
  EXPECT_TRUE(eventually([&] { return emu_xpc_live_objects() == baseline; }))
      << emu_xpc_live_objects() - baseline << " objects left behind";
  Client client(name_);
  EXPECT_TRUE(client.echo("still serving"));
}

TEST_F(XpcConnection, LiveObjectsReturnToTheirCountAfterRequestsAndTeardown) {
  long baseline = emu_xpc_live_objects();
  {
    EchoService service(name_);
    long serving = emu_xpc_live_objects();
    {
      Client client(name_);
      ASSERT_TRUE(client.echo("one"));
      xpc_object_t request = op("stream", {{"count", 5}});
      xpc_object_t reply = xpc_connection_send_message_with_reply_sync(client.get(), request);
      xpc_release(reply);
      xpc_release(request);
      ASSERT_TRUE(client.events().waitForCount(5));
    }
    ASSERT_TRUE(service.waitForPeersEnded(1));
    EXPECT_TRUE(eventually([&] { return emu_xpc_live_objects() == serving; }))
        << emu_xpc_live_objects() - serving << " objects left behind by a request";
  }
  // A canceled listener lets go of its socket, and the runtime of the listener.
  EXPECT_TRUE(eventually([&] { return emu_xpc_live_objects() == baseline; }))
      << emu_xpc_live_objects() - baseline << " objects left behind by the listener";
  Client late(name_);
  EXPECT_FALSE(late.echo("nobody listens"));
}

TEST_F(XpcConnection, ASuspendedConnectionHoldsItsEventsUntilResumed) {
  EchoService service(name_);
  Client client(name_);
  ASSERT_TRUE(client.echo("connected"));
  xpc_connection_suspend(client.get());
  // A synchronous reply bypasses the event queue; the lines before it are held.
  xpc_object_t request = op("stream", {{"count", 3}});
  xpc_object_t reply = xpc_connection_send_message_with_reply_sync(client.get(), request);
  xpc_release(request);
  EXPECT_TRUE(xpc_dictionary_get_bool(reply, "done"));
  xpc_release(reply);
  EXPECT_EQ(client.events().count(), 0u);
  xpc_connection_resume(client.get());
  EXPECT_TRUE(client.events().waitForCount(3));
}

}  // namespace
