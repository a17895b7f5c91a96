#include <Security/SecCertificate.h>

#include "../corefoundation/CFRuntimeInternal.h"

namespace {

const CFRuntimeClass kSecCertificateClass = {"SecCertificate", nullptr, nullptr, nullptr, nullptr, nullptr};

}  // namespace

CFTypeID SecCertificateGetTypeID(void) {
  static const CFTypeID typeID = _CFRuntimeRegisterClass(&kSecCertificateClass);
  return typeID;
}
