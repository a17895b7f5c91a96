#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>
#include <SystemConfiguration/SystemConfiguration.h>

#include <string>

#include "LogSink.h"
#include "CFRef.h"
#include "ErrorUtils.h"

class Logger;

namespace xpc {

// A session on the system network preferences for one command, bound to one
// protocol of one network service (named by its service UUID). Read-write
// sessions carry an authorization; changes are committed and applied at once.
//
// A change: construct read-write, acquireProtocolHandle, getProtocolSettings,
// edit a mutable copy, writeNewConfiguration.
class SystemConfigPrefsBase {
 public:
  SystemConfigPrefsBase(Logger* logger, bool readOnly);
  virtual ~SystemConfigPrefsBase();
  SystemConfigPrefsBase(const SystemConfigPrefsBase&) = delete;
  SystemConfigPrefsBase& operator=(const SystemConfigPrefsBase&) = delete;

  bool checkState(bool intentToWrite);

  // Binding again to the same service and type keeps the handle we have.
  bool acquireProtocolHandle(std::string serviceUuid, std::string protocolType);
  bool acquireProtocolHandle(std::string serviceUuid, CFStringRef protocolType);
  void destroyProtocolReference();

  // The bound protocol's configuration, re-read from disk first. Not owned by
  // the caller: it lives as long as the protocol handle.
  bool getProtocolSettings(CFDictionaryRef* outDictionary);
  // Lock, replace the bound protocol's configuration, commit and apply, unlock.
  bool writeNewConfiguration(CFDictionaryRef newConfiguration);

  bool isProtocolEnabled(bool& enabled);
  bool setProtocolEnabled(bool enable);

  // Commit, then apply.
  bool commitChanges();
  bool applyChanges();
  void syncPreferences();

  // The interface of the current set's service on that BSD name, retained
  // (the caller releases it), or null.
  SCNetworkInterfaceRef getNetworkInterfaceRef(std::string bsdName);

  void debugLogDictionary(std::string label, CFDictionaryRef dictionary);

 protected:
  void log(LogLevel level, const std::string& text);
  // Unlocks after a write; a failure is logged and otherwise ignored.
  void unlockPreferences();

  AuthorizationRef authorization = nullptr;
  CFRef<SCPreferencesRef> preferences;
  ErrorUtils errorUtils;
  CFRef<SCNetworkProtocolRef> protocol;
  std::string boundServiceUuid;
  std::string boundProtocolType;
  Logger* logger;
  bool readOnly;
};

}  // namespace xpc
