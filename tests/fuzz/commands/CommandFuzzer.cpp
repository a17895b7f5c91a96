// Any request a client can send reaches the router and the command families
// without crashing, leaking or reading out of bounds. The request is built
// from the input: a command word (any letter case, or arbitrary text) and
// arguments under the keys the families read, each of any XPC type.
#include <xpc/xpc.h>

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "XpcCommandHandler.h"
#include "XpcRef.h"

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
  std::string text() {
    size_t length = byte() % 48;
    std::string out;
    while (length-- > 0 && pos_ < size_) out += static_cast<char>(byte());
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
  switch (in.byte() % 8) {
    case 0: xpc_dictionary_set_string(request, k, in.text().c_str()); break;
    case 1: xpc_dictionary_set_int64(request, k, static_cast<int64_t>(in.number())); break;
    case 2: xpc_dictionary_set_uint64(request, k, in.number()); break;
    case 3: xpc_dictionary_set_bool(request, k, in.byte() & 1); break;
    case 4: {
      std::string bytes = in.text();
      xpc_dictionary_set_data(request, k, bytes.data(), bytes.size());
      break;
    }
    case 5: xpc_dictionary_set_double(request, k, static_cast<double>(in.number())); break;
    case 6: {
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static XpcCommandHandler* router = new XpcCommandHandler(nullptr);
  Input in(data, size);
  xpc::XpcRef request(xpc_dictionary_create(nullptr, nullptr, 0), xpc::RefPolicy::Adopt);
  if (in.byte() % 8 != 0) xpc_dictionary_set_string(request.get(), "Command", command(in).c_str());
  while (!in.empty()) addArgument(request.get(), in);
  const char* name = xpc_dictionary_get_string(request.get(), "Command");
  if (name != nullptr && std::string(name) == "terminate") return 0;

  // A request made here expects no reply, so the router builds none; the
  // command still runs to its end.
  xpc::XpcRef reply(router->handleDictionaryCommand(nullptr, request.get()), xpc::RefPolicy::Adopt);
  return 0;
}
