#include "CoreWlanHelperBase.h"

#include <cstring>

#include "Logger.h"
#include "MacStringUtils.h"

namespace xpc {

namespace {

// kCWTimeoutErr: the platform's "operation couldn't be completed", worth
// one more try.
constexpr CFIndex kCouldNotCompleteError = -3905;
constexpr unsigned int kWaitSeconds = 5;
constexpr int kAttemptsPerPhase = 6;

// The SSID as text: its bytes up to the NUL the client sends, and never past
// the length it gave.
std::string ssidText(const char* ssid, unsigned long length) {
  return ssid == nullptr ? std::string() : std::string(ssid, strnlen(ssid, length));
}

// The ssid of an interface, profile or network; false when it has none.
bool ssidOf(CoreWlanObject* object, std::string& text) {
  CFRef<CFStringRef> ssid(CoreWlanPlatform::copySsid(object), RefPolicy::Adopt);
  text = MacStringUtils::cfStringRefToStdString(ssid.get());
  return static_cast<bool>(ssid);
}

bool hasSsid(CoreWlanObject* object, const std::string& target) {
  std::string text;
  return ssidOf(object, text) && text == target;
}

CoreWlanRef adopt(CoreWlanObject* object) { return CoreWlanRef(object, RefPolicy::Adopt); }

long countOf(const CoreWlanRef& collection) {
  return collection ? CoreWlanPlatform::count(collection.get()) : 0;
}

// The names of the networks or profiles that have one, in order.
std::vector<std::string> ssidsOf(const CoreWlanRef& collection) {
  std::vector<std::string> ssids;
  for (long i = 0; i < countOf(collection); ++i) {
    std::string ssid;
    if (ssidOf(CoreWlanPlatform::getObjectAtIndex(collection.get(), i), ssid)) ssids.push_back(ssid);
  }
  return ssids;
}

}  // namespace

struct CoreWlanHelperBase::RememberedNetworks {
  CoreWlanRef interface;
  CoreWlanRef configuration;
  CoreWlanRef profiles;
};

CoreWlanHelperBase::CoreWlanHelperBase(Logger* logger) : logger(logger) {}

CoreWlanHelperBase::~CoreWlanHelperBase() {}

void CoreWlanHelperBase::log(LogLevel level, const std::string& text) {
  logLine(logger, level, text);
}

std::string CoreWlanHelperBase::nsErrorToString(CFErrorRef error) {
  if (error == nullptr) {
    log(LogLevel::Error, "The NSError object provided to logNsError was NULL!");
    return "(Invalid NSError Value)";
  }
  CFRef<CFStringRef> description(CFErrorCopyDescription(error), RefPolicy::Adopt);
  CFRef<CFDictionaryRef> userInfo(CFErrorCopyUserInfo(error), RefPolicy::Adopt);
  CFRef<CFStringRef> userInfoText(
      CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR("%@"), userInfo.get()),
      RefPolicy::Adopt);
  return MacStringUtils::cfStringRefToStdString(description.get()) +
         "   (Code = " + std::to_string(CFErrorGetCode(error)) +
         "  Domain = " + MacStringUtils::cfStringRefToStdString(CFErrorGetDomain(error)) +
         "  User Info = " + MacStringUtils::cfStringRefToStdString(userInfoText.get()) + ")";
}

CoreWlanRef CoreWlanHelperBase::findInterface(const std::string& name, const char* emptyLine,
                                              const char* purpose) {
  if (name.empty()) {
    log(LogLevel::Error, emptyLine);
    return {};
  }
  CoreWlanRef interface = getInterfaceFromNetworkInterfaceData(name);
  if (!interface) {
    log(LogLevel::Error, "Unable to locate the wireless interface '" + name + "' while attempting to " + purpose +
                         "!");
  }
  return interface;
}

bool CoreWlanHelperBase::loadRememberedNetworks(const std::string& name, const char* doing,
                                                const char* what, RememberedNetworks& networks) {
  if (name.empty()) {
    log(LogLevel::Error, std::string("Selected interface is empty while attempting to ") + what +
               " the priority of an SSID!");
    return false;
  }
  networks.interface = getInterfaceFromNetworkInterfaceData(name);
  if (!networks.interface) {
    log(LogLevel::Error, "Unable to find a system interface that matches '" + name + "'!");
    return false;
  }
  networks.configuration = adopt(CoreWlanPlatform::copyConfiguration(networks.interface.get()));
  if (!networks.configuration) {
    log(LogLevel::Error, std::string("Unable to acquire the current configuration from the target interface while ") +
               doing + " the priority of the SSID!");
    return false;
  }
  networks.profiles = adopt(CoreWlanPlatform::copyNetworkProfiles(networks.configuration.get()));
  if (!networks.profiles) {
    log(LogLevel::Error, std::string("No current profiles were returned while attempting to ") + what +
               " the priority of an SSID!");
    return false;
  }
  return true;
}

