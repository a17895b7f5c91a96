#pragma once
#include <xpc/xpc.h>

#include <string>
#include <vector>

// Turns a command and its KEY=VALUE arguments into one request dictionary.
//
//   KEY=text          string
//   KEY:int=N         int64
//   KEY:uint=N        uint64
//   KEY:bool=B        bool (true or false)
//   KEY:data=HEX      data from hexadecimal digits
//   KEY:data@=FILE    data read from a file
//   KEY:ssid=NAME     data: the name's bytes and a terminating NUL, as the
//                     helper expects SSIDs
class RequestBuilder {
 public:
  // The request (owned by the caller), or null with `error` saying why.
  static xpc_object_t build(const std::string& command, const std::vector<std::string>& arguments,
                            std::string& error);

 private:
  static bool addArgument(xpc_object_t request, const std::string& argument, std::string& error);
};
