#include "DictionaryHelper.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <utility>

#include "CFCast.h"
#include "LogSink.h"
#include "MacStringUtils.h"

namespace xpc {

namespace {

const char kNoDictionaryForReading[] =
    "No dictionary exists for reading data from! Please call one of the functions to load or create "
    "a dictionary first!";
// Also what the raw read paths say; the word "writing" there is long-standing.
const char kNoDictionaryForWriting[] =
    "No dictionary exists for writing data to! Please call one of the functions to load or create a "
    "dictionary first!";

// Endings of the "The key '<key>" line logged for an absent key.
const char kNotFound[] = "' was not found.";
const char kNotFoundInDictionary[] = "' was not found in the dictionary.";
const char kNotFoundRaw[] = "' was not found!";

CFRef<CFStringRef> makeCfString(const std::string& text, CFStringEncoding encoding) {
  return CFRef<CFStringRef>(
      CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                              static_cast<CFIndex>(text.size()), encoding, false),
      RefPolicy::Adopt);
}

std::string tabs(int depth) { return std::string(static_cast<size_t>(depth), '\t'); }

std::string notANumber(const std::string& key) {
  return "Requested a number value from key '" + key + "', but the result was not a number!";
}

}  // namespace

DictionaryHelper::DictionaryHelper(LogSink* logger) : isMutable(false), logger(logger) {}

DictionaryHelper::~DictionaryHelper() = default;

bool DictionaryHelper::setActiveDictionary(CFMutableDictionaryRef dictionary) {
  if (dictionary == nullptr) {
    logLine(logger, LogLevel::Error, "Unable to set a NULL dictionary as the new dictionary!  If you want to clear "
                                     "the active dictionary, please use clearActiveDictionary().");
    return false;
  }
  // Retained before the old one goes, in case they are the same object.
  CFRef<CFMutableDictionaryRef> incoming(dictionary, RefPolicy::Retain);
  if (activeDictionary && !clearActiveDictionary()) {
    logLine(logger, LogLevel::Error, "There was a dictionary already loaded in memory that couldn't be released!  "
                                     "Failed to load a new dictionary!");
    return false;
  }
  activeDictionary = std::move(incoming);
  isMutable = true;
  return true;
}

bool DictionaryHelper::setActiveDictionary(CFDictionaryRef dictionary) {
  if (dictionary == nullptr) {
    logLine(logger, LogLevel::Error, "The non-mutable dictionary provided was NULL while trying to set the active "
                                     "dictionary!");
    return false;
  }
  if (!setActiveDictionary(const_cast<CFMutableDictionaryRef>(dictionary))) return false;
  isMutable = false;
  return true;
}

bool DictionaryHelper::clearActiveDictionary() {
  if (!activeDictionary) {
    logLine(logger, LogLevel::Progress, "Attempted to clear the active dictionary when no dictionary was active!");
  }
  activeDictionary.reset();
  return true;
}

bool DictionaryHelper::createNewDictionary() {
  if (activeDictionary) {
    logLine(logger, LogLevel::Error, "Unable to create a new dictionary in memory!  One appears to already exist!");
    return false;
  }
  activeDictionary.reset(CFDictionaryCreateMutable(kCFAllocatorDefault, 0,
                                                   &kCFTypeDictionaryKeyCallBacks,
                                                   &kCFTypeDictionaryValueCallBacks),
                         RefPolicy::Adopt);
  if (!activeDictionary) {
    logLine(logger, LogLevel::Error, "Unable to allocate memory to create a new dictionary!");
    return false;
  }
  isMutable = true;
  return true;
}

bool DictionaryHelper::haveActiveDictionary() const { return static_cast<bool>(activeDictionary); }

CFDictionaryRef DictionaryHelper::getDictionary() const { return activeDictionary.get(); }

// ---- Reading ----

