#include "RequestCodec.h"

#include <algorithm>
#include <cctype>
#include <vector>

namespace {

// "terminate" is left out: it ends the process by design. So is
// "changenetworklocation", which waits up to five seconds for a switch to
// show; it is exercised by its own tests.
const std::vector<std::string> kCommands{
    "ping", "getversion", "Terminate", "changeupdatechecksettings", "changefirewallstate",
    "addnetworklocation", "deletenetworklocation", "proxysetmanualserver", "proxydisable",
    "proxyautobyurl", "proxysetautodetected", "setnetworkprotocolenabled", "setipv6toautomatic",
    "setinttoconfigpath", "setinterfaceadminstate", "dhcprenew", "commitmobileconfig",
    "setssidpriority", "installzipappasroot", "deletefileasroot", "deletessidconfiguration",
    "uninstall", "deleteprofilesforssid", "createsystemkeychainentry", "deletesystemkeychainentry",
    "installsystemcacert", "deletesystemcert", "certificateexistsinsystemstore",
    "installsystemcacertwithsecuritycmd", ""};

const std::vector<std::string> kKeys{
    "Uuid", "NewValue", "Port", "Url", "ResetOthers", "ProtocolConstant", "Enabled", "Path",
    "Key", "InterfaceName", "DesiredState", "Enable", "SetFrequency", "Frequency", "Location",
    "SSID", "NewPriority", "APILevel", "Username", "WlanApiVersion", "MobileConfigPath",
    "AsSystemProfile", "CurrentUsername", "ZipFile", "Destination", "File", "Account", "Service",
    "Label", "Description", "Password", "CertificateData", "TrustModel", "CertLabel", "CertAlias",
    "Thumbprint", "PEMdata", "IsIntemediate", "Command"};

enum Type : uint8_t { kString, kInt64, kUint64, kBool, kData, kDouble, kArray, kDictionary, kTypes };

// Reads the input front to back; past its end every read is zero.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }
  uint64_t number() {
    uint64_t value = 0;
    for (int i = 0; i < 8; ++i) value = value << 8 | byte();
    return value;
  }
  // Two length bytes, then as many bytes as there are of those.
  std::string text() {
    size_t length = static_cast<size_t>(byte()) << 8;
    length |= byte();
    length = std::min(length, size_ - pos_);
    std::string out(reinterpret_cast<const char*>(data_ + pos_), length);
    pos_ += length;
    return out;
  }
  bool empty() const { return pos_ >= size_; }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
};

std::string command(Input& in) {
  uint8_t choice = in.byte();
  if (choice >= kCommands.size() * 2) return in.text();
  std::string word = kCommands[choice % kCommands.size()];
  // Families match case-insensitively; built-ins do not.
  for (char& c : word) {
    if (in.byte() & 1) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  }
  return word;
}

void addArgument(xpc_object_t request, Input& in) {
  std::string key = kKeys[in.byte() % kKeys.size()];
  const char* k = key.c_str();
  switch (in.byte() % kTypes) {
    case kString: xpc_dictionary_set_string(request, k, in.text().c_str()); break;
    case kInt64: xpc_dictionary_set_int64(request, k, static_cast<int64_t>(in.number())); break;
    case kUint64: xpc_dictionary_set_uint64(request, k, in.number()); break;
    case kBool: xpc_dictionary_set_bool(request, k, in.byte() & 1); break;
    case kData: {
      std::string bytes = in.text();
      xpc_dictionary_set_data(request, k, bytes.data(), bytes.size());
      break;
    }
    case kDouble: xpc_dictionary_set_double(request, k, static_cast<double>(in.number())); break;
    case kArray: {
      xpc::XpcRef array(xpc_array_create(nullptr, 0), xpc::RefPolicy::Adopt);
      xpc_dictionary_set_value(request, k, array.get());
      break;
    }
    default: {
      xpc::XpcRef nested(xpc_dictionary_create(nullptr, nullptr, 0), xpc::RefPolicy::Adopt);
      xpc_dictionary_set_value(request, k, nested.get());
      break;
    }
  }
}

void putNumber(std::string& out, uint64_t value) {
  for (int shift = 56; shift >= 0; shift -= 8) out += static_cast<char>(value >> shift);
}

bool putText(std::string& out, const char* bytes, size_t length) {
  if (length > 0xffff) return false;
  out += static_cast<char>(length >> 8);
  out += static_cast<char>(length);
  out.append(bytes, length);
  return true;
}

template <typename List>
int indexOf(const List& list, const std::string& word) {
  auto at = std::find(list.begin(), list.end(), word);
  return at == list.end() ? -1 : static_cast<int>(at - list.begin());
}

bool putArgument(std::string& out, const char* key, xpc_object_t value) {
  int index = indexOf(kKeys, key);
  if (index < 0) return false;
  out += static_cast<char>(index);
  xpc_type_t type = xpc_get_type(value);
  if (type == XPC_TYPE_STRING) {
    out += static_cast<char>(kString);
    return putText(out, xpc_string_get_string_ptr(value), xpc_string_get_length(value));
  }
  if (type == XPC_TYPE_DATA) {
    out += static_cast<char>(kData);
    return putText(out, static_cast<const char*>(xpc_data_get_bytes_ptr(value)), xpc_data_get_length(value));
  }
  if (type == XPC_TYPE_INT64) {
    out += static_cast<char>(kInt64);
    putNumber(out, static_cast<uint64_t>(xpc_int64_get_value(value)));
  } else if (type == XPC_TYPE_UINT64) {
    out += static_cast<char>(kUint64);
    putNumber(out, xpc_uint64_get_value(value));
  } else if (type == XPC_TYPE_BOOL) {
    out += static_cast<char>(kBool);
    out += static_cast<char>(xpc_bool_get_value(value));
  } else {
    return false;
  }
  return true;
}

}  // namespace

xpc::XpcRef RequestCodec::decode(const uint8_t* data, size_t size) {
  Input in(data, size);
  xpc::XpcRef request(xpc_dictionary_create(nullptr, nullptr, 0), xpc::RefPolicy::Adopt);
  if (in.byte() % 8 != 0) xpc_dictionary_set_string(request.get(), "Command", command(in).c_str());
  while (!in.empty()) addArgument(request.get(), in);
  return request;
}

std::string RequestCodec::encode(xpc_object_t request) {
  const char* name = xpc_dictionary_get_string(request, "Command");
  int index = name ? indexOf(kCommands, name) : -1;
  if (index < 0) return "";
  std::string out(1, '\1');
  out += static_cast<char>(index);
  out.append(kCommands[index].size(), '\0');  // letter case as listed
  __block bool known = true;
  __block std::string* arguments = &out;
  xpc_dictionary_apply(request, ^bool(const char* key, xpc_object_t value) {
    if (std::string(key) != "Command") known = putArgument(*arguments, key, value);
    return known;
  });
  return known ? out : "";
}
