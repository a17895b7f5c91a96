#include "NetworkLocationHelper.h"

#include <unistd.h>

#include "CFCast.h"
#include "DictionaryHelper.h"
#include "Logger.h"
#include "MacStringUtils.h"
#include "StringTools.h"
#include "SysConfigDynamicStorePreferencesHelper.h"

namespace xpc {

namespace {

CFStringRef const kUserDefinedName = CFSTR("UserDefinedName");
constexpr int kPropagationAttempts = 5;

struct IteratorContext {
  Logger* logger;
  std::vector<NetworkLocationHelper::NetworkSetData>* records;
};

std::string text(CFTypeRef value) {
  return MacStringUtils::cfStringRefToStdString(static_cast<CFStringRef>(value));
}

}  // namespace

NetworkLocationHelper::NetworkLocationHelper(Logger* logger, bool readOnly)
    : SystemConfigPrefsBase(logger, readOnly) {}

void NetworkLocationHelper::getSetDataIterator(const void* key, const void* value,
                                               void* context) {
  auto* state = static_cast<IteratorContext*>(context);
  // Without a context there is no log to tell; without its list, nothing to fill.
  if (state == nullptr) return;
  Logger* logger = state->logger;
  if (state->records == nullptr) {
    logLine(logger, LogLevel::Error, "No context value provided to getSetDataIterator()!");
    return;
  }
  logLine(logger, LogLevel::Progress, "Location GUID : " + text(key));
  if (cfCast<CFDictionaryRef>(value) == nullptr) {
    logLine(logger, LogLevel::Error, "The value for the network location wasn't of the expected type!  It has "
                                     "been discarded!");
    return;
  }
  CFTypeRef name = CFDictionaryGetValue(static_cast<CFDictionaryRef>(value), kUserDefinedName);
  if (cfCast<CFStringRef>(name) == nullptr ||
      cfCast<CFStringRef>(key) == nullptr) {
    logLine(logger, LogLevel::Error, "Unable to locate the network location name in the available data!");
    return;
  }
  state->records->push_back({text(key), text(name)});
  logLine(logger, LogLevel::Progress, "Location name : " + text(name));
}

std::vector<NetworkLocationHelper::NetworkSetData> NetworkLocationHelper::getNetworkSetData() {
  std::vector<NetworkSetData> records;
  syncPreferences();
  log(LogLevel::Progress, "Looking for the forward network location names.");
  CFDictionaryRef sets = SCPreferencesPathGetValue(preferences.get(), CFSTR("/Sets"));
  if (sets == nullptr) {
    log(LogLevel::Error, "Unable to locate the information for the network location list!");
    return records;
  }
  IteratorContext context{logger, &records};
  CFDictionaryApplyFunction(sets, getSetDataIterator, &context);
  CFIndex entries = CFDictionaryGetCount(sets);
  if (static_cast<CFIndex>(records.size()) != entries) {
    log(LogLevel::Error, "Didn't get the expected number of locations back!  Expected : " +
               std::to_string(entries) + "  Got : " + std::to_string(records.size()));
  }
  return records;
}

void NetworkLocationHelper::freeNetworkSetData(std::vector<NetworkSetData>& list) {
  list.clear();
  log(LogLevel::Progress, "Freed network location data objects.");
}

std::vector<std::string> NetworkLocationHelper::getLocations() {
  std::vector<NetworkSetData> records = getNetworkSetData();
  std::vector<std::string> names;
  for (const NetworkSetData& record : records) names.push_back(record.name);
  freeNetworkSetData(records);
  return names;
}

bool NetworkLocationHelper::locationExists(std::string name) {
  std::vector<std::string> names = getLocations();
  if (names.empty()) {
    log(LogLevel::Error, "No locations appear to exist?!  This shouldn't happen!");
    return false;
  }
  for (const std::string& candidate : names) {
    if (candidate == name) {
      log(LogLevel::Progress, "The location '" + name + "' appears to exist!");
      return true;
    }
  }
  log(LogLevel::Progress, "The location '" + name + "' was *NOT* found!");
  return false;
}

std::string NetworkLocationHelper::getGuidForName(std::string name) {
  log(LogLevel::Progress, "Getting network location data. (0)");
  std::vector<NetworkSetData> records = getNetworkSetData();
  std::string guid;
  for (const NetworkSetData& record : records) {
    if (record.name == name) {
      guid = record.guid;
      break;
    }
  }
  freeNetworkSetData(records);
  if (guid.empty()) {
    log(LogLevel::Error, "No information found for the network location '" + name + "'.");
  } else {
    log(LogLevel::Progress, "Found network location GUID : " + guid);
  }
  return guid;
}

std::string NetworkLocationHelper::getSetPathForName(std::string name) {
  std::string guid = getGuidForName(name);
  return guid.empty() ? "" : "/Sets/" + guid;
}

std::string NetworkLocationHelper::getLocationNameFromPath(std::string path) {
  log(LogLevel::Progress, "Getting network location data. (3)");
  std::vector<NetworkSetData> records = getNetworkSetData();
  std::vector<std::string> pieces = StringTools::split(path, '/');
  std::string guid;
  for (size_t i = 0; i + 1 < pieces.size(); ++i) {
    if (pieces[i] == "Sets") {
      guid = pieces[i + 1];
      break;
    }
  }
  log(LogLevel::Progress, "Looking for set with the GUID : " + guid);
  std::string name;
  for (const NetworkSetData& record : records) {
    if (!guid.empty() && record.guid == guid) {
      name = record.name;
      break;
    }
  }
  freeNetworkSetData(records);
  if (name.empty()) {
    log(LogLevel::Error, "No information found for the network path '" + path + "'.");
  } else {
    log(LogLevel::Progress, "Found net name (GLNFP) : " + name);
  }
  return name;
}

std::string NetworkLocationHelper::getDynamicPrefsNetworkLocation() {
  SysConfigDynamicStorePreferencesHelper store(logger);
  CFRef<CFDictionaryRef> setup(store.getDictionaryFromDynamicStoreByPath("Setup:"),
                               RefPolicy::Adopt);
  if (!setup) {
    log(LogLevel::Error, "Unable to get the root state data from the dynamic configuration store!");
    return "";
  }
  CFTypeRef currentSet = CFDictionaryGetValue(setup.get(), kSCPrefCurrentSet);
  if (currentSet != nullptr && cfCast<CFStringRef>(currentSet) == nullptr) {
    log(LogLevel::Error, "Unable to parse the data returned from the dynamic configuration store!");
    return "";
  }
  std::string path = currentSet != nullptr ? text(currentSet) : "";
  CFTypeRef lastUpdated = CFDictionaryGetValue(setup.get(), CFSTR("LastUpdated"));
  log(LogLevel::Progress, "Current network location path : " + path);
  log(LogLevel::Progress, "Last network location change : " +
             (lastUpdated != nullptr ? text(lastUpdated) : std::string("UNKNOWN")));
  if (path.empty()) {
    log(LogLevel::Error, "No network location information was found!");
    return "";
  }
  std::string name = getLocationNameFromPath(path);
  if (name.empty()) log(LogLevel::Error, "Unable to determine the current network location!");
  return name;
}

std::string NetworkLocationHelper::getPrefsNetworkLocation() {
  syncPreferences();
  CFPropertyListRef currentSet = SCPreferencesGetValue(preferences.get(), kSCPrefCurrentSet);
  if (currentSet == nullptr) {
    log(LogLevel::Error, "Unable to locate the information for the NV network location!");
    return "";
  }
  if (cfCast<CFStringRef>(currentSet) == nullptr) {
    log(LogLevel::Error, "The data returned for the NV network location wasn't in the type expected!");
    return "";
  }
  return getLocationNameFromPath(text(currentSet));
}

std::string NetworkLocationHelper::generateUuid() {
  CFRef<CFUUIDRef> uuid(CFUUIDCreate(kCFAllocatorDefault), RefPolicy::Adopt);
  if (!uuid) {
    log(LogLevel::Error, "Unable to generate a new UUID!  The result was NULL!");
    return "";
  }
  CFRef<CFStringRef> uuidText(CFUUIDCreateString(kCFAllocatorDefault, uuid.get()),
                              RefPolicy::Adopt);
  if (!uuidText) {
    log(LogLevel::Error, "Unable to convert the newly created UUID to a CFStringRef!");
    return "";
  }
  return text(uuidText.get());
}

CFDictionaryRef NetworkLocationHelper::generateLocationDictionary(std::string name) {
  if (name.empty()) {
    log(LogLevel::Error, "No location name was provided while trying to generate the initial configuration "
                         "data for a new network location!");
    return nullptr;
  }
  std::string current = getPrefsNetworkLocation();
  if (current.empty()) {
    log(LogLevel::Error, "Unable to determine the network information for the current network location!");
    return nullptr;
  }
  std::string setPath = getSetPathForName(current);
  if (setPath.empty()) {
    log(LogLevel::Error, "Unable to determine where to look for the current network location information!");
    return nullptr;
  }
  std::string networkPath = setPath + "/Network";
  log(LogLevel::Progress, "Current network location path : " + networkPath);
  CFRef<CFStringRef> cfNetworkPath(MacStringUtils::stdStringToCfStringRef(networkPath),
                                   RefPolicy::Adopt);
  CFDictionaryRef network = SCPreferencesPathGetValue(preferences.get(), cfNetworkPath.get());
  if (network == nullptr) {
    log(LogLevel::Error, "Unable to locate the information for the current network location!");
    return nullptr;
  }

  DictionaryHelper location(logger);
  if (!location.createNewDictionary()) {
    log(LogLevel::Error, "Unable to create a new dictionary to contain the new location data!");
    return nullptr;
  }
  // Stored as UTF-8 text: a location may be named in any language.
  CFRef<CFStringRef> cfName(MacStringUtils::stdStringToCfStringRef(name), RefPolicy::Adopt);
  if (!cfName || !location.setValue("UserDefinedName", static_cast<const void*>(cfName.get()))) {
    log(LogLevel::Error, "Unable to set the name of the new network location!");
    return nullptr;
  }
  if (!location.setValue("Network", network)) {
    log(LogLevel::Error, "Unable to set the default values for the new network location!");
    return nullptr;
  }
  CFDictionaryRef result = location.getDictionary();
  if (result == nullptr) {
    log(LogLevel::Error, "Got an invalid dictionary result while trying to create a new network location!");
    return nullptr;
  }
  return static_cast<CFDictionaryRef>(CFRetain(result));
}

bool NetworkLocationHelper::replaceSets(CFDictionaryRef sets, const char* commitFailure,
                                        const char* applyFailure) {
  if (!SCPreferencesSetValue(preferences.get(), kSCPrefSets, sets)) {
    log(LogLevel::Error, "Unable to update the network location data!");
    return false;
  }
  if (!commitChanges()) {
    log(LogLevel::Error, commitFailure);
    return false;
  }
  if (!applyChanges()) {
    log(LogLevel::Error, applyFailure);
    return false;
  }
  return true;
}

bool NetworkLocationHelper::createNetworkLocation(std::string name) {
  if (name.empty()) {
    log(LogLevel::Error, "No location name was provided while trying to create a new network location!");
    return false;
  }
  if (locationExists(name)) {
    log(LogLevel::Error, "The location '" + name + "' already exists!  Cannot create it!");
    return false;
  }
  std::string guid = generateUuid();
  if (guid.empty()) {
    log(LogLevel::Error, "Unable to generate a UUID while creating a new network location!");
    return false;
  }
  CFRef<CFDictionaryRef> location(generateLocationDictionary(name), RefPolicy::Adopt);
  if (!location) {
    log(LogLevel::Error, "Unable to generate the dictionary needed to create a new network location!");
    return false;
  }

  CFPropertyListRef sets = SCPreferencesGetValue(preferences.get(), kSCPrefSets);
  if (sets == nullptr) {
    log(LogLevel::Error, "Unable to read the current network location data!");
    return false;
  }
  if (cfCast<CFDictionaryRef>(sets) == nullptr) {
    log(LogLevel::Error, "Data format for the location data was unexpected!");
    return false;
  }
  CFIndex count = CFDictionaryGetCount(static_cast<CFDictionaryRef>(sets));
  log(LogLevel::Progress, "There are currently " + std::to_string(count) + " network locations configured.");

  CFRef<CFMutableDictionaryRef> updated(
      CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, static_cast<CFDictionaryRef>(sets)),
      RefPolicy::Adopt);
  if (!updated) {
    log(LogLevel::Error, "Unable to create a copy of the current network location data!");
    return false;
  }
  CFRef<CFStringRef> cfGuid(MacStringUtils::stdStringToCfStringRef(guid), RefPolicy::Adopt);
  CFDictionaryAddValue(updated.get(), cfGuid.get(), location.get());
  if (!CFDictionaryContainsKey(updated.get(), cfGuid.get())) {
    log(LogLevel::Error, "Unable to add our new location to the list of existing locations!");
    return false;
  }
  CFIndex after = CFDictionaryGetCount(updated.get());
  if (after != count + 1) {
    log(LogLevel::Error, "The number of locations after adding ours was incorrect!  Expected : " +
               std::to_string(count + 1) + "  Got : " + std::to_string(after));
    return false;
  }
  if (!replaceSets(updated.get(), "Unable to commit the new location data!",
                   "Unable to apply the new location data!")) {
    return false;
  }
  log(LogLevel::Progress, "Created the location '" + name + "'!");
  return true;
}