int DictionaryHelper::lookUp(const std::string& key, const char* noDictionaryText,
                             const char* emptyKeyText, const char* notFoundEnding,
                             const void*& value) {
  value = nullptr;
  if (!activeDictionary) {
    logLine(logger, LogLevel::Error, noDictionaryText);
    return -1;
  }
  if (key.empty()) {
    logLine(logger, LogLevel::Error, emptyKeyText);
    return -1;
  }
  CFRef<CFStringRef> cfKey = makeCfString(key, kCFStringEncodingUTF8);
  if (!cfKey) {
    logLine(logger, LogLevel::Error, "Unable to convert a standard string to a CFString while reading a string "
                                     "from the settings dictionary!");
    return -1;
  }
  if (!CFDictionaryGetValueIfPresent(activeDictionary.get(), cfKey.get(), &value)) {
    if (notFoundEnding != nullptr) logLine(logger, LogLevel::Progress, "The key '" + key + notFoundEnding);
    return 1;
  }
  return 0;
}

int DictionaryHelper::wrongType(CFTypeRef value, const std::string& text) {
  debugLogCfType(value);
  logLine(logger, LogLevel::Error, text);
  return -2;
}

const void* DictionaryHelper::getValueFromKey(std::string key) {
  const void* value = nullptr;
  lookUp(key, kNoDictionaryForWriting, "The 'key' value was empty when calling getValueFromKey()!",
         nullptr, value);
  return value;
}

int DictionaryHelper::lookUpTyped(const std::string& key, const char* emptyKeyText,
                                  const char* notFoundEnding, bool (*isType)(CFTypeRef),
                                  const std::string& wrongTypeText, const void*& value) {
  int result = lookUp(key, kNoDictionaryForReading, emptyKeyText, notFoundEnding, value);
  if (result == 0 && !isType(value)) return wrongType(value, wrongTypeText);
  return result;
}

int DictionaryHelper::readNumber(const void* number, CFNumberType type, void* value,
                                 const char* conversionText) {
  if (CFNumberGetValue(static_cast<CFNumberRef>(number), type, value)) return 0;
  logLine(logger, LogLevel::Error, conversionText);
  return -1;
}

int DictionaryHelper::getValue(std::string key, bool& value) {
  const void* found = nullptr;
  int result = lookUpTyped(key, "The 'key' value was empty when calling getValue(bool)!", kNotFound,
                           isA<CFBooleanRef>,
                           "Requested a boolean value from key '" + key +
                               "', but the result was not a boolean!",
                           found);
  if (result == 0) value = CFBooleanGetValue(static_cast<CFBooleanRef>(found)) == 1;
  return result;
}

int DictionaryHelper::getValue(std::string key, std::string& value) {
  const void* found = nullptr;
  int result = lookUpTyped(key, "The 'key' value was empty when calling getValue(string)!",
                           kNotFound, isA<CFStringRef>,
                           "Requested a string value from key '" + key +
                               "', but the result was not a string!",
                           found);
  if (result == 0) value = MacStringUtils::cfStringRefToStdString(static_cast<CFStringRef>(found));
  return result;
}

int DictionaryHelper::getValue(std::string key, int& value) {
  const void* found = nullptr;
  int result = lookUpTyped(key, "The 'key' value was empty when calling getValue(int)!",
                           kNotFoundInDictionary, isA<CFNumberRef>, notANumber(key), found);
  if (result != 0) return result;
  return readNumber(found, kCFNumberSInt32Type, &value,
                    "Unable to convert the value read from the settings to an int!");
}

int DictionaryHelper::getValue(std::string key, long long& value) {
  const void* found = nullptr;
  int result = lookUpTyped(key, "The 'key' value was empty when calling getValue(int64_t)!",
                           kNotFoundInDictionary, isA<CFNumberRef>, notANumber(key), found);
  if (result != 0) return result;
  return readNumber(found, kCFNumberSInt64Type, &value,
                    "Unable to convert the value read from the settings to an int64_t!");
}

int DictionaryHelper::getValue(std::string key, const void** value) {
  if (value == nullptr) {
    logLine(logger, LogLevel::Error, "The variable provided to store our value was NULL!");
    return -1;
  }
  return lookUp(key, kNoDictionaryForReading, "Unable to get the value of an empty key!",
                kNotFoundRaw, *value);
}

