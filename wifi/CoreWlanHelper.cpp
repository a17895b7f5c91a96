#include "CoreWlanHelper.h"

#include "CoreWlanHelperMavericksPre.h"
#include "CoreWlanHelperYosemitePlus.h"

namespace xpc {

namespace {

std::unique_ptr<CoreWlanHelperBase> variantFor(Logger* logger, unsigned int version) {
  if (version != 0) return std::make_unique<CoreWlanHelperYosemitePlus>(logger);
  return std::make_unique<CoreWlanHelperMavericksPre>(logger);
}

}  // namespace

CoreWlanHelper::CoreWlanHelper(Logger* logger, unsigned int version)
    : helper(variantFor(logger, version)), logger(logger) {}

CoreWlanHelper::~CoreWlanHelper() {}

std::vector<std::string> CoreWlanHelper::getWirelessInterfaceNames() {
  return helper->getWirelessInterfaceNames();
}

bool CoreWlanHelper::getCurrentSsid(std::string interfaceName, char** ssid, unsigned long& length,
                                    bool& associated, bool unused) {
  return helper->getCurrentSsid(interfaceName, ssid, length, associated, unused);
}

bool CoreWlanHelper::interfaceIsPoweredOn(std::string interfaceName) {
  return helper->interfaceIsPoweredOn(interfaceName);
}

long CoreWlanHelper::rssi(std::string interfaceName) { return helper->rssi(interfaceName); }

bool CoreWlanHelper::connectToSsid(std::string interfaceName, const char* ssid,
                                   unsigned long ssidLength, bool refreshScan) {
  return helper->connectToSsid(interfaceName, ssid, ssidLength, refreshScan);
}

bool CoreWlanHelper::connectToNetwork(std::string interfaceName, const char* ssid,
                                      unsigned long ssidLength, bool refreshScan) {
  return helper->connectToSsid(interfaceName, ssid, ssidLength, refreshScan);
}

bool CoreWlanHelper::setPowerOn(std::string interfaceName, bool on) {
  return helper->setPowerOn(interfaceName, on);
}

bool CoreWlanHelper::setSsidToPriorityLevel(std::string interfaceName, const char* ssid,
                                            unsigned long ssidLength, unsigned int priority) {
  return helper->setSsidToPriorityLevel(interfaceName, ssid, ssidLength, priority);
}

bool CoreWlanHelper::getSsidPriorityLevel(std::string interfaceName, const char* ssid,
                                          unsigned long ssidLength, unsigned int& priority) {
  return helper->getSsidPriorityLevel(interfaceName, ssid, ssidLength, priority);
}

std::vector<std::string> CoreWlanHelper::getAvailableSsids(std::string interfaceName) {
  return helper->getAvailableSsids(interfaceName);
}

std::vector<std::string> CoreWlanHelper::getConfiguredSsids(std::string interfaceName) {
  return helper->getConfiguredSsids(interfaceName);
}

bool CoreWlanHelper::deleteConfigurationForSsid(std::string interfaceName, const char* ssid,
                                                unsigned long ssidLength) {
  return helper->deleteConfigurationForSsid(interfaceName, ssid, ssidLength);
}

bool CoreWlanHelper::disassociate(std::string interfaceName) {
  return helper->disassociate(interfaceName);
}

}  // namespace xpc
