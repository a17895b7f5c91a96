#pragma once
// The built helper in this test's fake Mac, a client of it, and a reader of
// the property-list files its commands change.
#include <CoreFoundation/CoreFoundation.h>
#include <xpc/xpc.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "CFTestSupport.h"
#include "ChildProcess.h"
#include "FakeMac.h"
#include "XpcTestClient.h"


class HelperSession {
 public:
  HelperSession();

  xpc::XpcRef send(const std::string& command, const std::vector<Arg>& args = {});
  // Whether the reply is {"Response": "Boolean", "Success": true}.
  bool succeeds(const std::string& command, const std::vector<Arg>& args = {});
  // Whether the reply is exactly {"Response": "Boolean", "Success": false}.
  bool fails(const std::string& command, const std::vector<Arg>& args = {});
  // The "Error" of an error reply, else "".
  std::string error(const std::string& command, const std::vector<Arg>& args = {});
  // The log lines of the requests since the last look.
  std::vector<LogLine> lines() { return client_->takeLogLines(); }
  // Whether exactly this line came since the last look; forgets them all.
  bool logged(int64_t level, const std::string& text) { return contains(lines(), {level, text}); }
  bool running() { return helper_->running(); }
  // Kills the helper and starts a fresh one with a fresh client.
  void restart();
  XpcTestClient& client() { return *client_; }
  ChildProcess& process() { return *helper_; }

 private:
  void start();

  std::unique_ptr<ChildProcess> helper_;
  std::unique_ptr<XpcTestClient> client_;
};


// A property-list file as it is on disk now.
class Plist {
 public:
  explicit Plist(const std::string& path) : root_(readPropertyList(path)) {}
  bool loaded() const { return static_cast<bool>(root_); }
  // The value at a path of dictionary keys, or null.
  CFTypeRef at(std::initializer_list<std::string> keys) const { return valueAt(root_.get(), keys); }
  std::set<std::string> keysAt(std::initializer_list<std::string> keys) const {
    std::vector<std::string> names = keysOf(at(keys));
    return std::set<std::string>(names.begin(), names.end());
  }
  // -1 when absent or not a number.
  long long intAt(std::initializer_list<std::string> keys) const;
  std::string stringAt(std::initializer_list<std::string> keys) const { return utf8(at(keys)); }

 private:
  xpc::CFRef<CFPropertyListRef> root_;
};