bool CoreWlanHelperBase::setSsidToPriorityLevel(std::string interfaceName, const char* ssid,
                                                unsigned long ssidLength, unsigned int priority) {
  RememberedNetworks networks;
  if (!loadRememberedNetworks(interfaceName, "changing", "change", networks)) return false;

  std::string target = ssidText(ssid, ssidLength);
  CoreWlanRef newOrder = adopt(CoreWlanPlatform::createMutableOrderedSet());
  bool found = false;
  long count = CoreWlanPlatform::count(networks.profiles.get());
  for (long i = 0; i < count; ++i) {
    CoreWlanRef copy = adopt(CoreWlanPlatform::createMutableNetworkProfile(
        CoreWlanPlatform::getObjectAtIndex(networks.profiles.get(), i)));
    if (!hasSsid(copy.get(), target)) {
      CoreWlanPlatform::addObject(newOrder.get(), copy.get());
      continue;
    }
    // The position counts only the networks placed so far, those before this
    // one: an ordered set cannot insert beyond its end, so a network can move
    // towards the front but never behind its current place.
    long placed = CoreWlanPlatform::count(newOrder.get());
    if (priority > static_cast<unsigned long>(placed)) {
      log(LogLevel::Error, "The priority " + std::to_string(priority) + " is out of range for the SSID '" +
                 target + "': it can move to a priority of at most " + std::to_string(placed) +
                 ".");
      return false;
    }
    CoreWlanPlatform::insertObjectAtIndex(newOrder.get(), copy.get(), priority);
    found = true;
  }
  if (!found) {
    log(LogLevel::Warning, "The SSID '" + target + "' was *NOT* found!  Cannot change the priority for it!");
    return false;
  }

  CoreWlanRef configuration =
      adopt(CoreWlanPlatform::createMutableConfiguration(networks.configuration.get()));
  CoreWlanPlatform::setNetworkProfiles(configuration.get(), newOrder.get());
  CFRef<CFErrorRef> error;
  if (!CoreWlanPlatform::commitConfiguration(networks.interface.get(), configuration.get(),
                                             error.initializeInto())) {
    log(LogLevel::Error, "Unable to commit the change in priority for the SSID '" + target + "'.");
    log(LogLevel::Error, "System error was : " + nsErrorToString(error.get()));
    return false;
  }
  log(LogLevel::Progress, "The SSID '" + target + "' had its priority changed to " + std::to_string(priority) + ".");
  return true;
}

bool CoreWlanHelperBase::getSsidPriorityLevel(std::string interfaceName, const char* ssid,
                                              unsigned long ssidLength, unsigned int& priority) {
  RememberedNetworks networks;
  if (!loadRememberedNetworks(interfaceName, "getting", "get", networks)) return false;

  std::string target = ssidText(ssid, ssidLength);
  long count = CoreWlanPlatform::count(networks.profiles.get());
  for (long i = 0; i < count; ++i) {
    if (hasSsid(CoreWlanPlatform::getObjectAtIndex(networks.profiles.get(), i), target)) {
      priority = static_cast<unsigned int>(i);
      log(LogLevel::Progress, "Found SSID/profile '" + target + "' at priority " + std::to_string(i));
      return true;
    }
  }
  log(LogLevel::Error, "The SSID '" + target + "' was not found on the interface '" + interfaceName +
                       "'.  Unable to determine the current priority level!");
  return false;
}

