#include "CoreWlanHelperYosemitePlus.h"

#include "CFRef.h"
#include "MacStringUtils.h"

namespace xpc {

std::vector<std::string> CoreWlanHelperYosemitePlus::getWirelessInterfaceNames() {
  std::vector<std::string> names;
  CoreWlanRef interfaces(CoreWlanPlatform::copyClientInterfaces(), RefPolicy::Adopt);
  long count = interfaces ? CoreWlanPlatform::count(interfaces.get()) : 0;
  if (count == 0) {
    log(LogLevel::Error, "CoreWlan didn't provide us with a list of wireless interface names!");
    return names;
  }
  for (long i = 0; i < count; ++i) {
    CFRef<CFStringRef> name(
        CoreWlanPlatform::copyInterfaceName(CoreWlanPlatform::getObjectAtIndex(interfaces.get(), i)),
        RefPolicy::Adopt);
    names.push_back(MacStringUtils::cfStringRefToStdString(name.get()));
    log(LogLevel::Progress, "Saved interface '" + names.back() + "' as a wireless interface.");
  }
  return names;
}

CoreWlanRef CoreWlanHelperYosemitePlus::getInterfaceFromNetworkInterfaceData(std::string name) {
  // No test for an empty name here: the framework finds no interface for it.
  CFRef<CFStringRef> interfaceName(MacStringUtils::stdStringToCfStringRef(name), RefPolicy::Adopt);
  if (!interfaceName) {
    log(LogLevel::Error, "Unable to convert our interface name to an NSString while getting our interface object "
                         "from an interface name!");
    return {};
  }
  return CoreWlanRef(CoreWlanPlatform::copyClientInterfaceWithName(interfaceName.get()),
                     RefPolicy::Adopt);
}

}  // namespace xpc
