#include "CoreWlanHelperMavericksPre.h"

#include "CFRef.h"
#include "MacStringUtils.h"
#include "StringTools.h"

namespace xpc {

std::vector<std::string> CoreWlanHelperMavericksPre::getWirelessInterfaceNames() {
  std::vector<std::string> names;
  CFRef<CFArrayRef> list(CoreWlanPlatform::copyInterfaceNames(), RefPolicy::Adopt);
  if (!list) {
    log(LogLevel::Error, "No interfaces were listed while getting wireless interface names!");
    return names;
  }
  CFIndex count = CFArrayGetCount(list.get());
  if (count == 0) {
    log(LogLevel::Error, "Unable to get an enumerator to get the list of wireless interface names!");
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
    log(LogLevel::Error, "No interface name provided while attempting to get an interface object!");
    return {};
  }
  CFRef<CFStringRef> interfaceName(MacStringUtils::stdStringToCfStringRef(name), RefPolicy::Adopt);
  return CoreWlanRef(CoreWlanPlatform::copyInterfaceWithName(interfaceName.get()), RefPolicy::Adopt);
}

}  // namespace xpc