int DictionaryHelper::getValue(std::string key, void** value) {
  if (value == nullptr) {
    logLine(logger, LogLevel::Error, "The variable provided to store our dictionary value was NULL!");
    return -1;
  }
  const void* found = nullptr;
  // The int getter's empty-key text, as callers' logs have always shown it.
  int result = lookUp(key, kNoDictionaryForWriting,
                      "The 'key' value was empty when calling getValue(int)!", nullptr, found);
  *value = const_cast<void*>(found);
  return result;
}

int DictionaryHelper::getValue(std::string key, SecKeychainItemRef* value) {
  if (value == nullptr) {
    logLine(logger, LogLevel::Error, "The resulting keychain parameter was NULL while trying to get a keychain item!");
    return -1;
  }
  if (!activeDictionary) {
    logLine(logger, LogLevel::Error, kNoDictionaryForReading);
    return -1;
  }
  if (key.empty()) {
    logLine(logger, LogLevel::Error, "The key was empty while attempting to get a keychain item!");
    return -1;
  }
  const void* found = nullptr;
  int result = getValue(key, &found);
  if (result != 0) return result;
  if (!isA<SecCertificateRef>(found)) {
    return wrongType(found, "The value returned from the keychain was not of the type we expected!");
  }
  *value = static_cast<SecKeychainItemRef>(const_cast<void*>(found));
  return 0;
}

int DictionaryHelper::getValue(CFStringRef key, std::string& value) {
  if (key == nullptr) {
    logLine(logger, LogLevel::Error, "The key was NULL while trying to get a string value!");
    return -1;
  }
  return getValue(MacStringUtils::cfStringRefToStdString(key), value);
}

int DictionaryHelper::getValue(CFStringRef key, bool& value) {
  if (key == nullptr) {
    logLine(logger, LogLevel::Error, "The key value provided in getValue() was NULL!");
    return -1;
  }
  return getValue(MacStringUtils::cfStringRefToStdString(key), value);
}

int DictionaryHelper::getValue(CFStringRef key, int& value) {
  if (key == nullptr) {
    logLine(logger, LogLevel::Error, "The key value was NULL while trying to get an int value!");
    return -1;
  }
  return getValue(MacStringUtils::cfStringRefToStdString(key), value);
}

int DictionaryHelper::getValue(const char* key, std::string& value) {
  if (key == nullptr) {
    logLine(logger, LogLevel::Error, "key value was NULL while attempting to get a value!");
    return -1;
  }
  return getValue(std::string(key), value);
}

// ---- Writing ----

bool DictionaryHelper::canWrite() {
  if (!isMutable) {
    logLine(logger, LogLevel::Error, "Attempted to set a value to a non-mutable dictionary!");
    return false;
  }
  if (!activeDictionary) {
    logLine(logger, LogLevel::Error, kNoDictionaryForWriting);
    return false;
  }
  return true;
}

CFRef<CFStringRef> DictionaryHelper::writableKey(const std::string& key, const char* emptyKeyText,
                                                 const char* valueProblem,
                                                 const char* conversionText,
                                                 CFStringEncoding encoding) {
  if (!canWrite()) return {};
  if (key.empty()) {
    logLine(logger, LogLevel::Error, emptyKeyText);
    return {};
  }
  if (valueProblem != nullptr) {
    logLine(logger, LogLevel::Error, valueProblem);
    return {};
  }
  CFRef<CFStringRef> cfKey = makeCfString(key, encoding);
  if (!cfKey) logLine(logger, LogLevel::Error, conversionText);
  return cfKey;
}

bool DictionaryHelper::storeValue(CFStringRef key, CFTypeRef value) {
  CFDictionarySetValue(activeDictionary.get(), key, value);
  return true;
}

bool DictionaryHelper::setValue(std::string key, bool value) {
  CFRef<CFStringRef> cfKey =
      writableKey(key, "The 'key' value was empty when calling setValue(bool)!", nullptr,
                  "Unable to convert a string to a CFStringRef in setValue(bool)!",
                  kCFStringEncodingASCII);
  return cfKey && storeValue(cfKey.get(), value ? kCFBooleanTrue : kCFBooleanFalse);
}

