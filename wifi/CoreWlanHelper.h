#pragma once
#include <memory>
#include <string>
#include <vector>

#include "CoreWlanHelperBase.h"

class Logger;

namespace xpc {

// The Wi-Fi facade a command creates, uses once and destroys. The client
// says which OS-release variant to use: 0 for releases before 10.10, any
// other value for 10.10 and later. Every operation is the variant's.
class CoreWlanHelper {
 public:
  CoreWlanHelper(Logger* logger, unsigned int version);
  ~CoreWlanHelper();
  CoreWlanHelper(const CoreWlanHelper&) = delete;
  CoreWlanHelper& operator=(const CoreWlanHelper&) = delete;

  std::vector<std::string> getWirelessInterfaceNames();
  bool getCurrentSsid(std::string interfaceName, char** ssid, unsigned long& length,
                      bool& associated, bool unused);
  bool interfaceIsPoweredOn(std::string interfaceName);
  long rssi(std::string interfaceName);
  bool connectToSsid(std::string interfaceName, const char* ssid, unsigned long ssidLength,
                     bool refreshScan);
  // Another name for connectToSsid.
  bool connectToNetwork(std::string interfaceName, const char* ssid, unsigned long ssidLength,
                        bool refreshScan);
  bool setPowerOn(std::string interfaceName, bool on);
  bool setSsidToPriorityLevel(std::string interfaceName, const char* ssid, unsigned long ssidLength,
                              unsigned int priority);
  bool getSsidPriorityLevel(std::string interfaceName, const char* ssid, unsigned long ssidLength,
                            unsigned int& priority);
  std::vector<std::string> getAvailableSsids(std::string interfaceName);
  std::vector<std::string> getConfiguredSsids(std::string interfaceName);
  bool deleteConfigurationForSsid(std::string interfaceName, const char* ssid,
                                  unsigned long ssidLength);
  bool disassociate(std::string interfaceName);

 private:
  std::unique_ptr<CoreWlanHelperBase> helper;
  // Kept with the variant it was given to; the facade itself never logs.
  [[maybe_unused]] Logger* logger;
};

}  // namespace xpc
