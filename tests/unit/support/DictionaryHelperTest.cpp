#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <map>

#include "CFTestSupport.h"
#include "DictionaryHelper.h"
#include "LogCapture.h"

namespace {

using xpc::DictionaryHelper;

class DictionaryHelperTest : public CFTest {
 protected:
  LogCapture log;
  DictionaryHelper helper{log.logger()};
};

TEST_F(DictionaryHelperTest, GettersAnswerFoundAbsentBadCallAndWrongType) {
  ASSERT_TRUE(helper.createNewDictionary());
  ASSERT_TRUE(helper.setValue("Name", std::string("Office")));
  ASSERT_TRUE(helper.setValue("Port", 8080));
  ASSERT_TRUE(helper.setValue("Enabled", true));
  ASSERT_TRUE(helper.setValue("Big", static_cast<const void*>(cfnumber(5000000000LL).get())));
  auto inner = cfdictionary({{"SSID", CFSTR("Campus")}});
  ASSERT_TRUE(helper.setValue("Network", inner.get()));

  std::string name;
  int port = 0;
  bool enabled = false;
  long long big = 0;
  EXPECT_EQ(helper.getValue("Name", name), 0);
  EXPECT_EQ(name, "Office");
  EXPECT_EQ(helper.getValue(std::string("Port"), port), 0);
  EXPECT_EQ(port, 8080);
  EXPECT_EQ(helper.getValue(std::string("Enabled"), enabled), 0);
  EXPECT_TRUE(enabled);
  EXPECT_EQ(helper.getValue(std::string("Big"), big), 0);
  EXPECT_EQ(big, 5000000000LL);
  void* nested = nullptr;  // read without a retain: the leak count would see one
  EXPECT_EQ(helper.getValue("Network", &nested), 0);
  EXPECT_EQ(nested, inner.get());
  EXPECT_EQ(helper.getValue("Absent", &nested), 1);

  EXPECT_EQ(helper.getValue(std::string("Missing"), enabled), 1);
  EXPECT_TRUE(log.saw(5, "The key 'Missing' was not found."));
  EXPECT_EQ(helper.getValue(std::string("Missing"), port), 1);
  EXPECT_TRUE(log.saw(5, "The key 'Missing' was not found in the dictionary."));

  EXPECT_EQ(helper.getValue(std::string(""), name), -1);
  EXPECT_TRUE(log.saw(4, "The 'key' value was empty when calling getValue(string)!"));
  // A value too large for an int is a failed conversion, not a wrong type.
  EXPECT_EQ(helper.getValue(std::string("Big"), port), -1);
  EXPECT_TRUE(log.saw(4, "Unable to convert the value read from the settings to an int!"));

  // The wrong-type path describes the value before saying what was expected.
  EXPECT_EQ(helper.getValue(std::string("Port"), enabled), -2);
  std::vector<LogLine> lines = log.take();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].level, 5);
  EXPECT_EQ(lines[0].text.rfind("CFType information : ", 0), 0u) << lines[0].text;
  EXPECT_EQ(lines[1], (LogLine{4, "Requested a boolean value from key 'Port', but the result was not a boolean!"}));
  EXPECT_EQ(helper.getValue(std::string("Enabled"), name), -2);

  SecKeychainItemRef item = nullptr;
  EXPECT_EQ(helper.getValue("Name", &item), -2);
  EXPECT_TRUE(log.saw(4, "The value returned from the keychain was not of the type we expected!"));
  EXPECT_EQ(item, nullptr);

  EXPECT_EQ(helper.getValue(static_cast<CFStringRef>(nullptr), name), -1);
  EXPECT_EQ(helper.getValue(static_cast<const char*>(nullptr), name), -1);
  EXPECT_EQ(helper.getValue(CFSTR("Name"), name), 0);
}

TEST_F(DictionaryHelperTest, ReadsWithoutADictionaryAreBadCalls) {
  std::string text;
  void* nested = nullptr;
  EXPECT_EQ(helper.getValue(std::string("Name"), text), -1);
  EXPECT_TRUE(log.saw(4, "No dictionary exists for reading data from! Please call one of the "
                         "functions to load or create a dictionary first!"));
  EXPECT_EQ(helper.getValue("Nested", &nested), -1);
  EXPECT_TRUE(log.saw(4, "No dictionary exists for writing data to! Please call one of the "
                         "functions to load or create a dictionary first!"));
  EXPECT_EQ(helper.getValueFromKey("Name"), nullptr);
  EXPECT_EQ(helper.toString(), "Dictionary {\n\tDictionary was NULL!\n}");
}

