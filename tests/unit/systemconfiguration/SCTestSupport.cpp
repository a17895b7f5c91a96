#include "SCTestSupport.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <iterator>

namespace sctest {

xpc::CFRef<CFStringRef> cf(const std::string& text) {
  return adopt(CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8));
}

std::string text(CFTypeRef string) {
  if (string == nullptr || CFGetTypeID(string) != CFStringGetTypeID()) return "";
  auto s = static_cast<CFStringRef>(string);
  CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(s), kCFStringEncodingUTF8) + 1;
  std::string buffer(static_cast<size_t>(size), '\0');
  CFStringGetCString(s, buffer.data(), size, kCFStringEncodingUTF8);
  buffer.resize(std::strlen(buffer.c_str()));
  return buffer;
}

CFTypeRef valueAt(CFTypeRef dictionary, const std::string& key) {
  if (dictionary == nullptr || CFGetTypeID(dictionary) != CFDictionaryGetTypeID()) return nullptr;
  return CFDictionaryGetValue(static_cast<CFDictionaryRef>(dictionary), cf(key).get());
}

xpc::CFRef<CFDictionaryRef> dictionary(const std::vector<std::pair<std::string, CFTypeRef>>& entries) {
  auto result =
      adopt(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  for (const auto& [key, value] : entries) CFDictionarySetValue(result.get(), cf(key).get(), value);
  return adopt(static_cast<CFDictionaryRef>(result.release()));
}

std::vector<std::string> texts(CFArrayRef strings) {
  std::vector<std::string> result;
  for (CFIndex i = 0, n = strings != nullptr ? CFArrayGetCount(strings) : 0; i < n; ++i) {
    result.push_back(text(CFArrayGetValueAtIndex(strings, i)));
  }
  return result;
}

xpc::CFRef<SCPreferencesRef> openPreferences() { return adopt(SCPreferencesCreate(nullptr, CFSTR("test"), nullptr)); }

xpc::CFRef<CFPropertyListRef> storedPreferences() {
  std::ifstream file(kPreferencesPath, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  auto data =
      adopt(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
  return adopt(CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
}

int waitForExit(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) == -1) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int runInChild(const std::function<int()>& body) {
  pid_t pid = fork();
  if (pid == 0) _exit(body());
  return waitForExit(pid);
}

Pipe::Pipe() {
  if (pipe(fds_) != 0) fds_[0] = fds_[1] = -1;
}

Pipe::~Pipe() {
  close(fds_[0]);
  close(fds_[1]);
}

void Pipe::signal() {
  char byte = 1;
  if (write(fds_[1], &byte, 1) != 1) perror("pipe");
}

bool Pipe::wait() {
  struct pollfd ready = {fds_[0], POLLIN, 0};
  char byte;
  return poll(&ready, 1, 60000) == 1 && read(fds_[0], &byte, 1) == 1;
}

}  // namespace sctest
