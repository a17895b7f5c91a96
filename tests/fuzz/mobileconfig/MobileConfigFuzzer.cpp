// Any bytes as a profile file go through the reading and editing of a
// document without crashing, leaking or reading out of bounds: as they are,
// and inside a document's frame (within its EAP configuration), so that the
// parse, the extraction and the edits run on them too.
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>

#include "MobileConfigHelper.h"

namespace {

const char kFile[] = "/tmp/fuzz.mobileconfig";
const std::string kHead =
    "<?xml version=\"1.0\"?>\n<plist version=\"1.0\">\n<dict><key>PayloadContent</key><array><dict>"
    "<key>PayloadDisplayName</key><string>Wi-Fi</string><key>EAPClientConfiguration</key><dict>";
const std::string kTail = "</dict></dict></array></dict></plist>\n";

void readAndEdit(const std::string& bytes) {
  std::ofstream(kFile, std::ios::binary | std::ios::trunc) << bytes;
  xpc::MobileConfigHelper helper(nullptr);
  if (!helper.loadMobileConfig(kFile) || !helper.stripMobileconfigData()) return;
  helper.loadMobileConfigFromString(helper.getMobileconfigText());
  helper.applyNetworkName("Voil\xC3\xA0 & <Lab>");
  helper.applyUsernameAndPassword("jdoe&co", "p<ss>");
  helper.loadMobileConfigFromString(helper.getMobileconfigText());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string bytes(reinterpret_cast<const char*>(data), size);
  readAndEdit(bytes);
  readAndEdit(kHead + bytes + kTail);
  return 0;
}