bool DictionaryHelper::setValue(std::string key, int value) {
  CFRef<CFStringRef> cfKey =
      writableKey(key, "The 'key' value was empty when calling setValue(int)!", nullptr,
                  "Unable to convert a string to a CFStringRef in setValue(int)!",
                  kCFStringEncodingASCII);
  if (!cfKey) return false;
  CFRef<CFNumberRef> number(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value),
                            RefPolicy::Adopt);
  if (!number) {
    logLine(logger, LogLevel::Error, "Unable to create a CFNumberRef from the provided value!");
    return false;
  }
  return storeValue(cfKey.get(), number.get());
}

bool DictionaryHelper::setValue(std::string key, std::string value) {
  CFRef<CFStringRef> cfKey = writableKey(
      key, "The 'key' value was empty when calling setValue(string)!",
      value.empty() ? "The 'value' value was empty when calling setValue(string)!" : nullptr,
      "Unable to convert a string to a CFStringRef! (1)", kCFStringEncodingASCII);
  if (!cfKey) return false;
  CFRef<CFStringRef> cfValue = makeCfString(value, kCFStringEncodingASCII);
  if (!cfValue) {
    logLine(logger, LogLevel::Error, "Unable to convert a string to a CFStringRef! (2)");
    return false;
  }
  return storeValue(cfKey.get(), cfValue.get());
}

bool DictionaryHelper::setValue(const char* key, const char* value) {
  if (!canWrite()) return false;
  if (value == nullptr) {
    logLine(logger, LogLevel::Error, "Unable to set the string value!  The value was NULL!");
    return false;
  }
  if (key == nullptr) {
    logLine(logger, LogLevel::Error, "Unable to set the string value!  The key was NULL!");
    return false;
  }
  return setValue(std::string(key), std::string(value));
}

bool DictionaryHelper::setValue(std::string key, const char* value) {
  if (!canWrite()) return false;
  if (key.empty()) {
    logLine(logger, LogLevel::Error, "The key is empty while attempting to write a char *!");
    return false;
  }
  if (value == nullptr) {
    logLine(logger, LogLevel::Error, "Cannot set string value!   The value is NULL!");
    return false;
  }
  return setValue(key, std::string(value));
}

bool DictionaryHelper::setValue(CFStringRef key, const void* value) {
  if (!canWrite()) return false;
  if (key == nullptr) {
    logLine(logger, LogLevel::Error, "Unable to set a CFType value.  The key to write is NULL!");
    return false;
  }
  if (value == nullptr) {
    logLine(logger, LogLevel::Error, "Unable to set a CFType value.  The value to write is NULL!");
    return false;
  }
  return storeValue(key, value);
}

bool DictionaryHelper::setValue(std::string key, const void* value) {
  CFRef<CFStringRef> cfKey = writableKey(
      key, "Unable to set a CFType value.  The key to write is empty!",
      value == nullptr ? "Unable to set a CFType value.  The value to write is NULL!" : nullptr,
      "Unable to convert a string to a CFStringRef while trying to update a dictionary!",
      kCFStringEncodingUTF8);
  return cfKey && storeValue(cfKey.get(), value);
}

bool DictionaryHelper::setValue(std::string key, CFDictionaryRef value) {
  CFRef<CFStringRef> cfKey =
      writableKey(key, "The key is empty while trying to write a dictionary value!", nullptr,
                  "Failed to convert a standard string to a CFStringRef while trying to add a "
                  "dictionary to the current dictionary.",
                  kCFStringEncodingASCII);
  return cfKey && setValue(cfKey.get(), static_cast<const void*>(value));
}

bool DictionaryHelper::setValue(std::string key, CFMutableDictionaryRef value) {
  return setValue(key, static_cast<CFDictionaryRef>(value));
}

// ---- Keys ----

