// Whatever bytes come in, SecCertificateCreateWithData either refuses them or
// gives a certificate whose data, names and values can all be read, without a
// crash, an out-of-bounds read or a leaked object. Random bytes are seldom a
// certificate, so each input is also tried as an edit of a real one.
#include <Security/Security.h>
#include <emu/ObjectCounts.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace {

// A real certificate's DER (ISRG Root X1 from Debian's ca-certificates).
const std::string& realCertificate() {
  static const std::string der = [] {
    std::ifstream in(REAL_CERTIFICATE_DER, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (bytes.empty()) abort();
    return bytes;
  }();
  return der;
}

void exercise(const std::string& bytes) {
  long live = emu_cf_live_objects();
  CFDataRef data =
      CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()));
  SecCertificateRef certificate = SecCertificateCreateWithData(nullptr, data);
  if (certificate != nullptr) {
    CFDataRef copy = SecCertificateCopyData(certificate);
    if (!CFEqual(copy, data)) abort();
    CFRelease(copy);
    CFStringRef name = nullptr;
    if (SecCertificateCopyCommonName(certificate, &name) == errSecSuccess) CFRelease(name);
    CFStringRef summary = SecCertificateCopySubjectSummary(certificate);
    if (summary == nullptr) abort();
    CFRelease(summary);
    CFDictionaryRef values = SecCertificateCopyValues(certificate, nullptr, nullptr);
    if (values == nullptr) abort();
    CFRelease(values);
    CFStringRef description = CFCopyDescription(certificate);
    CFRelease(description);
    CFRelease(certificate);
  }
  CFRelease(data);
  if (emu_cf_live_objects() != live) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
  std::string bytes(reinterpret_cast<const char*>(input), size);
  exercise(bytes);
  // The first two bytes place the rest over the real certificate.
  if (size > 2) {
    std::string edited = realCertificate();
    size_t at = ((input[0] << 8) | input[1]) % edited.size();
    edited.replace(at, std::min(size - 2, edited.size() - at), bytes.substr(2));
    exercise(edited);
  }
  return 0;
}
