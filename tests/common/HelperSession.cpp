#include "HelperSession.h"

#include <gtest/gtest.h>


HelperSession::HelperSession() { start(); }

void HelperSession::start() {
  helper_ = std::make_unique<ChildProcess>(std::vector<std::string>{MACHELPER_HELPER_PATH});
  EXPECT_TRUE(waitForService(MACHELPER_SERVICE_LABEL)) << "the helper never listened";
  client_ = std::make_unique<XpcTestClient>(MACHELPER_SERVICE_LABEL);
}

void HelperSession::restart() {
  client_.reset();
  helper_.reset();
  start();
}

xpc::XpcRef HelperSession::send(const std::string& command, const std::vector<Arg>& args) {
  return client_->send(makeRequest(command, args).get());
}

bool HelperSession::succeeds(const std::string& command, const std::vector<Arg>& args) {
  xpc::XpcRef reply = send(command, args);
  return replyString(reply.get(), "Response") == "Boolean" && xpc_dictionary_get_bool(reply.get(), "Success");
}

bool HelperSession::fails(const std::string& command, const std::vector<Arg>& args) {
  xpc::XpcRef reply = send(command, args);
  return replyKeys(reply.get()) == std::vector<std::string>{"Response", "Success"} &&
         replyString(reply.get(), "Response") == "Boolean" && !xpc_dictionary_get_bool(reply.get(), "Success");
}

std::string HelperSession::error(const std::string& command, const std::vector<Arg>& args) {
  xpc::XpcRef reply = send(command, args);
  return replyString(reply.get(), "Response") == "error" ? replyString(reply.get(), "Error") : "";
}

long long Plist::intAt(std::initializer_list<std::string> keys) const {
  CFTypeRef value = at(keys);
  long long number = -1;
  if (value == nullptr || CFGetTypeID(value) != CFNumberGetTypeID()) return -1;
  CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberLongLongType, &number);
  return number;
}

std::vector<std::string> rememberedNetworks() {
  Plist known(kKnownNetworksPlist);
  std::vector<std::string> names;
  CFTypeRef order = known.at({"PreferredOrder"});
  for (CFIndex i = 0; order && i < CFArrayGetCount(static_cast<CFArrayRef>(order)); ++i) {
    std::string key = utf8(CFArrayGetValueAtIndex(static_cast<CFArrayRef>(order), i));
    names.push_back(known.stringAt({"KnownNetworks", key, "SSIDString"}));
  }
  return names;
}