bool CoreWlanHelperBase::deleteConfigurationForSsid(std::string interfaceName, const char* ssid,
                                                    unsigned long ssidLength) {
  if (interfaceName.empty()) {
    log(LogLevel::Error, "Invalid interface name passed to deleteConfigurationForSsid()!");
    return false;
  }
  if (ssid == nullptr || ssidLength == 0) {
    log(LogLevel::Error, "No SSID name was provided while attempting to delete a configuration based on the SSID!");
    return false;
  }
  CoreWlanRef interface =
      findInterface(interfaceName, "", "delete a configuration by SSID name");
  if (!interface) return false;
  CoreWlanRef current = adopt(CoreWlanPlatform::copyConfiguration(interface.get()));
  CoreWlanRef configuration;
  if (current) configuration = adopt(CoreWlanPlatform::createMutableConfiguration(current.get()));
  if (!configuration) {
    log(LogLevel::Error, "Unable to get a mutable version of the configuration data for interface '" +
               interfaceName + "'!");
    return false;
  }

  std::string target = ssidText(ssid, ssidLength);
  CoreWlanRef profiles = adopt(CoreWlanPlatform::copyNetworkProfiles(configuration.get()));
  CoreWlanRef kept = adopt(CoreWlanPlatform::createMutableOrderedSet());
  bool found = false;
  for (long i = 0; i < countOf(profiles); ++i) {
    CoreWlanObject* profile = CoreWlanPlatform::getObjectAtIndex(profiles.get(), i);
    if (hasSsid(profile, target)) {
      log(LogLevel::Progress, "Found a configuration for SSID : " + target);
      found = true;
    } else {
      CoreWlanPlatform::addObject(kept.get(), profile);
    }
  }
  if (!found) {
    log(LogLevel::Error, "Unable to locate the network configuration profile for SSID '" + target + "'!");
    return false;
  }

  CoreWlanPlatform::setNetworkProfiles(configuration.get(), kept.get());
  // A configuration without networks is not committed: removing the last
  // remembered network is refused.
  if (countOf(adopt(CoreWlanPlatform::copyNetworkProfiles(configuration.get()))) == 0) {
    log(LogLevel::Error, "Unable to update the in-memory configuration while deleting SSID '" + target +
                         "' from interface '" + interfaceName + "'.");
    return false;
  }
  CFRef<CFErrorRef> error;
  if (!CoreWlanPlatform::commitConfiguration(interface.get(), configuration.get(),
                                             error.initializeInto())) {
    log(LogLevel::Error, "Unable to commit the changed network configuration while deleting the SSID '" + target +
                         "' on the interface named '" + interfaceName + "'.");
    if (error) log(LogLevel::Error, "    Error was : " + nsErrorToString(error.get()));
    return false;
  }
  return true;
}

bool CoreWlanHelperBase::getCurrentSsid(std::string interfaceName, char** ssid,
                                        unsigned long& length, bool& associated, bool) {
  associated = false;
  CoreWlanRef interface = findInterface(
      interfaceName, "Invalid interface name passed to getCurrentSsid()!", "get the current SSID");
  if (!interface) return false;
  std::string current;
  if (!ssidOf(interface.get(), current)) {
    log(LogLevel::Error, "Interface is either not associated, or there was an error with the API to get the SSID.");
    return false;
  }
  log(LogLevel::Progress, "Interface " + interfaceName + " is currently associated to '" + current + "'.");
  *ssid = new char[current.size() + 1];
  memcpy(*ssid, current.c_str(), current.size() + 1);
  length = current.size();
  associated = true;
  return true;
}

bool CoreWlanHelperBase::interfaceIsPoweredOn(std::string interfaceName) {
  // The lookup's wording names a join on purpose: joining is what asks.
  CoreWlanRef interface = findInterface(
      interfaceName,
      "The interface name was empty while trying to determine if a wireless interface was powered on!",
      "connect to an open SSID");
  return interface && CoreWlanPlatform::powerOn(interface.get());
}

long CoreWlanHelperBase::rssi(std::string interfaceName) {
  CoreWlanRef interface = findInterface(
      interfaceName,
      "No interface name was provided while attempting to get the RSSI for an interface!",
      "get the wireless RSSI");
  return interface ? CoreWlanPlatform::rssiValue(interface.get()) : 0;
}

bool CoreWlanHelperBase::setPowerOn(std::string interfaceName, bool on) {
  CoreWlanRef interface = findInterface(interfaceName,
                                        "The interface provided was empty while trying to change the "
                                        "power on/off state of a wireless interface!",
                                        "change the power on/off state");
  if (!interface) return false;
  CFRef<CFErrorRef> error;
  if (!CoreWlanPlatform::setPower(interface.get(), on, error.initializeInto())) {
    log(LogLevel::Error, "Unable to change the on/off state of the wireless interface!");
    log(LogLevel::Error, "   Mac error string : " + nsErrorToString(error.get()));
    return false;
  }
  return true;
}

