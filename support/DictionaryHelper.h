#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>

#include <string>
#include <vector>

#include "CFRef.h"

class LogSink;

namespace xpc {

// Typed, logged access to one property-list dictionary (the active
// dictionary), which this object holds one retain on.
//
// Getters answer 0 found, 1 not found, -1 bad call, -2 wrong type (after
// logging the value's description). Setters need a dictionary made or set as
// mutable, and convert keys and string values as ASCII.
class DictionaryHelper {
 public:
  explicit DictionaryHelper(LogSink* logger);
  virtual ~DictionaryHelper();
  DictionaryHelper(const DictionaryHelper&) = delete;
  DictionaryHelper& operator=(const DictionaryHelper&) = delete;

  virtual bool setActiveDictionary(CFMutableDictionaryRef dictionary);
  // Writes are refused afterwards even if the object happens to be mutable.
  virtual bool setActiveDictionary(CFDictionaryRef dictionary);
  virtual bool clearActiveDictionary();
  virtual bool createNewDictionary();

  bool haveActiveDictionary() const;
  // No retain is transferred.
  CFDictionaryRef getDictionary() const;

  // The raw value under the key, or null; no retain is transferred.
  const void* getValueFromKey(std::string key);

  int getValue(std::string key, bool& value);
  int getValue(std::string key, std::string& value);
  int getValue(std::string key, int& value);
  int getValue(std::string key, long long& value);
  // Any value, no retain transferred.
  int getValue(std::string key, const void** value);
  // A nested dictionary (its type is not checked), no retain transferred.
  int getValue(std::string key, void** value);
  // A certificate, no retain transferred.
  int getValue(std::string key, SecKeychainItemRef* value);
  int getValue(CFStringRef key, std::string& value);
  int getValue(CFStringRef key, bool& value);
  int getValue(CFStringRef key, int& value);
  int getValue(const char* key, std::string& value);

  bool setValue(std::string key, bool value);
  bool setValue(std::string key, int value);
  // An empty string value is refused; store one through the raw setter.
  bool setValue(std::string key, std::string value);
  bool setValue(const char* key, const char* value);
  bool setValue(std::string key, const char* value);
  // The dictionary retains the value.
  bool setValue(CFStringRef key, const void* value);
  bool setValue(std::string key, const void* value);
  bool setValue(std::string key, CFDictionaryRef value);
  bool setValue(std::string key, CFMutableDictionaryRef value);

  // Deleting an absent key succeeds.
  bool deleteKey(std::string key);
  // Appends the keys to `keys`.
  bool getAllKeys(std::vector<std::string>& keys);

  void debugLogCfType(CFTypeRef value);
  // The dictionary as indented text, for the log.
  std::string toString();

 private:
  // The start of every string-keyed getter: the value (or null) and 0, or
  // the code of a bad call (-1) or an absent key (1, logged when
  // `notFoundText` is given).
  int lookUp(const std::string& key, const char* noDictionaryText, const char* emptyKeyText,
             const char* notFoundText, const void*& value);
  // lookUp with the reading texts, then -2 unless the value has the type.
  int lookUpTyped(const std::string& key, const char* emptyKeyText, const char* notFoundEnding,
                  bool (*isType)(CFTypeRef), const std::string& wrongTypeText, const void*& value);
  // Logs the wrong-type diagnosis of a getter and answers -2.
  int wrongType(CFTypeRef value, const std::string& text);
  int readNumber(const void* number, CFNumberType type, void* value, const char* conversionText);

  // The checks every setter starts with: a mutable, active dictionary.
  bool canWrite();
  // The key of a string-keyed setter, after the checks shared by them all:
  // canWrite, a non-empty key, the setter's own value check (`valueProblem`,
  // null when the value is fine) and the key's conversion. Null on failure.
  CFRef<CFStringRef> writableKey(const std::string& key, const char* emptyKeyText,
                                 const char* valueProblem, const char* conversionText,
                                 CFStringEncoding encoding);
  bool storeValue(CFStringRef key, CFTypeRef value);
  bool setAsciiString(const std::string& key, const std::string& value);

  void addCfDictionaryToLogString(CFDictionaryRef dictionary, int depth);
  void logDictionaryData(CFTypeRef key, CFTypeRef value, int depth);
  void addCfTypeDataToLogString(CFTypeRef value, int depth);
  void addCfArrayToLogString(CFArrayRef array, int depth);
  void addCfDataToLogString(CFDataRef data);
  void addCfDateToLogString(CFDateRef date);
  std::string getFromCfNumber(CFNumberRef number);

  CFRef<CFMutableDictionaryRef> activeDictionary;
  bool isMutable;
  LogSink* logger;
  std::string logString;
};

}  // namespace xpc