TEST_F(DictionaryHelperTest, WritesNeedAMutableDictionaryAndConvertibleText) {
  auto underlying = cfdictionary();
  ASSERT_TRUE(helper.setActiveDictionary(static_cast<CFDictionaryRef>(underlying.get())));
  EXPECT_FALSE(helper.setValue("Name", std::string("Office")));
  EXPECT_TRUE(log.saw(4, "Attempted to set a value to a non-mutable dictionary!"));

  // Each refusal names its setter and stores nothing. The typed setters take
  // ASCII only; the raw setter takes UTF-8 keys.
  ASSERT_TRUE(helper.setActiveDictionary(underlying.get()));
  const char ascii[] = "Caf\xC3\xA9";
  const char notUtf8[] = "\xFF";
  const std::pair<std::function<bool()>, const char*> refusals[] = {
      {[&] { return helper.setValue("Name", std::string()); },
       "The 'value' value was empty when calling setValue(string)!"},
      {[&] { return helper.setValue(ascii, std::string("open")); }, "Unable to convert a string to a CFStringRef! (1)"},
      {[&] { return helper.setValue("Name", std::string(ascii)); }, "Unable to convert a string to a CFStringRef! (2)"},
      {[&] { return helper.setValue(std::string("Name"), static_cast<const char*>(nullptr)); },
       "Cannot set string value!   The value is NULL!"},
      {[&] { return helper.setValue(CFSTR("Name"), nullptr); },
       "Unable to set a CFType value.  The value to write is NULL!"},
      {[&] { return helper.setValue(ascii, true); },
       "Unable to convert a string to a CFStringRef in setValue(bool)!"},
      {[&] { return helper.setValue(ascii, 1); },
       "Unable to convert a string to a CFStringRef in setValue(int)!"},
      {[&] { return helper.setValue(ascii, static_cast<CFDictionaryRef>(underlying.get())); },
       "Failed to convert a standard string to a CFStringRef while trying to add a dictionary to the "
       "current dictionary."},
      {[&] { return helper.setValue(notUtf8, static_cast<const void*>(CFSTR("x"))); },
       "Unable to convert a string to a CFStringRef while trying to update a dictionary!"},
      {[&] { return helper.deleteKey(notUtf8); },
       "Unable to convert a standard string to a CFString while attempting to delete a key!"},
  };
  for (const auto& [call, text] : refusals) {
    EXPECT_FALSE(call()) << text;
    EXPECT_TRUE(log.saw(4, text)) << text;
  }
  EXPECT_TRUE(helper.setValue(std::string("\xC3\xA9t\xC3\xA9"), static_cast<const void*>(CFSTR(""))));
  EXPECT_EQ(CFDictionaryGetCount(underlying.get()), 1);
  std::string text;
  EXPECT_EQ(helper.getValue(notUtf8, text), -1);
  EXPECT_TRUE(log.saw(4, "Unable to convert a standard string to a CFString while reading a string "
                         "from the settings dictionary!"));
}

TEST_F(DictionaryHelperTest, LifecycleAndKeys) {
  ASSERT_TRUE(helper.createNewDictionary());
  EXPECT_FALSE(helper.createNewDictionary());
  EXPECT_TRUE(log.saw(4, "Unable to create a new dictionary in memory!  One appears to already exist!"));

  // Setting the dictionary that is already active must not lose it.
  CFMutableDictionaryRef active = const_cast<CFMutableDictionaryRef>(helper.getDictionary());
  EXPECT_TRUE(helper.setActiveDictionary(active));
  EXPECT_TRUE(helper.setValue("A", 1));

  // No dictionary is not a way to clear one: the active one stays, writable.
  EXPECT_FALSE(helper.setActiveDictionary(static_cast<CFMutableDictionaryRef>(nullptr)));
  EXPECT_TRUE(log.saw(4, "Unable to set a NULL dictionary as the new dictionary!  If you want to clear "
                         "the active dictionary, please use clearActiveDictionary()."));
  EXPECT_FALSE(helper.setActiveDictionary(static_cast<CFDictionaryRef>(nullptr)));
  EXPECT_TRUE(log.saw(4, "The non-mutable dictionary provided was NULL while trying to set the active "
                         "dictionary!"));
  EXPECT_EQ(helper.getDictionary(), active);
  EXPECT_TRUE(helper.setValue("B", 2));

  std::vector<std::string> keys{"existing"};
  EXPECT_TRUE(helper.getAllKeys(keys));
  std::sort(keys.begin() + 1, keys.end());
  EXPECT_EQ(keys, (std::vector<std::string>{"existing", "A", "B"}));
  EXPECT_TRUE(log.saw(5, "There are 2 key(s) in this dictionary."));

  EXPECT_TRUE(helper.deleteKey("A"));
  EXPECT_TRUE(helper.deleteKey("A"));  // absent is fine
  EXPECT_EQ(helper.getValueFromKey("A"), nullptr);

  EXPECT_TRUE(helper.clearActiveDictionary());
  EXPECT_FALSE(helper.haveActiveDictionary());
  EXPECT_TRUE(helper.clearActiveDictionary());
  EXPECT_TRUE(log.saw(5, "Attempted to clear the active dictionary when no dictionary was active!"));
  // Clearing keeps the dictionary's mutability, so the setter reaches the missing dictionary;
  // deleteKey has its own spelling of that text.
  EXPECT_FALSE(helper.setValue("B", 3));
  EXPECT_TRUE(log.saw(4, "No dictionary exists for writing data to! Please call one of the "
                         "functions to load or create a dictionary first!"));
  EXPECT_FALSE(helper.deleteKey("B"));
  EXPECT_TRUE(log.saw(4, "No dictionary exists for writing data to!  Please call one of the "
                         "functions to load or create a dictionary first!"));
  EXPECT_TRUE(helper.createNewDictionary());
}