std::vector<std::string> CoreWlanHelperBase::getAvailableSsids(std::string interfaceName) {
  CoreWlanRef interface =
      findInterface(interfaceName, "Invalid interface name passed to getAvailableSsids()!",
                    "get the available SSID list");
  if (!interface) return {};
  CoreWlanRef networks = adopt(CoreWlanPlatform::copyCachedScanResults(interface.get()));
  if (countOf(networks) == 0) {
    log(LogLevel::Progress, "No data in the scan cache.  Will start an active scan...");
    CFRef<CFErrorRef> error;
    networks = adopt(CoreWlanPlatform::copyScanForNetworksWithName(interface.get(), nullptr,
                                                                   error.initializeInto()));
  }
  if (countOf(networks) == 0) {
    log(LogLevel::Error, "No scan results returned on wireless interface '" + interfaceName + "'!");
    return {};
  }
  return ssidsOf(networks);
}

std::vector<std::string> CoreWlanHelperBase::getConfiguredSsids(std::string interfaceName) {
  CoreWlanRef interface =
      findInterface(interfaceName, "Invalid interface name passed to getConfiguredSsids()!",
                    "get the configured SSID list");
  if (!interface) return {};
  CoreWlanRef configuration = adopt(CoreWlanPlatform::copyConfiguration(interface.get()));
  CoreWlanRef profiles;
  if (configuration) profiles = adopt(CoreWlanPlatform::copyNetworkProfiles(configuration.get()));
  std::vector<std::string> ssids = ssidsOf(profiles);
  log(LogLevel::Progress, "Found " + std::to_string(ssids.size()) + " already configured networks.");
  return ssids;
}

bool CoreWlanHelperBase::disassociate(std::string interfaceName) {
  CoreWlanRef interface = findInterface(
      interfaceName, "Invalid interface name passed to disassociate()!", "disassociate");
  if (!interface) return false;
  CoreWlanPlatform::disassociate(interface.get());
  return true;
}

CoreWlanRef CoreWlanHelperBase::getScanData(CoreWlanObject* interface, const char* ssid,
                                            unsigned long ssidLength, bool refreshScan,
                                            bool active) {
  if (interface == nullptr) {
    log(LogLevel::Error, "Our wireless interface object was NULL while trying to get scan data!");
    return {};
  }
  if (!refreshScan && !active) {
    CoreWlanRef cached = adopt(CoreWlanPlatform::copyCachedScanResults(interface));
    if (countOf(cached) > 0) return cached;
  }
  CFRef<CFStringRef> name;
  if (ssidLength != 0) {
    std::string target = ssidText(ssid, ssidLength);
    log(LogLevel::Progress, "Scanning for the SSID : " + target);
    name.reset(MacStringUtils::stdStringToCfStringRef(target), RefPolicy::Adopt);
  } else {
    log(LogLevel::Progress, "Doing a non-SSID specific scan.");
  }
  CFRef<CFErrorRef> error;
  CoreWlanRef results = adopt(
      CoreWlanPlatform::copyScanForNetworksWithName(interface, name.get(), error.initializeInto()));
  if (countOf(results) > 0) return results;
  log(LogLevel::Error, "Didn't get any scan results, even with an active scan!");
  if (error) log(LogLevel::Error, "     System error : " + nsErrorToString(error.get()));
  return {};
}

CoreWlanRef CoreWlanHelperBase::getConfigFromScanData(const char* ssid, unsigned long ssidLength,
                                                      CoreWlanObject* results) {
  if (ssid == nullptr || ssidLength == 0) {
    log(LogLevel::Error, "No target SSID provided while attempting to locate our SSID in the scan results!");
    return {};
  }
  if (results == nullptr) {
    log(LogLevel::Error, "No scan results were provided while attempting to locate an SSID!");
    return {};
  }
  std::string target = ssidText(ssid, ssidLength);
  CoreWlanObject* best = nullptr;
  long bestRssi = 0;
  long count = CoreWlanPlatform::count(results);
  for (long i = 0; i < count; ++i) {
    CoreWlanObject* network = CoreWlanPlatform::getObjectAtIndex(results, i);
    std::string name;
    ssidOf(network, name);
    log(LogLevel::Progress, "Checking if SSID '" + name + "' is the network we are looking for...");
    if (!hasSsid(network, target)) continue;
    long rssi = CoreWlanPlatform::rssiValue(network);
    if (best == nullptr) {
      log(LogLevel::Progress, "Found our first instance of SSID : '" + name + "'.   RSSI : " + std::to_string(rssi));
    } else if (rssi > bestRssi) {
      log(LogLevel::Progress, "Found a better instance of our SSID '" + name + "'.  Old RSSI : " +
                 std::to_string(bestRssi) + "  New RSSI : " + std::to_string(rssi));
    } else {
      continue;  // a tie keeps the instance seen first
    }
    best = network;
    bestRssi = rssi;
  }
  return CoreWlanRef(best, RefPolicy::Retain);
}

