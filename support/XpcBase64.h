#pragma once
#include <string>

class LogSink;

namespace xpc {

// Base64 with the standard alphabet and "=" padding.
class XpcBase64 {
 public:
  explicit XpcBase64(LogSink* logger);
  ~XpcBase64();
  XpcBase64(const XpcBase64&) = delete;
  XpcBase64& operator=(const XpcBase64&) = delete;

  bool encode(const unsigned char* data, unsigned long length, std::string& out);
  // A new buffer of *outLength bytes plus a terminating NUL, freed by the
  // caller with free(); null on failure. Characters outside the alphabet are
  // not rejected.
  unsigned char* decode(std::string text, unsigned long* outLength);

 private:
  void buildDecodingTable();

  unsigned char* decodingTable;
  LogSink* logger;
};

}  // namespace xpc
