#include "RequestBuilder.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "XpcRef.h"

namespace {

bool parseInt64(const std::string& text, int64_t& value) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  long long parsed = strtoll(text.c_str(), &end, 0);
  if (errno != 0 || *end != '\0') return false;
  value = parsed;
  return true;
}

bool parseUint64(const std::string& text, uint64_t& value) {
  // strtoull would quietly accept a minus sign and wrap around.
  if (text.empty() || text[0] == '-') return false;
  char* end = nullptr;
  errno = 0;
  unsigned long long parsed = strtoull(text.c_str(), &end, 0);
  if (errno != 0 || *end != '\0') return false;
  value = parsed;
  return true;
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool parseHex(const std::string& text, std::string& bytes) {
  if (text.size() % 2 != 0) return false;
  bytes.clear();
  for (size_t i = 0; i < text.size(); i += 2) {
    int high = hexDigit(text[i]);
    int low = hexDigit(text[i + 1]);
    if (high < 0 || low < 0) return false;
    bytes.push_back(static_cast<char>(high * 16 + low));
  }
  return true;
}

bool readFile(const std::string& path, std::string& bytes) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return false;
  bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  return !file.bad();
}

}  // namespace

xpc_object_t RequestBuilder::build(const std::string& command,
                                   const std::vector<std::string>& arguments, std::string& error) {
  xpc::XpcRef request(xpc_dictionary_create(nullptr, nullptr, 0), xpc::RefPolicy::Adopt);
  xpc_dictionary_set_string(request.get(), "Command", command.c_str());
  for (const std::string& argument : arguments) {
    if (!addArgument(request.get(), argument, error)) return nullptr;
  }
  return request.release();
}

bool RequestBuilder::addArgument(xpc_object_t request, const std::string& argument,
                                 std::string& error) {
  size_t equals = argument.find('=');
  if (equals == std::string::npos) {
    error = "argument '" + argument + "' is not of the form KEY=VALUE";
    return false;
  }
  std::string key = argument.substr(0, equals);
  std::string value = argument.substr(equals + 1);
  std::string type;
  size_t colon = key.find(':');
  if (colon != std::string::npos) {
    type = key.substr(colon + 1);
    key.resize(colon);
  }
  if (key.empty()) {
    error = "argument '" + argument + "' has no key";
    return false;
  }

  const char* k = key.c_str();
  if (type.empty()) {
    xpc_dictionary_set_string(request, k, value.c_str());
    return true;
  }
  if (type == "int") {
    int64_t number;
    if (!parseInt64(value, number)) {
      error = "'" + value + "' is not a 64-bit integer (argument '" + key + "')";
      return false;
    }
    xpc_dictionary_set_int64(request, k, number);
    return true;
  }
  if (type == "uint") {
    uint64_t number;
    if (!parseUint64(value, number)) {
      error = "'" + value + "' is not an unsigned 64-bit integer (argument '" + key + "')";
      return false;
    }
    xpc_dictionary_set_uint64(request, k, number);
    return true;
  }
  if (type == "bool") {
    if (value != "true" && value != "false") {
      error = "'" + value + "' is not true or false (argument '" + key + "')";
      return false;
    }
    xpc_dictionary_set_bool(request, k, value == "true");
    return true;
  }

  std::string bytes;
  if (type == "data") {
    if (!parseHex(value, bytes)) {
      error = "'" + value + "' is not an even number of hexadecimal digits (argument '" + key + "')";
      return false;
    }
  } else if (type == "data@") {
    if (!readFile(value, bytes)) {
      error = "cannot read '" + value + "' (argument '" + key + "')";
      return false;
    }
  } else if (type == "ssid") {
    bytes = value;
    bytes.push_back('\0');
  } else {
    error = "unknown type '" + type + "' (argument '" + key + "'); use int, uint, bool, data, data@ or ssid";
    return false;
  }
  xpc_dictionary_set_data(request, k, bytes.data(), bytes.size());
  return true;
}
