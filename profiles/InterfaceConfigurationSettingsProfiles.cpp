// The interface family's command of the profiles subsystem: moving a
// remembered Wi-Fi network to a position in the preferred-network list.
#include "CoreWlanHelper.h"
#include "InterfaceConfigurationSettings.h"

xpc_object_t InterfaceConfigurationSettings::setProfileToPriorityIndex(xpc_object_t message) {
  return run(
      message,
      {"No command object was provided while attempting to set the priority of a profile!",
       "InterfaceName", "Invalid data provided while trying to set the SSID priority!"},
      [&](const Arguments& a) -> Result {
        size_t ssidLength = 0;
        const void* ssid = xpc_dictionary_get_data(message, "SSID", &ssidLength);
        if (ssid == nullptr || ssidLength == 0) {
          return Result::error("Invalid data provided while trying to set the SSID priority! (2)");
        }
        // Only the low 32 bits of either number count; neither is range-checked here.
        auto priority = static_cast<unsigned int>(xpc_dictionary_get_int64(message, "NewPriority"));
        auto version = static_cast<unsigned int>(xpc_dictionary_get_uint64(message, "APILevel"));
        xpc::CoreWlanHelper wifi(logger, version);
        return wifi.setSsidToPriorityLevel(a.first, static_cast<const char*>(ssid), ssidLength,
                                           priority);
      });
}
