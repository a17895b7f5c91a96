#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <vector>

#include "LogSink.h"
#include "CFRef.h"
#include "CoreWlanRef.h"

class Logger;

namespace xpc {

// Every Wi-Fi operation: the remembered-network list (move, position,
// removal), scans and the choice of the strongest instance of a network,
// joining, power and the small queries. The two variants differ only in how
// they reach interfaces. SSIDs come as bytes plus a length and are read as
// text up to their NUL byte, never past the length.
class CoreWlanHelperBase {
 public:
  explicit CoreWlanHelperBase(Logger* logger);
  virtual ~CoreWlanHelperBase();
  CoreWlanHelperBase(const CoreWlanHelperBase&) = delete;
  CoreWlanHelperBase& operator=(const CoreWlanHelperBase&) = delete;

  virtual std::vector<std::string> getWirelessInterfaceNames() = 0;
  // The interface of a BSD name, or null.
  virtual CoreWlanRef getInterfaceFromNetworkInterfaceData(std::string name) = 0;

  // Moves the network to `priority` (0 is the most preferred) and commits.
  // A network moves towards the front or stays: a priority beyond the
  // number of networks before it is refused.
  bool setSsidToPriorityLevel(std::string interfaceName, const char* ssid, unsigned long ssidLength,
                              unsigned int priority);
  bool getSsidPriorityLevel(std::string interfaceName, const char* ssid, unsigned long ssidLength,
                            unsigned int& priority);
  // Removes every entry of the network and commits; never the last one.
  bool deleteConfigurationForSsid(std::string interfaceName, const char* ssid,
                                  unsigned long ssidLength);

  // On success `ssid` is a new NUL-terminated copy (the caller delete[]s it)
  // of `length` bytes. The last argument has no effect.
  bool getCurrentSsid(std::string interfaceName, char** ssid, unsigned long& length,
                      bool& associated, bool);
  bool interfaceIsPoweredOn(std::string interfaceName);
  long rssi(std::string interfaceName);
  bool setPowerOn(std::string interfaceName, bool on);
  std::vector<std::string> getAvailableSsids(std::string interfaceName);
  std::vector<std::string> getConfiguredSsids(std::string interfaceName);
  bool disassociate(std::string interfaceName);
  // Joins the strongest visible instance of the network, switching the
  // interface on first. `refreshScan` skips the scan cache.
  bool connectToSsid(std::string interfaceName, const char* ssid, unsigned long ssidLength,
                     bool refreshScan);

  // The visible networks: the scan cache unless `refreshScan` or `active`,
  // else a scan. Null when there are none.
  CoreWlanRef getScanData(CoreWlanObject* interface, const char* ssid, unsigned long ssidLength,
                          bool refreshScan, bool active);
  // The instance of the network with the strongest signal; the first of
  // equals. Null when it is not among the results.
  CoreWlanRef getConfigFromScanData(const char* ssid, unsigned long ssidLength,
                                    CoreWlanObject* results);
  // The best instance from the scan cache, else from active scans, waiting
  // five seconds after each of up to six attempts per phase that saw nothing.
  CoreWlanRef getBestConfigForSsid(CoreWlanObject* interface, const char* ssid,
                                   unsigned long ssidLength, bool refreshScan);

  std::string nsErrorToString(CFErrorRef error);

 protected:
  void log(LogLevel level, const std::string& text);

  Logger* logger;

 private:
  struct RememberedNetworks;

  // The interface of a non-empty name; otherwise null after logging
  // `emptyLine`, or that no wireless interface of the name exists "while
  // attempting to " + `purpose`.
  CoreWlanRef findInterface(const std::string& name, const char* emptyLine, const char* purpose);
  // The interface of a non-empty name, its configuration and its profiles,
  // for reading or moving a network's position; `doing` and `what` complete
  // the failure lines.
  bool loadRememberedNetworks(const std::string& name, const char* doing, const char* what,
                              RememberedNetworks& networks);
  CoreWlanRef scanDataWithinAttempts(CoreWlanObject* interface, const char* ssid,
                                     unsigned long ssidLength, bool refreshScan, bool active);
};

}  // namespace xpc
