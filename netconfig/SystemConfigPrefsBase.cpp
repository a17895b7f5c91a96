#include "SystemConfigPrefsBase.h"

#include "Logger.h"
#include "MacStringUtils.h"

namespace xpc {

SystemConfigPrefsBase::SystemConfigPrefsBase(Logger* logger, bool readOnly)
    : errorUtils(logger), logger(logger), readOnly(readOnly) {
  if (readOnly) {
    log(LogLevel::Progress, "Getting read-only handle to the settings.");
    preferences.reset(SCPreferencesCreate(kCFAllocatorDefault, CFSTR("XPC"), nullptr),
                      RefPolicy::Adopt);
  } else {
    log(LogLevel::Progress, "Getting read-write handle to the settings.");
    AuthorizationRef created = nullptr;
    OSStatus status = AuthorizationCreate(
        nullptr, nullptr, kAuthorizationFlagExtendRights | kAuthorizationFlagPreAuthorize, &created);
    if (status != errAuthorizationSuccess) {
      log(LogLevel::Error, "Unable to obtain authorization to install our helper app!");
      return;
    }
    authorization = created;
    preferences.reset(SCPreferencesCreateWithAuthorization(kCFAllocatorDefault, CFSTR("XPC"),
                                                           nullptr, authorization),
                      RefPolicy::Adopt);
  }
  if (!preferences) {
    log(LogLevel::Error, "Unable to open the configuration information provider!");
    log(LogLevel::Error, "   Mac Error String : " + errorUtils.getLastCFError());
  }
}

SystemConfigPrefsBase::~SystemConfigPrefsBase() {
  destroyProtocolReference();
  preferences.reset();
  // Default flags: rights granted to the authorization stay granted.
  if (authorization != nullptr &&
      AuthorizationFree(authorization, kAuthorizationFlagDefaults) != errAuthorizationSuccess) {
    log(LogLevel::Error, "Unable to release the authorization reference!!");
  }
}

void SystemConfigPrefsBase::log(LogLevel level, const std::string& text) {
  logLine(logger, level, text);
}

bool SystemConfigPrefsBase::checkState(bool intentToWrite) {
  if (!preferences) {
    log(LogLevel::Error, "No setting handle is available while trying to read system settings!");
    return false;
  }
  if (!intentToWrite) return true;
  if (readOnly) {
    log(LogLevel::Error, "The system configuration preferences object was allocated as read-only, but signaled "
                         "an intent to write!");
  }
  if (authorization != nullptr) return true;
  log(LogLevel::Error, "No authorization available to write system settings!");
  return false;
}

bool SystemConfigPrefsBase::acquireProtocolHandle(std::string serviceUuid,
                                                  std::string protocolType) {
  CFRef<CFStringRef> type(MacStringUtils::stdStringToCfStringRef(protocolType), RefPolicy::Adopt);
  if (!type) return false;
  return acquireProtocolHandle(serviceUuid, type.get());
}

bool SystemConfigPrefsBase::acquireProtocolHandle(std::string serviceUuid,
                                                  CFStringRef protocolType) {
  std::string typeText = MacStringUtils::cfStringRefToStdString(protocolType);
  if (protocol && typeText == boundProtocolType && serviceUuid == boundServiceUuid) return true;

  destroyProtocolReference();
  log(LogLevel::Progress, "Creating a new P-ref.");
  boundProtocolType = typeText;
  CFRef<CFStringRef> uuid(MacStringUtils::stdStringToCfStringRef(serviceUuid), RefPolicy::Adopt);
  if (!uuid) {
    log(LogLevel::Error, "Unable to convert our UUID to a CFStringRef!");
    return false;
  }
  CFRef<SCNetworkServiceRef> service(SCNetworkServiceCopy(preferences.get(), uuid.get()),
                                     RefPolicy::Adopt);
  if (!service) {
    log(LogLevel::Error, "Unable to get access to the interface specified by the UUID '" + serviceUuid + "'!");
    return false;
  }
  boundServiceUuid = serviceUuid;
  protocol.reset(SCNetworkServiceCopyProtocol(service.get(), protocolType), RefPolicy::Adopt);
  if (!protocol) {
    log(LogLevel::Error, "Unable to get a reference to the desired settings!");
    return false;
  }
  return true;
}

void SystemConfigPrefsBase::destroyProtocolReference() {
  if (protocol) {
    log(LogLevel::Progress, "Destroying protocol handle reference.");
    protocol.reset();
  }
  boundServiceUuid.clear();
  boundProtocolType.clear();
}

bool SystemConfigPrefsBase::getProtocolSettings(CFDictionaryRef* outDictionary) {
  log(LogLevel::Progress, "Getting settings...");
  if (!checkState(false)) return false;
  if (!protocol) {
    log(LogLevel::Error, "No configuration settings reference is available while trying to get protocol "
                         "information!");
    return false;
  }
  log(LogLevel::Progress, "Synchronizing settings...");
  SCPreferencesSynchronize(preferences.get());
  CFDictionaryRef configuration = SCNetworkProtocolGetConfiguration(protocol.get());
  if (configuration == nullptr) {
    log(LogLevel::Error, "Unable to get the protocol configuration settings!");
    return false;
  }
  *outDictionary = configuration;
  return true;
}

void SystemConfigPrefsBase::unlockPreferences() {
  if (!SCPreferencesUnlock(preferences.get())) {
    log(LogLevel::Error, "Failed to release the write lock on the configuration settings!");
    log(LogLevel::Error, "Error string is : " + errorUtils.getLastCFError());
  }
}

bool SystemConfigPrefsBase::writeNewConfiguration(CFDictionaryRef newConfiguration) {
  if (!protocol) {
    log(LogLevel::Error, "No protocol reference available while trying to write a setting configuration!");
    return false;
  }
  if (!SCPreferencesLock(preferences.get(), true)) {
    log(LogLevel::Error, "Unable to get a write lock for the configuration settings!");
    log(LogLevel::Error, "Error string is : " + errorUtils.getLastCFError());
    return false;
  }
  if (!SCNetworkProtocolSetConfiguration(protocol.get(), newConfiguration)) {
    log(LogLevel::Error, "Unable to write the configuration settings to the OS!");
    log(LogLevel::Error, "Error string is : " + errorUtils.getLastCFError());
    unlockPreferences();
    return false;
  }
  if (!commitChanges()) {
    log(LogLevel::Error, "Unable to commit the changes to the permanent configuration!");
    log(LogLevel::Error, "Error string is : " + errorUtils.getLastCFError());
    unlockPreferences();
    return false;
  }
  unlockPreferences();
  log(LogLevel::Progress, "Setting configuration has been written and saved!");
  return true;
}

bool SystemConfigPrefsBase::commitChanges() {
  if (!SCPreferencesCommitChanges(preferences.get())) {
    log(LogLevel::Error, "Unable to commit our configuration changes!  Error : " + errorUtils.getLastCFError());
    return false;
  }
  log(LogLevel::Progress, "Committed value!");
  log(LogLevel::Progress, "Committed setting changes.  Attempting to apply them.");
  return applyChanges();
}

bool SystemConfigPrefsBase::applyChanges() {
  if (!SCPreferencesApplyChanges(preferences.get())) {
    log(LogLevel::Error, "Unable to activate setting changes.  Error : " + errorUtils.getLastCFError());
    return false;
  }
  log(LogLevel::Outcome, "Setting changes have been made active.");
  SCPreferencesSynchronize(preferences.get());
  return true;
}

void SystemConfigPrefsBase::syncPreferences() { SCPreferencesSynchronize(preferences.get()); }

bool SystemConfigPrefsBase::isProtocolEnabled(bool& enabled) {
  if (!checkState(false)) return false;
  if (!protocol) {
    log(LogLevel::Error, "No setting configuration reference is available while trying to determine if a "
                         "protocol is enabled!");
    return false;
  }
  log(LogLevel::Progress, "Synchronizing settings...");
  SCPreferencesSynchronize(preferences.get());
  enabled = SCNetworkProtocolGetEnabled(protocol.get());
  log(LogLevel::Progress, enabled ? "--> Desired protocol is enabled." : "--> Desired protocol is DISABLED!");
  return true;
}

bool SystemConfigPrefsBase::setProtocolEnabled(bool enable) {
  if (!checkState(true)) return false;
  if (!protocol) {
    log(LogLevel::Error, "No configuration settings reference was available while trying to change the state "
                         "of a protocol!");
    return false;
  }
  log(LogLevel::Progress, enable ? "--> Enabling the requested protocol!" : "--> DISABLING the requested protocol!");
  if (!SCNetworkProtocolSetEnabled(protocol.get(), enable)) {
    log(LogLevel::Error, "Unable to enable the requested protocol!");
    return false;
  }
  // No preferences lock on this path, unlike writeNewConfiguration.
  if (!commitChanges()) {
    log(LogLevel::Error, "Unable to save the changed configuration after setting protocol state!");
    return false;
  }
  log(LogLevel::Progress, "Configuration saved after changing the protocol state!");
  return true;
}

SCNetworkInterfaceRef SystemConfigPrefsBase::getNetworkInterfaceRef(std::string bsdName) {
  CFRef<SCNetworkSetRef> set(SCNetworkSetCopyCurrent(preferences.get()), RefPolicy::Adopt);
  if (!set) {
    log(LogLevel::Error, "Unable to get the current network set while attempting to get a network interface "
                         "reference!");
    return nullptr;
  }
  CFRef<CFArrayRef> services(SCNetworkSetCopyServices(set.get()), RefPolicy::Adopt);
  if (!services) {
    log(LogLevel::Error, "Unable to get the interface services array while attempting to get a network "
                         "interface reference!");
    return nullptr;
  }
  for (CFIndex i = 0; i < CFArrayGetCount(services.get()); ++i) {
    auto service = static_cast<SCNetworkServiceRef>(CFArrayGetValueAtIndex(services.get(), i));
    SCNetworkInterfaceRef interface = SCNetworkServiceGetInterface(service);
    if (interface == nullptr) continue;
    CFStringRef name = SCNetworkInterfaceGetBSDName(interface);
    if (name == nullptr || MacStringUtils::cfStringRefToStdString(name) != bsdName) continue;
    log(LogLevel::Progress, "Found matching interface ref for interface name '" + bsdName + "'.");
    return static_cast<SCNetworkInterfaceRef>(const_cast<void*>(CFRetain(interface)));
  }
  log(LogLevel::Error, "Unable to find an interface reference for the interface '" + bsdName + "'!");
  return nullptr;
}

void SystemConfigPrefsBase::debugLogDictionary(std::string label, CFDictionaryRef dictionary) {
  CFRef<CFStringRef> description(dictionary != nullptr ? CFCopyDescription(dictionary) : nullptr,
                                 RefPolicy::Adopt);
  log(LogLevel::Detail, label + MacStringUtils::cfStringRefToStdString(description.get()));
}

}  // namespace xpc
