#include "SecurityTestSupport.h"

#include <CommonCrypto/CommonDigest.h>
#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "XpcBase64.h"

namespace sectest {

xpc::CFRef<SecKeychainRef> openKeychain(const std::string& path) {
  xpc::CFRef<SecKeychainRef> keychain;
  EXPECT_EQ(SecKeychainOpen(path.c_str(), keychain.initializeInto()), errSecSuccess);
  return keychain;
}

OSStatus addPassword(SecKeychainRef keychain, const std::string& account, const std::string& service,
                     const std::string& label, const std::string& description, const std::string& password) {
  std::string values[] = {account, service, label, description};
  SecKeychainAttribute attributes[] = {{kSecAccountItemAttr, 0, nullptr},
                                       {kSecServiceItemAttr, 0, nullptr},
                                       {kSecLabelItemAttr, 0, nullptr},
                                       {kSecDescriptionItemAttr, 0, nullptr}};
  for (size_t i = 0; i < 4; ++i) {
    attributes[i].length = static_cast<UInt32>(values[i].size());
    attributes[i].data = values[i].data();
  }
  SecKeychainAttributeList list = {4, attributes};
  return SecKeychainItemCreateFromContent(kSecGenericPasswordItemClass, &list, static_cast<UInt32>(password.size()),
                                          password.data(), keychain, nullptr, nullptr);
}

std::string message(OSStatus status) { return utf8(adopt(SecCopyErrorMessageString(status, nullptr)).get()); }

std::vector<xpc::CFRef<CFDictionaryRef>> storedItems(const std::string& path) {
  std::vector<xpc::CFRef<CFDictionaryRef>> items;
  auto root = readPropertyList(path);
  auto array = static_cast<CFArrayRef>(valueAt(root.get(), "Items"));
  for (CFIndex i = 0; array != nullptr && i < CFArrayGetCount(array); ++i) {
    items.emplace_back(static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(array, i)), xpc::RefPolicy::Retain);
  }
  return items;
}

int asUser(const std::function<int()>& body) {
  return ChildProcess([&] {
           if (setgid(20) != 0 || setuid(501) != 0) return 77;
           return body();
         })
      .wait();
}

std::vector<std::string> caCertificateFiles() {
  std::vector<std::string> files;
  if (DIR* folder = opendir(kCertificateFolder)) {
    while (dirent* entry = readdir(folder)) {
      std::string name = entry->d_name;
      if (name.size() > 4 && name.compare(name.size() - 4, 4, ".crt") == 0) files.push_back(name);
    }
    closedir(folder);
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::string OpensslView::last(const std::string& component) const {
  std::string value;
  for (const auto& [name, text] : subject) {
    if (name == component) value = text;
  }
  return value;
}

std::string derFromPem(const std::string& pem) {
  size_t begin = pem.find("-----\n");
  size_t end = pem.find("-----END");
  if (begin == std::string::npos || end == std::string::npos) return "";
  std::string base64;
  for (char c : pem.substr(begin + 6, end - begin - 6)) {
    if (c != '\n' && c != '\r') base64 += c;
  }
  unsigned long length = 0;
  unsigned char* bytes = xpc::XpcBase64(nullptr).decode(base64, &length);
  std::string der(reinterpret_cast<const char*>(bytes), bytes != nullptr ? length : 0);
  free(bytes);
  return der;
}

OpensslView openssl(const std::string& file) {
  std::string path = kCertificateFolder + file;
  OpensslView view;
  view.der = derFromPem(fileBytes(path));
  std::istringstream lines(ChildProcess::run({"/usr/bin/openssl", "x509", "-in", path, "-noout", "-fingerprint",
                                              "-sha1", "-subject", "-nameopt", "multiline,utf8,-esc_msb"})
                               .out);
  for (std::string line; std::getline(lines, line);) {
    if (line.find("Fingerprint=") != std::string::npos) {
      for (char c : line.substr(line.find('=') + 1)) {
        if (c != ':') view.sha1 += c;
      }
    } else if (size_t equals = line.find(" = "); equals != std::string::npos) {
      std::string name = line.substr(0, equals);
      name.erase(0, name.find_first_not_of(' '));
      name.erase(name.find_last_not_of(' ') + 1);
      view.subject.emplace_back(name, line.substr(equals + 3));
    }
  }
  return view;
}

xpc::CFRef<SecCertificateRef> certificateFrom(const std::string& der) {
  return adopt(SecCertificateCreateWithData(nullptr, cfdata(der).get()));
}

std::string sha1Hex(SecCertificateRef certificate) {
  auto data = adopt(SecCertificateCopyData(certificate));
  unsigned char digest[CC_SHA1_DIGEST_LENGTH];
  CC_SHA1(CFDataGetBytePtr(data.get()), static_cast<CC_LONG>(CFDataGetLength(data.get())), digest);
  std::string hex;
  for (unsigned char byte : digest) {
    char pair[3];
    std::snprintf(pair, sizeof(pair), "%02X", byte);
    hex += pair;
  }
  return hex;
}

}  // namespace sectest
