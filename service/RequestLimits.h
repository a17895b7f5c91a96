#pragma once
#include <xpc/xpc.h>

#include <string>

// How large a request the helper acts on. No real use comes near these
// limits; a request beyond them is refused before anything is logged or run,
// so an oversized value never reaches a log line, a preference file or a tool.
class RequestLimits {
 public:
  // The longest path argument: "MobileConfigPath", "ZipFile" and "File".
  static const size_t kMaxPathLength;
  // The longest string or data value of any other argument.
  static const size_t kMaxValueLength;

  // The error text naming the first argument beyond its limit, or "" when
  // the request dictionary is within them all.
  static std::string check(xpc_object_t message);
};
