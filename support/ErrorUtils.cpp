#include "ErrorUtils.h"

#include <Security/Security.h>
#include <SystemConfiguration/SystemConfiguration.h>

#include "LogSink.h"
#include "MacStringUtils.h"

namespace xpc {

namespace {

const char kUnknownError[] = "(Unknown Error)";

// Logs "<label><text>" for an optional (Copy-rule) text of the error.
void logOwnedText(LogSink* logger, const char* label, CFStringRef owned) {
  CFRef<CFStringRef> text(owned, RefPolicy::Adopt);
  if (text) logLine(logger, LogLevel::Progress, label + MacStringUtils::cfStringRefToStdString(text.get()));
}

}  // namespace

ErrorUtils::ErrorUtils(LogSink* logger) : logger(logger) {}

CFErrorRef ErrorUtils::fetchLastError() {
  lastError.reset(SCCopyLastError(), RefPolicy::Adopt);
  return lastError.get();
}

long ErrorUtils::getLastCFErrorCode() {
  CFErrorRef error = fetchLastError();
  if (error == nullptr) {
    logLine(logger, LogLevel::Error, "Unable to get the last error object!");
    return -1;
  }
  return getCFErrorCode(error);
}

CFErrorRef ErrorUtils::getLastCFErrorObject() { return fetchLastError(); }

std::string ErrorUtils::getLastCFError() {
  CFErrorRef error = fetchLastError();
  return error != nullptr ? getCFErrorString(error) : kUnknownError;
}

long ErrorUtils::getCFErrorCode(CFErrorRef error) {
  // Not reachable from the paths above; a caller's null must not crash us.
  if (error == nullptr) {
    logLine(logger, LogLevel::Error, "Unable to get the error code!  The CFErrorRef provided was NULL!");
    return -1;
  }
  long code = static_cast<long>(CFErrorGetCode(error));
  logLine(logger, LogLevel::Progress, "Error code : " + std::to_string(code));
  return code;
}

std::string ErrorUtils::getCFErrorString(CFErrorRef error) {
  if (error == nullptr) {
    logLine(logger, LogLevel::Error, "Unable to get error string from CFErrorRef object!  Value provided was NULL!");
    return "";
  }
  CFStringRef domain = CFErrorGetDomain(error);
  if (domain != nullptr) {
    logLine(logger, LogLevel::Progress, "Domain string : " + MacStringUtils::cfStringRefToStdString(domain));
  }
  getCFErrorCode(error);
  logOwnedText(logger, "Failure reason : ", CFErrorCopyFailureReason(error));
  logOwnedText(logger, "Recovery suggestion : ", CFErrorCopyRecoverySuggestion(error));

  CFRef<CFStringRef> description(CFErrorCopyDescription(error), RefPolicy::Adopt);
  if (!description) return kUnknownError;
  return MacStringUtils::cfStringRefToStdString(description.get());
}

std::string ErrorUtils::getErrorStringFromOsStatus(int status) {
  CFRef<CFStringRef> message(SecCopyErrorMessageString(status, nullptr), RefPolicy::Adopt);
  if (!message) return "ERROR : Value returned from SecCopyErrorMessageString() was NULL!";
  return MacStringUtils::cfStringRefToStdString(message.get());
}

}  // namespace xpc
