#include "XpcBase64.h"

#include <cstdlib>

#include "LogSink.h"

namespace xpc {

namespace {

const char encoding_table[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
// Padding characters by input length modulo 3.
const int mod_table[] = {0, 2, 1};

}  // namespace

XpcBase64::XpcBase64(LogSink* logger) : decodingTable(nullptr), logger(logger) {}

XpcBase64::~XpcBase64() { std::free(decodingTable); }

void XpcBase64::buildDecodingTable() {
  // Zeroed, so a character outside the alphabet reads as 0 rather than as
  // uninitialised memory.
  decodingTable = static_cast<unsigned char*>(std::calloc(256, 1));
  if (decodingTable == nullptr) return;
  for (unsigned char i = 0; i < 64; ++i) {
    decodingTable[static_cast<unsigned char>(encoding_table[i])] = i;
  }
}

bool XpcBase64::encode(const unsigned char* data, unsigned long length, std::string& out) {
  if (data == nullptr) {
    logLine(logger, LogLevel::Error, "NULL value passed to XpcBase64::encode()!");
    return false;
  }
  out.clear();
  if (length == 0) return true;

  for (unsigned long i = 0; i < length; i += 3) {
    unsigned long triple = static_cast<unsigned long>(data[i]) << 16;
    if (i + 1 < length) triple |= static_cast<unsigned long>(data[i + 1]) << 8;
    if (i + 2 < length) triple |= data[i + 2];
    for (int shift = 18; shift >= 0; shift -= 6) out += encoding_table[(triple >> shift) & 0x3F];
  }
  int padding = mod_table[length % 3];
  out.replace(out.size() - padding, padding, padding, '=');
  return true;
}

unsigned char* XpcBase64::decode(std::string text, unsigned long* outLength) {
  if (outLength == nullptr) {
    logLine(logger, LogLevel::Error, "NULL was passed in to XpcBase64::decode()!");
    return nullptr;
  }
  if (decodingTable == nullptr) buildDecodingTable();
  if (decodingTable == nullptr) {
    logLine(logger, LogLevel::Error, "Unable to allocate memory to store result data!");
    return nullptr;
  }
  if (text.size() % 4 != 0) {
    logLine(logger, LogLevel::Error, "Invalid base 64 length in XpcBase64::decode()!");
    return nullptr;
  }

  unsigned long length = text.size() / 4 * 3;
  if (text.size() >= 2 && text[text.size() - 1] == '=') --length;
  if (text.size() >= 3 && text[text.size() - 2] == '=') --length;
  *outLength = length;

  unsigned char* result = static_cast<unsigned char*>(std::calloc(length + 1, 1));
  if (result == nullptr) {
    logLine(logger, LogLevel::Error, "Unable to allocate memory to store result data!");
    return nullptr;
  }

  unsigned long position = 0;
  for (std::size_t i = 0; i < text.size(); i += 4) {
    unsigned long triple = 0;
    for (std::size_t j = 0; j < 4; ++j) {
      unsigned char c = static_cast<unsigned char>(text[i + j]);
      triple = (triple << 6) | (c == '=' ? 0 : decodingTable[c]);
    }
    for (int shift = 16; shift >= 0 && position < length; shift -= 8) {
      result[position++] = static_cast<unsigned char>((triple >> shift) & 0xFF);
    }
  }
  return result;
}

}  // namespace xpc