bool DictionaryHelper::deleteKey(std::string key) {
  if (!activeDictionary) {
    logLine(logger, LogLevel::Error, "No dictionary exists for writing data to!  Please call one of the functions "
                                     "to load or create a dictionary first!");
    return false;
  }
  if (key.empty()) {
    logLine(logger, LogLevel::Error, "The 'key' value was empty when calling deleteKey()!");
    return false;
  }
  CFRef<CFStringRef> cfKey = makeCfString(key, kCFStringEncodingUTF8);
  if (!cfKey) {
    logLine(logger, LogLevel::Error, "Unable to convert a standard string to a CFString while attempting to "
                                     "delete a key!");
    return false;
  }
  CFDictionaryRemoveValue(activeDictionary.get(), cfKey.get());
  if (CFDictionaryContainsKey(activeDictionary.get(), cfKey.get())) {
    logLine(logger, LogLevel::Error, "The key '" + key + "' could not be deleted!");
    return false;
  }
  return true;
}

bool DictionaryHelper::getAllKeys(std::vector<std::string>& keys) {
  // Not covered by the other checks: there is nothing to count without a dictionary.
  if (!activeDictionary) {
    logLine(logger, LogLevel::Error, kNoDictionaryForReading);
    return false;
  }
  CFIndex count = CFDictionaryGetCount(activeDictionary.get());
  logLine(logger, LogLevel::Progress, "There are " + std::to_string(count) + " key(s) in this dictionary.");
  std::vector<const void*> cfKeys(static_cast<size_t>(count));
  CFDictionaryGetKeysAndValues(activeDictionary.get(), cfKeys.data(), nullptr);
  for (const void* key : cfKeys) {
    keys.push_back(MacStringUtils::cfStringRefToStdString(static_cast<CFStringRef>(key)));
  }
  return true;
}

// ---- Text ----

void DictionaryHelper::debugLogCfType(CFTypeRef value) {
  if (value == nullptr) {
    logLine(logger, LogLevel::Progress, "The CFType provided to log was NULL!?");
    return;
  }
  CFRef<CFStringRef> description(CFCopyDescription(value), RefPolicy::Adopt);
  if (!description) {
    logLine(logger, LogLevel::Progress, "The attempt to dump the CFType to a CFString failed!");
    return;
  }
  std::string text = MacStringUtils::cfStringRefToStdString(description.get());
  if (text.empty()) {
    logLine(logger, LogLevel::Progress, "The CFType converted to an empty string!");
    return;
  }
  logLine(logger, LogLevel::Progress, "CFType information : " + text);
}

std::string DictionaryHelper::toString() {
  logString = "Dictionary {\n";
  addCfDictionaryToLogString(activeDictionary.get(), 1);
  logString += "}";
  return logString;
}

void DictionaryHelper::addCfDictionaryToLogString(CFDictionaryRef dictionary, int depth) {
  if (depth < 0) {
    logLine(logger, LogLevel::Error, "Depth value was less than 0.  Not adding dictionary to our string!");
    return;
  }
  if (dictionary == nullptr) {
    logString += tabs(depth) + "Dictionary was NULL!\n";
    return;
  }
  struct Visit {
    DictionaryHelper* helper;
    int depth;
  } visit{this, depth};
  // The dictionary's own enumeration order: the dump shows what is there.
  CFDictionaryApplyFunction(
      dictionary,
      [](const void* key, const void* value, void* context) {
        Visit* visit = static_cast<Visit*>(context);
        visit->helper->logDictionaryData(key, value, visit->depth);
      },
      &visit);
}

void DictionaryHelper::logDictionaryData(CFTypeRef key, CFTypeRef value, int depth) {
  if (key == nullptr) {
    logString += tabs(depth) + "Key was set to NULL!\n";
    return;
  }
  if (!isA<CFStringRef>(key)) {
    logString += tabs(depth) + "Key wasn't a CFString!\n";
    return;
  }
  logString += tabs(depth) + MacStringUtils::cfStringRefToStdString(static_cast<CFStringRef>(key)) +
               " = ";
  addCfTypeDataToLogString(value, depth);
}

