#include "CoreWlanHelperMavericksPre.h"

#include "CFRef.h"
#include "MacStringUtils.h"
#include "StringTools.h"

namespace xpc {

std::vector<std::string> CoreWlanHelperMavericksPre::getWirelessInterfaceNames() {
  std::vector<std::string> names;
  CFRef<CFArrayRef> list(CoreWlanPlatform::copyInterfaceNames(), RefPolicy::Adopt);
  CFIndex count = list ? CFArrayGetCount(list.get()) : 0;
  if (count == 0) {
    log(4, "No interfaces were listed while getting wireless interface names!");
    return names;
  }
  for (CFIndex i = 0; i < count; ++i) {
    names.push_back(MacStringUtils::cfStringRefToStdString(
        static_cast<CFStringRef>(CFArrayGetValueAtIndex(list.get(), i))));
  }
  return names;
}

CoreWlanRef CoreWlanHelperMavericksPre::getInterfaceFromNetworkInterfaceData(std::string name) {
  if (StringTools::stringIsEmpty(name)) {
    log(4, "No interface name provided while attempting to get an interface object!");
    return {};
  }
  CFRef<CFStringRef> interfaceName(MacStringUtils::stdStringToCfStringRef(name), RefPolicy::Adopt);
  return CoreWlanRef(CoreWlanPlatform::copyInterfaceWithName(interfaceName.get()), RefPolicy::Adopt);
}

}  // namespace xpc