CoreWlanRef CoreWlanHelperBase::scanDataWithinAttempts(CoreWlanObject* interface, const char* ssid,
                                                       unsigned long ssidLength, bool refreshScan,
                                                       bool active) {
  for (int attempt = 0; attempt < kAttemptsPerPhase; ++attempt) {
    CoreWlanRef data = getScanData(interface, ssid, ssidLength, refreshScan, active);
    if (data) return data;
    CoreWlanPlatform::sleepSeconds(kWaitSeconds);
  }
  return {};
}

CoreWlanRef CoreWlanHelperBase::getBestConfigForSsid(CoreWlanObject* interface, const char* ssid,
                                                     unsigned long ssidLength, bool refreshScan) {
  if (interface == nullptr) {
    log(LogLevel::Error, "No valid interface was provided while attempting to locate the best configuration for "
                         "an SSID!");
    return {};
  }
  if (ssid == nullptr || ssidLength == 0) {
    log(LogLevel::Error, "No SSID was provided while attempting to find the best configuration for the SSID!");
    return {};
  }
  CoreWlanRef cached = scanDataWithinAttempts(interface, ssid, ssidLength, refreshScan, false);
  if (cached) {
    CoreWlanRef best = getConfigFromScanData(ssid, ssidLength, cached.get());
    if (best) {
      log(LogLevel::Progress, "Found our network! (1)");
      return best;
    }
  }
  log(LogLevel::Progress, "Network wasn't found in our scan cache..  Trying an active scan..");
  // Only missing scan data is retried: a scan that lacks the network is final.
  CoreWlanRef scanned = scanDataWithinAttempts(interface, ssid, ssidLength, refreshScan, true);
  if (scanned) return getConfigFromScanData(ssid, ssidLength, scanned.get());
  log(LogLevel::Error, "Unable to locate any wireless network scan data!  Is the interface powered on!?");
  return {};
}

bool CoreWlanHelperBase::connectToSsid(std::string interfaceName, const char* ssid,
                                       unsigned long ssidLength, bool refreshScan) {
  if (interfaceName.empty()) {
    log(LogLevel::Error, "No interface name was provided while attempting to connect to an SSID!");
    return false;
  }
  if (ssid == nullptr || ssidLength == 0) {
    log(LogLevel::Error, "No SSID was provided while attempting to connect to an SSID!");
    return false;
  }
  if (!interfaceIsPoweredOn(interfaceName)) {
    log(LogLevel::Progress, "The wireless interface isn't power on.  Will turn it on.");
    if (!setPowerOn(interfaceName, true)) {
      log(LogLevel::Error, "Unable to power on the wireless interface while attempting to connect to a wireless "
                           "network!");
      return false;
    }
  }
  CoreWlanRef interface = findInterface(interfaceName, "", "connect to an SSID");
  if (!interface) return false;
  std::string target = ssidText(ssid, ssidLength);
  CoreWlanRef network = getBestConfigForSsid(interface.get(), ssid, ssidLength, refreshScan);
  if (!network) {
    log(LogLevel::Error, "SSID '" + target + "' was not found in the scan results while attempting to connect!");
    return false;
  }

  log(LogLevel::Progress, "Attempting to connect interface '" + interfaceName + "' to SSID '" + target + "'....");
  CFRef<CFErrorRef> error;
  auto associate = [&] {
    return CoreWlanPlatform::associateToNetwork(interface.get(), network.get(),
                                                error.initializeInto());
  };
  bool joined = associate();
  if (!joined && error && CFErrorGetCode(error.get()) == kCouldNotCompleteError) {
    log(LogLevel::Progress, "Attempt to connect to the wireless network resulted in an 'operation couldn't be "
                            "completed' error.  Will try again...");
    CoreWlanPlatform::sleepSeconds(kWaitSeconds);
    joined = associate();
  }
  if (!joined) {
    log(LogLevel::Error, "Unable to connect to the SSID : " + target);
    log(LogLevel::Error, "   Mac error string : " + nsErrorToString(error.get()));
  }
  return joined;
}

}  // namespace xpc