void DictionaryHelper::addCfTypeDataToLogString(CFTypeRef value, int depth) {
  if (value == nullptr) {
    logString += tabs(depth) + "NULL";  // no line break: the next entry follows on this line
    return;
  }
  if (auto text = cfCast<CFStringRef>(value)) {
    logString += MacStringUtils::cfStringRefToStdString(text) + "\n";
  } else if (auto number = cfCast<CFNumberRef>(value)) {
    logString += getFromCfNumber(number) + "\n";
  } else if (auto dictionary = cfCast<CFDictionaryRef>(value)) {
    logString += "Dictionary {\n";
    addCfDictionaryToLogString(dictionary, depth + 1);
    logString += tabs(depth) + "}\n";
  } else if (auto boolean = cfCast<CFBooleanRef>(value)) {
    logString += CFBooleanGetValue(boolean) == 1 ? "true\n" : "false\n";
  } else if (auto data = cfCast<CFDataRef>(value)) {
    addCfDataToLogString(data);
  } else if (auto date = cfCast<CFDateRef>(value)) {
    addCfDateToLogString(date);
  } else if (auto array = cfCast<CFArrayRef>(value)) {
    logString += "Array {\n";
    addCfArrayToLogString(array, depth + 1);
    logString += tabs(depth) + "}\n";
  } else {
    CFRef<CFStringRef> typeName(CFCopyTypeIDDescription(CFGetTypeID(value)), RefPolicy::Adopt);
    logString += "Unexpected value type of '" +
                 MacStringUtils::cfStringRefToStdString(typeName.get()) + "'\n";
  }
}

// Bytes carry no indentation of their own: they follow " = " or " : ".
void DictionaryHelper::addCfDataToLogString(CFDataRef data) {
  if (data == nullptr) {
    logString += "CFData was NULL!\n";
    return;
  }
  const UInt8* bytes = CFDataGetBytePtr(data);
  CFIndex length = CFDataGetLength(data);
  for (CFIndex i = 0; i < length; ++i) {
    char hex[3];
    std::snprintf(hex, sizeof(hex), "%02X", bytes[i]);
    logString += hex;
  }
  logString += "\n";
}

void DictionaryHelper::addCfDateToLogString(CFDateRef date) {
  if (date == nullptr) {
    logString += "Date data was NULL!\n";
    return;
  }
  CFRef<CFLocaleRef> locale(CFLocaleCopyCurrent(), RefPolicy::Adopt);
  CFRef<CFDateFormatterRef> formatter(
      CFDateFormatterCreate(kCFAllocatorDefault, locale.get(), kCFDateFormatterShortStyle,
                            kCFDateFormatterShortStyle),
      RefPolicy::Adopt);
  CFRef<CFStringRef> text(
      CFDateFormatterCreateStringWithDate(kCFAllocatorDefault, formatter.get(), date),
      RefPolicy::Adopt);
  logString += MacStringUtils::cfStringRefToStdString(text.get()) + "\n";
}

void DictionaryHelper::addCfArrayToLogString(CFArrayRef array, int depth) {
  if (array == nullptr) {
    logString += tabs(depth) + "Array is NULL\n";
    return;
  }
  CFIndex count = CFArrayGetCount(array);
  for (CFIndex i = 0; i < count; ++i) {
    logString += tabs(depth) + std::to_string(i) + " : ";
    addCfTypeDataToLogString(CFArrayGetValueAtIndex(array, i), depth);
  }
}

std::string DictionaryHelper::getFromCfNumber(CFNumberRef number) {
  if (number == nullptr) {
    logLine(logger, LogLevel::Error, "CFNumber value was NULL!");
    return "";
  }
  if (CFNumberIsFloatType(number)) {
    double value = 0;
    if (!CFNumberGetValue(number, kCFNumberDoubleType, &value)) return "Unable to get float value!";
    std::ostringstream text;
    text << value;
    return text.str();
  }
  long long value = 0;
  if (!CFNumberGetValue(number, kCFNumberSInt64Type, &value)) return "Unable to get integer value!";
  return std::to_string(value);
}

}  // namespace xpc
