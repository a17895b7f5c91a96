#pragma once
#include <string>
#include <vector>

#include "SystemConfigPrefsBase.h"

namespace xpc {

// Network locations: the "sets" of the network preferences, each under
// "/Sets/<GUID>" with a "UserDefinedName" and a "Network" dictionary; the
// current one is the path under "CurrentSet". Locations are addressed by name;
// a set without a name is invisible to every lookup.
class NetworkLocationHelper : public SystemConfigPrefsBase {
 public:
  struct NetworkSetData {
    std::string guid;
    std::string name;
  };

  NetworkLocationHelper(Logger* logger, bool readOnly);

  // The named sets, in the preferences' order.
  std::vector<NetworkSetData> getNetworkSetData();
  void freeNetworkSetData(std::vector<NetworkSetData>& list);
  // Per-entry function for CFDictionaryApplyFunction over "/Sets".
  static void getSetDataIterator(const void* key, const void* value, void* context);

  std::vector<std::string> getLocations();
  bool locationExists(std::string name);
  std::string getGuidForName(std::string name);
  // "/Sets/<GUID>", or "" for an unknown name.
  std::string getSetPathForName(std::string name);
  std::string getLocationNameFromPath(std::string path);

  // The location the live state reports as current.
  std::string getDynamicPrefsNetworkLocation();
  // The location the preferences name as current.
  std::string getPrefsNetworkLocation();

  std::string generateUuid();
  // A new location's set: the name, and the current location's "Network".
  // The caller releases it.
  CFDictionaryRef generateLocationDictionary(std::string name);

  bool createNetworkLocation(std::string name);
  // The current location cannot be deleted.
  bool deleteNetworkLocation(std::string name);
  // Switches, then waits up to five seconds for the live state to follow.
  bool setActiveNetworkLocation(std::string name);

 private:
  // Stores a new "/Sets", then commits and applies it; false after logging
  // the failing step's text.
  bool replaceSets(CFDictionaryRef sets, const char* commitFailure, const char* applyFailure);
};

}  // namespace xpc
