// Writes the starting corpora of the request fuzzers: a real request of every
// command with valid arguments (the fake Mac's services, networks and
// stores, a real CA certificate, a fixture profile and application), as the
// command fuzzer's input and as the frame a client puts on the wire.
//
//   request_corpus COMMANDS_DIR WIRE_DIR CERTIFICATE_PEM PROFILE APP_ZIP
#include <xpc/xpc.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "RequestCodec.h"
#include "XpcRef.h"
#include "xpc/Wire.h"

namespace {

const char kEthernet[] = "38C9FE51-C1A3-4CC9-AD73-425D4F3C28A9";
const char kWiFi[] = "AB93766D-7442-4933-9E58-5494AA69EC06";

struct Data {
  std::string bytes;
};
using Value = std::variant<std::string, int64_t, bool, Data>;
using Request = std::pair<std::string, std::vector<std::pair<std::string, Value>>>;

std::string fileBytes(const char* path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// The DER inside a PEM certificate, by way of the Security framework's own
// reading would be circular; base64 is simple enough to undo here.
std::string derOf(const std::string& pem) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  size_t begin = pem.find('\n', pem.find("-----BEGIN")) + 1;
  size_t end = pem.find("-----END");
  std::string der;
  unsigned bits = 0;
  int count = 0;
  for (size_t i = begin; i < end; ++i) {
    size_t at = alphabet.find(pem[i]);
    if (at == std::string::npos) continue;
    bits = bits << 6 | static_cast<unsigned>(at);
    count += 6;
    if (count >= 8) {
      count -= 8;
      der += static_cast<char>((bits >> count) & 0xff);
    }
  }
  return der;
}

xpc::XpcRef build(const Request& request) {
  xpc::XpcRef dictionary(xpc_dictionary_create(nullptr, nullptr, 0), xpc::RefPolicy::Adopt);
  xpc_object_t d = dictionary.get();
  xpc_dictionary_set_string(d, "Command", request.first.c_str());
  for (const auto& [key, value] : request.second) {
    const char* k = key.c_str();
    if (auto* text = std::get_if<std::string>(&value)) xpc_dictionary_set_string(d, k, text->c_str());
    if (auto* number = std::get_if<int64_t>(&value)) xpc_dictionary_set_int64(d, k, *number);
    if (auto* flag = std::get_if<bool>(&value)) xpc_dictionary_set_bool(d, k, *flag);
    if (auto* data = std::get_if<Data>(&value)) xpc_dictionary_set_data(d, k, data->bytes.data(), data->bytes.size());
  }
  return dictionary;
}

bool write(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << bytes;
  return static_cast<bool>(out);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) {
    std::fprintf(stderr, "usage: %s COMMANDS_DIR WIRE_DIR CERTIFICATE_PEM PROFILE APP_ZIP\n", argv[0]);
    return 2;
  }
  const std::string commandsDir = argv[1], wireDir = argv[2];
  const std::string pem = fileBytes(argv[3]);
  const std::string der = derOf(pem);
  const std::string profile = argv[4], zip = argv[5];
  const Data ssid{std::string("Campus-Secure") + '\0'};
  const std::string configPath = std::string("/NetworkServices/") + kWiFi + "/Interface";
  const std::string keychainService = "com.apple.network.eap.user.item.wlan.ssid.Campus-Secure";

  const std::vector<Request> requests{
      {"ping", {}},
      {"getversion", {}},
      {"changeupdatechecksettings", {{"Enable", true}, {"SetFrequency", true}, {"Frequency", int64_t{7}}}},
      {"changefirewallstate", {{"Enabled", int64_t{1}}}},
      {"addnetworklocation", {{"Location", std::string("Travel")}}},
      {"deletenetworklocation", {{"Location", std::string("Automatic")}}},
      {"proxysetmanualserver",
       {{"Uuid", std::string(kEthernet)}, {"NewValue", std::string("proxy.example.net")}, {"Port", int64_t{8080}}}},
      {"proxydisable", {{"Uuid", std::string(kEthernet)}}},
      {"proxyautobyurl",
       {{"Uuid", std::string(kEthernet)}, {"Url", std::string("http://wpad.example.net/p.pac")}, {"ResetOthers", true}}},
      {"proxysetautodetected", {{"Uuid", std::string(kEthernet)}, {"ResetOthers", false}}},
      {"setnetworkprotocolenabled",
       {{"Uuid", std::string(kWiFi)}, {"ProtocolConstant", std::string("IPv6")}, {"Enabled", false}}},
      {"setipv6toautomatic", {{"Uuid", std::string(kEthernet)}}},
      {"setinttoconfigpath", {{"Path", configPath}, {"Key", std::string("MTU")}, {"NewValue", int64_t{1400}}}},
      {"setinterfaceadminstate", {{"InterfaceName", std::string("en0")}, {"DesiredState", false}}},
      {"dhcprenew", {{"InterfaceName", std::string("en0")}}},
      {"commitmobileconfig", {{"MobileConfigPath", profile}, {"AsSystemProfile", true}}},
      {"setssidpriority", {{"InterfaceName", std::string("en1")}, {"SSID", Data{std::string("Cafe Guest") + '\0'}},
                           {"NewPriority", int64_t{0}}}},
      {"installzipappasroot", {{"ZipFile", zip}}},
      {"deletefileasroot", {{"File", std::string("/Library/PrivilegedHelperTools/old.log")}}},
      {"deletessidconfiguration", {{"SSID", Data{std::string("HomeNet") + '\0'}}, {"Username", std::string("alex")}}},
      {"uninstall", {}},
      {"deleteprofilesforssid", {{"SSID", ssid}, {"Username", std::string("alex")}}},
      {"createsystemkeychainentry",
       {{"Account", std::string("alex")}, {"Service", keychainService}, {"Label", std::string("Campus-Secure")},
        {"Description", std::string("802.1X Password")}, {"Password", std::string("correct horse")}}},
      {"deletesystemkeychainentry", {{"Service", keychainService}, {"Account", std::string("alex")}}},
      {"installsystemcacert", {{"CertificateData", Data{der}}}},
      {"deletesystemcert", {{"CertLabel", std::string("ISRG Root X1")}, {"Thumbprint", std::string("CABD2A79A1076A31F21D253635CB039D4329A5E8")}}},
      {"certificateexistsinsystemstore",
       {{"CertLabel", std::string("ISRG Root X1")}, {"Thumbprint", std::string("CABD2A79A1076A31F21D253635CB039D4329A5E8")}}},
      {"installsystemcacertwithsecuritycmd", {{"PEMdata", pem}}},
  };

  int failures = 0;
  for (const Request& request : requests) {
    xpc::XpcRef dictionary = build(request);
    std::string input = RequestCodec::encode(dictionary.get());
    emu::xpc::Wire::Header header;
    header.id = 1;
    header.wantsReply = true;
    std::string frame;
    if (input.empty() || !emu::xpc::Wire::encode(header, *emu::xpc::Object::from(dictionary.get()), frame) ||
        !write(commandsDir + "/" + request.first, input) ||
        !write(wireDir + "/" + request.first, frame.substr(emu::xpc::Wire::kPrefixSize))) {
      std::fprintf(stderr, "request_corpus: cannot write the input of %s\n", request.first.c_str());
      ++failures;
    }
  }
  return failures == 0 ? 0 : 1;
}
