// The installed-profile dump read in-process, with dumps the profiles tool
// would not write: every value of an unexpected type is refused, never
// handed on, and one unreadable profile fails the whole load.
#include "CFTestSupport.h"
#include "ConfigurationProfileManager.h"
#include "LogCapture.h"

namespace {

const char kDump[] = "/tmp/dump.plist";

xpc::CFRef<CFArrayRef> cfarray(std::initializer_list<CFTypeRef> values) {
  std::vector<CFTypeRef> list(values);
  return adopt(CFArrayCreate(nullptr, list.data(), static_cast<CFIndex>(list.size()), &kCFTypeArrayCallBacks));
}

// A profile as the tool lists it, with the given payloads.
xpc::CFRef<CFMutableDictionaryRef> profile(const std::string& name, const std::string& identifier,
                                           std::initializer_list<CFTypeRef> items) {
  return cfdictionary({{"ProfileDisplayName", cfstring(name).get()},
                       {"ProfileIdentifier", cfstring(identifier).get()},
                       {"ProfileItems", cfarray(items).get()}});
}

// Any value, held as a plain CF reference.
template <typename T>
xpc::CFRef<CFTypeRef> held(const xpc::CFRef<T>& value) {
  return xpc::CFRef<CFTypeRef>(value.get(), xpc::RefPolicy::Retain);
}

xpc::CFRef<CFMutableDictionaryRef> item(CFTypeRef content) {
  return cfdictionary({{"PayloadType", CFSTR("com.apple.wifi.managed")}, {"PayloadContent", content}});
}

xpc::CFRef<CFMutableDictionaryRef> network(const std::string& ssid) {
  return item(cfdictionary({{"SSID_STR", cfstring(ssid).get()}}).get());
}

void writeDump(CFPropertyListRef dump) {
  auto data = adopt(CFPropertyListCreateData(nullptr, dump, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  writeFile(kDump, std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())),
                               static_cast<size_t>(CFDataGetLength(data.get()))));
}

class ConfigurationProfileManagerTest : public CFTest {
 protected:
  LogCapture log;
  ConfigurationProfileManager manager{log.logger()};
};

TEST_F(ConfigurationProfileManagerTest, ValuesOfTheWrongTypeFailTheLoad) {
  const std::pair<xpc::CFRef<CFTypeRef>, const char*> broken[] = {
      {held(cfstring("not a profile")), "Unable to assign the current dictionary blob to our dictionary helper!"},
      {held(cfdictionary({{"ProfileIdentifier", CFSTR("x")}})),
       "Unable to get the profile display name from our dictionary!"},
      {held(profile("Name", "", {})), "The profile identifier for a profile was empty!?"},
      {held(cfdictionary(
           {{"ProfileDisplayName", CFSTR("N")}, {"ProfileIdentifier", CFSTR("I")}, {"ProfileItems", CFSTR("items")}})),
       "Unable to locate the profile items from our dictionary!"},
      {held(profile("N", "I", {CFSTR("item")})),
       "Unable to apply the current directory to our directory helper object!"},
      {held(profile("N", "I", {cfdictionary().get(), network("Lab").get()})),
       "The PayloadContent section of our dictionary wasn't found!?"},
      {held(profile("N", "I", {item(cfdata("DER").get()).get()})),
       "Unable to set the new dictionary to our dictionary helper object!"},
      {held(profile("N", "I", {item(cfdictionary({{"SSID_STR", cfnumber(7LL).get()}}).get()).get()})),
       "Error looking for the SSID in our PayloadContent dictionary!"},
  };
  for (const auto& [onlyProfile, text] : broken) {
    writeDump(cfdictionary({{"alex", cfarray({onlyProfile.get()}).get()}}).get());
    EXPECT_FALSE(manager.loadProfiles(kDump)) << text;
    std::vector<LogLine> lines = log.take();
    EXPECT_TRUE(contains(lines, {4, text})) << text;
    EXPECT_TRUE(contains(lines, {4, "Unable to get profile information at index 0 in the _computerlevel array!"}));
  }

  writeDump(cfarray({CFSTR("a dump is a dictionary")}).get());
  EXPECT_FALSE(manager.loadProfiles(kDump));
  EXPECT_TRUE(log.saw(4, "Unable to enumerate the key names for this dictionary!"));
  EXPECT_FALSE(manager.loadProfiles("/tmp/none.plist"));
  EXPECT_TRUE(log.saw(4, "Failed to load the configuration profile dump data!"));
}

TEST_F(ConfigurationProfileManagerTest, AnOwnerWithoutAListHasNoProfilesAndTheOthersStillCount) {
  auto lab = profile("Lab", "I", {network("Lab").get()});
  writeDump(cfdictionary({{"bob", CFSTR("not a list")}, {"alex", cfarray({lab.get()}).get()}}).get());
  ASSERT_TRUE(manager.loadProfiles(kDump));
  ASSERT_EQ(manager.getProfiles().size(), 1u);
  EXPECT_EQ(manager.getProfiles()[0].getUsername(), "alex");
}

}  // namespace