bool NetworkLocationHelper::deleteNetworkLocation(std::string name) {
  if (name.empty()) {
    log(LogLevel::Error, "No location name was given while trying to delete a network location!");
    return false;
  }
  if (!locationExists(name)) {
    log(LogLevel::Error, "The location '" + name + "' doesn't exist!  Cannot delete it!");
    return false;
  }
  if (name == getDynamicPrefsNetworkLocation()) {
    log(LogLevel::Error, "You cannot delete a network location that you are currently configured to use! (1)");
    return false;
  }
  if (name == getPrefsNetworkLocation()) {
    log(LogLevel::Error, "You cannot delete a network location that you are currently configured to use! (2)");
    return false;
  }
  std::string guid = getGuidForName(name);
  if (guid.empty()) {
    log(LogLevel::Error, "Unable to locate the network location information for location '" + name + "'!");
    return false;
  }
  log(LogLevel::Progress, "Will attempt to delete the location with GUID : " + guid);

  CFDictionaryRef sets = SCPreferencesPathGetValue(preferences.get(), CFSTR("/Sets"));
  if (sets == nullptr) {
    log(LogLevel::Error, "Unable to locate the information for the network location list!");
    return false;
  }
  CFRef<CFMutableDictionaryRef> updated(
      CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, sets), RefPolicy::Adopt);
  if (!updated) {
    log(LogLevel::Error, "Unable to create a mutable copy of our network location data!");
    return false;
  }
  CFRef<CFStringRef> cfGuid(MacStringUtils::stdStringToCfStringRef(guid), RefPolicy::Adopt);
  CFDictionaryRemoveValue(updated.get(), cfGuid.get());
  if (CFDictionaryContainsKey(updated.get(), cfGuid.get())) {
    log(LogLevel::Error, "Unable to delete the network location data!");
    return false;
  }
  if (!replaceSets(updated.get(), "Unable to commit the deleted location data!",
                   "Unable to apply the deleted location data!")) {
    return false;
  }
  if (locationExists(name)) {
    log(LogLevel::Error, "The OS claimed we deleted the network location, but it can still be found!?");
    return false;
  }
  return true;
}

