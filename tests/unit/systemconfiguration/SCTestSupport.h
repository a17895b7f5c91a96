#pragma once
#include <Security/Security.h>
#include <SystemConfiguration/SystemConfiguration.h>

#include <string>
#include <vector>

#include "CFTestSupport.h"
#include "ChildProcess.h"
#include "FakeMac.h"

namespace sctest {

std::vector<std::string> texts(CFArrayRef strings);

// That a call came back false or null, leaving `status` as the last error.
template <typename Result>
::testing::AssertionResult failedWith(const Result& result, int status) {
  int error = SCError();
  if (result) return ::testing::AssertionFailure() << "it succeeded";
  if (error != status) return ::testing::AssertionFailure() << "it failed with " << error << ", not " << status;
  return ::testing::AssertionSuccess();
}

xpc::CFRef<SCPreferencesRef> openPreferences();
// The preferences file as stored, parsed; null if it does not parse.
inline xpc::CFRef<CFPropertyListRef> storedPreferences() { return readPropertyList(kPreferencesPlist); }

// One-way signalling between processes.
class Pipe {
 public:
  Pipe();
  ~Pipe();
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  void signal();
  // False when nothing came within a generous time.
  bool wait();

 private:
  int fds_[2];
};

}  // namespace sctest
