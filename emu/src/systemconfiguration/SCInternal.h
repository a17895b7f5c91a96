#pragma once
// Shared by the SystemConfiguration sources.

#include <SystemConfiguration/SystemConfiguration.h>
#include <sys/stat.h>

#include <string>

#include "../common/CFSupport.h"
#include "../common/Files.h"
#include "../corefoundation/CFRuntimeInternal.h"
#include "SCErrorState.h"

namespace emu::sc {

// The network preferences: the file configd publishes to the Setup: keys.
constexpr char kNetworkPreferencesPath[] = "/Library/Preferences/SystemConfiguration/preferences.plist";

using emu::createMutableDictionary;
using emu::createString;
using emu::entries;
using emu::instance;
using emu::isA;
using emu::isDictionary;
using emu::isString;
using emu::Owned;
using emu::readFile;
using emu::replaceFile;
using emu::utf8;

// The session's values, read from the file if the session has not yet
// (SCPreferences.cpp). Null when prefs is not a preferences session.
CFMutableDictionaryRef preferencesValues(SCPreferencesRef prefs);
// Replaces all of the session's values (SCPreferences.cpp).
void replacePreferencesValues(SCPreferencesRef prefs, CFDictionaryRef values);

// The dynamic store (SCDynamicStore.cpp). Makes sure the store holds what
// configd publishes when the system starts, before the preferences change.
void primeStore();
// Publishes the stored network preferences to the Setup: keys, as configd
// does when they are applied.
bool publishSetup();
// Whether the running system has a network interface of that name.
bool interfaceExists(CFStringRef bsdName);

}  // namespace emu::sc