bool NetworkLocationHelper::setActiveNetworkLocation(std::string name) {
  if (name.empty()) {
    log(LogLevel::Error, "The location '" + name + "' doesn't exist while attempting to change to a new location!");
    return false;
  }
  if (!locationExists(name)) {
    log(LogLevel::Error, "The location '" + name + "' doesn't exist.  Cannot change the active location!");
    return false;
  }
  if (!checkState(true)) {
    log(LogLevel::Error, "The NetworkLocationHelper object was not created with write permissions while trying "
                         "to change network locations!!");
    return false;
  }
  std::string path = getSetPathForName(name);
  if (path.empty()) {
    log(LogLevel::Error, "Unable to determine how to change '" + name + "' to be the current network location!");
    return false;
  }
  CFRef<CFStringRef> cfPath(MacStringUtils::stdStringToCfStringRef(path), RefPolicy::Adopt);
  if (!SCPreferencesSetValue(preferences.get(), kSCPrefCurrentSet, cfPath.get())) {
    log(LogLevel::Error, "Unable to update the network location name to '" + name + "'!");
    return false;
  }
  if (!commitChanges()) {
    log(LogLevel::Error, "Unable to commit the new network location data!");
    return false;
  }
  if (!applyChanges()) {
    log(LogLevel::Error, "Unable to apply the new network location data!");
    return false;
  }

  // The live state follows the preferences asynchronously on a Mac.
  for (int attempt = 1; attempt <= kPropagationAttempts; ++attempt) {
    bool live = getDynamicPrefsNetworkLocation() == name;
    if (!live) log(LogLevel::Error, "The new network location didn't propigate to the active configuration correctly!!");
    bool stored = getPrefsNetworkLocation() == name;
    if (!stored) {
      log(LogLevel::Error, "The OS claimed the network location data was written, but we couldn't read it back!?");
    }
    if (live && stored) {
      log(LogLevel::Progress, "Network location data appears to have propigated properly.");
      return true;
    }
    if (attempt < kPropagationAttempts) sleep(1);
  }
  return false;
}

}  // namespace xpc
