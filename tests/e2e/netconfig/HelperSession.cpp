#include "HelperSession.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>

const char kPreferencesPlist[] = "/Library/Preferences/SystemConfiguration/preferences.plist";
const char kAutomaticEthernet[] = "38C9FE51-C1A3-4CC9-AD73-425D4F3C28A9";
const char kAutomaticWiFi[] = "AB93766D-7442-4933-9E58-5494AA69EC06";
const char kOfficeEthernet[] = "9C312E92-4BFB-4FC0-9811-0CA93BA51278";
const char kOfficeSetPath[] = "/Sets/891D29FB-ACB2-4EDE-8520-0A8B171D263A";

xpc::XpcRef makeRequest(const std::string& command, const std::vector<Arg>& args) {
  xpc::XpcRef request = makeRequest(command);
  for (const Arg& arg : args) {
    if (arg.type == XPC_TYPE_STRING) {
      xpc_dictionary_set_string(request.get(), arg.key.c_str(), arg.text.c_str());
    } else if (arg.type == XPC_TYPE_INT64) {
      xpc_dictionary_set_int64(request.get(), arg.key.c_str(), arg.number);
    } else {
      xpc_dictionary_set_bool(request.get(), arg.key.c_str(), arg.flag);
    }
  }
  return request;
}

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

bool isSuccess(xpc_object_t reply) {
  return replyString(reply, "Response") == "Boolean" && xpc_dictionary_get_bool(reply, "Success");
}

bool isFailure(xpc_object_t reply) {
  return replyString(reply, "Response") == "Boolean" && !xpc_dictionary_get_bool(reply, "Success") &&
         replyKeys(reply) == std::vector<std::string>{"Response", "Success"};
}

std::string errorText(xpc_object_t reply) {
  return replyString(reply, "Response") == "error" ? replyString(reply, "Error") : "";
}

bool contains(const std::vector<LogLine>& lines, const LogLine& line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

std::string fileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

Plist::Plist(const std::string& path) {
  std::string bytes = fileBytes(path);
  xpc::CFRef<CFDataRef> data(
      CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                   static_cast<CFIndex>(bytes.size())),
      xpc::RefPolicy::Adopt);
  root_.reset(CFPropertyListCreateWithData(kCFAllocatorDefault, data.get(), kCFPropertyListImmutable,
                                           nullptr, nullptr),
              xpc::RefPolicy::Adopt);
}

CFTypeRef Plist::at(std::initializer_list<std::string> keys) const {
  CFTypeRef value = root_.get();
  for (const std::string& key : keys) {
    if (value == nullptr || CFGetTypeID(value) != CFDictionaryGetTypeID()) return nullptr;
    xpc::CFRef<CFStringRef> cfKey(
        CFStringCreateWithCString(kCFAllocatorDefault, key.c_str(), kCFStringEncodingUTF8),
        xpc::RefPolicy::Adopt);
    value = CFDictionaryGetValue(static_cast<CFDictionaryRef>(value), cfKey.get());
  }
  return value;
}

static std::string textOf(CFStringRef string) {
  char buffer[1024] = "";
  CFStringGetCString(string, buffer, sizeof buffer, kCFStringEncodingUTF8);
  return buffer;
}

std::set<std::string> Plist::keysAt(std::initializer_list<std::string> keys) const {
  std::set<std::string> names;
  CFTypeRef value = at(keys);
  if (value == nullptr || CFGetTypeID(value) != CFDictionaryGetTypeID()) return names;
  auto dictionary = static_cast<CFDictionaryRef>(value);
  std::vector<const void*> list(static_cast<size_t>(CFDictionaryGetCount(dictionary)));
  CFDictionaryGetKeysAndValues(dictionary, list.data(), nullptr);
  for (const void* key : list) names.insert(textOf(static_cast<CFStringRef>(key)));
  return names;
}

long long Plist::intAt(std::initializer_list<std::string> keys) const {
  CFTypeRef value = at(keys);
  long long number = -1;
  if (value == nullptr || CFGetTypeID(value) != CFNumberGetTypeID()) return -1;
  CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberLongLongType, &number);
  return number;
}

std::string Plist::stringAt(std::initializer_list<std::string> keys) const {
  CFTypeRef value = at(keys);
  if (value == nullptr || CFGetTypeID(value) != CFStringGetTypeID()) return "";
  return textOf(static_cast<CFStringRef>(value));
}
