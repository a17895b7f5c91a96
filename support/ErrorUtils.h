#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <string>

#include "CFRef.h"

class LogSink;

namespace xpc {

// The one place where the system's error objects and status codes become log
// lines and message text.
class ErrorUtils {
 public:
  explicit ErrorUtils(LogSink* logger);

  // SystemConfiguration's last error of this thread.
  long getLastCFErrorCode();
  // Owned by this object until the next fetch.
  CFErrorRef getLastCFErrorObject();
  std::string getLastCFError();

  long getCFErrorCode(CFErrorRef error);
  // Logs the error's domain, code, reason and suggestion; returns its description.
  std::string getCFErrorString(CFErrorRef error);
  // Security's message for a status; never empty.
  std::string getErrorStringFromOsStatus(int status);

 private:
  CFErrorRef fetchLastError();

  CFRef<CFErrorRef> lastError;
  LogSink* logger;
};

}  // namespace xpc