TEST_F(DictionaryHelperTest, TextDumpRendersEveryPropertyListTypeInTheDictionarysOwnOrder) {
  auto inner = cfdictionary({{"Secure", kCFBooleanFalse}});
  auto http = cfnumber(80LL);
  const void* portItems[] = {http.get(), inner.get()};
  auto ports = adopt(CFArrayCreate(nullptr, portItems, 2, &kCFTypeArrayCallBacks));
  auto empty = adopt(CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks));
  auto uuid = adopt(CFUUIDCreate(nullptr));
  auto data = cfdata(std::string("\xDE\xAD\x00\x0F", 4));
  auto real = cfnumber(2.5);
  auto date = adopt(CFDateCreate(nullptr, 0));

  const std::map<std::string, std::pair<CFTypeRef, std::string>> entries = {
      {"Name", {CFSTR("Office"), "Office\n"}},
      {"Ports", {ports.get(), "Array {\n\t\t0 : 80\n\t\t1 : Dictionary {\n\t\t\tSecure = false\n\t\t}\n\t}\n"}},
      {"Options", {inner.get(), "Dictionary {\n\t\tSecure = false\n\t}\n"}},
      {"Enabled", {kCFBooleanTrue, "true\n"}},
      {"Key", {data.get(), "DEAD000F\n"}},
      {"Ratio", {real.get(), "2.5\n"}},
      {"Empty", {empty.get(), "Array {\n\t}\n"}},
      {"Id", {uuid.get(), "Unexpected value type of 'CFUUID'\n"}},
      // The reference date, short date and time in the locale (en_US) and zone (UTC).
      {"Since", {date.get(), "1/1/01, 12:00\u202FAM\n"}},
  };
  // This test's process alone reads the zone.
  setenv("TZ", "UTC0", 1);
  tzset();
  ASSERT_TRUE(helper.createNewDictionary());
  for (const auto& [key, entry] : entries) ASSERT_TRUE(helper.setValue(cfstring(key).get(), entry.first));
  std::string expected = "Dictionary {\n";
  for (const std::string& key : keysOf(helper.getDictionary())) expected += "\t" + key + " = " + entries.at(key).second;
  EXPECT_EQ(helper.toString(), expected + "}");
}

// What no property list holds, a dictionary built by hand can: such entries
// are named rather than dropped, and a null value leaves its line open.
TEST_F(DictionaryHelperTest, TextDumpNamesEntriesNoPropertyListHolds) {
  auto numbered = cfdictionary();
  CFDictionarySetValue(numbered.get(), cfnumber(7LL).get(), CFSTR("seven"));
  ASSERT_TRUE(helper.setActiveDictionary(numbered.get()));
  EXPECT_EQ(helper.toString(), "Dictionary {\n\tKey wasn't a CFString!\n}");

  DictionaryHelper raw(nullptr);
  auto holes = adopt(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, nullptr));
  CFDictionarySetValue(holes.get(), CFSTR("K"), nullptr);
  ASSERT_TRUE(raw.setActiveDictionary(holes.get()));
  EXPECT_EQ(raw.toString(), "Dictionary {\n\tK = \tNULL}");
}

}  // namespace
