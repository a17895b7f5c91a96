#include <unistd.h>

#include "CFTestSupport.h"

namespace {

// A value of a mutable property list, to edit in place.
template <typename T>
T mut(CFTypeRef value) {
  return static_cast<T>(const_cast<void *>(value));
}

using CFPropertyListTest = CFTest;
using CFPropertyListDeathTest = CFTest;

xpc::CFRef<CFDataRef> fixture(const char *name) {
  std::string bytes = fileBytes(std::string(MACHELPER_SOURCE_DIR "/tests/unit/corefoundation/fixtures/") + name);
  EXPECT_FALSE(bytes.empty()) << name;
  return cfdata(bytes);
}

// The property list in `data`, or null (with the error in the test's output).
xpc::CFRef<CFPropertyListRef> parse(CFDataRef data, CFOptionFlags options, CFPropertyListFormat *format = nullptr) {
  CFErrorRef error = nullptr;
  auto plist = adopt(CFPropertyListCreateWithData(nullptr, data, options, format, &error));
  EXPECT_TRUE(plist) << description(error);
  return plist;
}

xpc::CFRef<CFDataRef> serialize(CFPropertyListRef plist, CFPropertyListFormat format) {
  CFErrorRef error = nullptr;
  auto data = adopt(CFPropertyListCreateData(nullptr, plist, format, 0, &error));
  EXPECT_TRUE(data) << description(error);
  return data;
}

long long integer(CFTypeRef number) {
  long long value = 0;
  EXPECT_TRUE(CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberLongLongType, &value));
  return value;
}

TEST_F(CFPropertyListTest, XmlPreferencesEditedAndSavedAsBinaryReadBackEqual) {
  CFPropertyListFormat format = CFPropertyListFormat(0);
  auto plist = parse(fixture("network-preferences.plist").get(), kCFPropertyListMutableContainersAndLeaves, &format);
  ASSERT_TRUE(plist);
  EXPECT_EQ(format, kCFPropertyListXMLFormat_v1_0);
  EXPECT_EQ(integer(valueAt(plist.get(), "__VERSION__")), 20191120);
  EXPECT_EQ(utf8(valueAt(plist.get(), {"System", "System", "ComputerName"})), "Studio Mac & Co");

  // Containers and leaves can be edited in place.
  const char *wifi = "0F3B2A91-6C4E-4D8B-A7F2-5E19C0D4B8A6";
  CFTypeRef service = valueAt(plist.get(), {"NetworkServices", wifi});
  CFStringAppend(mut<CFMutableStringRef>(valueAt(service, "UserDefinedName")), CFSTR(" (Office)"));
  auto proxies = mut<CFMutableDictionaryRef>(valueAt(service, "Proxies"));
  CFArrayAppendValue(mut<CFMutableArrayRef>(valueAt(proxies, "ExceptionsList")), CFSTR("*.corp.example"));
  CFDictionarySetValue(proxies, CFSTR("HTTPEnable"), cfnumber(1LL).get());
  CFDictionarySetValue(proxies, CFSTR("HTTPProxy"), CFSTR("proxy.corp.example"));
  CFDictionarySetValue(proxies, CFSTR("HTTPPort"), cfnumber(8080LL).get());

  auto root = mut<CFMutableDictionaryRef>(plist.get());
  CFDictionarySetValue(root, CFSTR("LastModified"), adopt(CFDateCreate(nullptr, CFAbsoluteTimeGetCurrent())).get());
  CFDictionarySetValue(root, CFSTR("Created"), adopt(CFDateCreate(nullptr, -0.25)).get());
  CFDictionarySetValue(root, CFSTR("Expires"), adopt(CFDateCreate(nullptr, 6.3e9 + 0.125)).get());
  CFDictionarySetValue(root, CFSTR("Ratio"), cfnumber(0.1).get());
  CFDictionarySetValue(root, CFSTR("Offset"), cfnumber(-28800LL).get());
  CFDictionarySetValue(root, CFSTR("Quota"), cfnumber(1LL << 40).get());
  CFDictionarySetValue(root, CFSTR("Managed"), kCFBooleanTrue);
  CFDictionarySetValue(root, CFSTR("Token"), cfdata(std::string("\x00\x01\xfe\xff", 4)).get());

  auto binary = serialize(plist.get(), kCFPropertyListBinaryFormat_v1_0);
  ASSERT_TRUE(binary);
  EXPECT_EQ(std::string(reinterpret_cast<const char *>(CFDataGetBytePtr(binary.get())), 8), "bplist00");

  auto reread = parse(binary.get(), kCFPropertyListImmutable, &format);
  ASSERT_TRUE(reread);
  EXPECT_EQ(format, kCFPropertyListBinaryFormat_v1_0);
  EXPECT_TRUE(CFEqual(reread.get(), plist.get())) << description(reread.get());
  EXPECT_EQ(utf8(valueAt(reread.get(), {"NetworkServices", wifi, "UserDefinedName"})), "Wi-Fi (Office)");
}

TEST_F(CFPropertyListTest, BinaryFixtureYieldsEveryValueType) {
  CFPropertyListFormat format = CFPropertyListFormat(0);
  auto plist = parse(fixture("loginwindow.plist").get(), kCFPropertyListMutableContainersAndLeaves, &format);
  ASSERT_TRUE(plist);
  EXPECT_EQ(format, kCFPropertyListBinaryFormat_v1_0);
  EXPECT_EQ(utf8(valueAt(plist.get(), "lastUserName")), "jappleseed");
  EXPECT_EQ(valueAt(plist.get(), "GuestEnabled"), kCFBooleanFalse);
  EXPECT_EQ(valueAt(plist.get(), "SHOWFULLNAME"), kCFBooleanTrue);
  EXPECT_EQ(integer(valueAt(plist.get(), "idleTime")), 1200);
  EXPECT_EQ(integer(valueAt(plist.get(), "TimeZoneOffset")), -28800);
  EXPECT_EQ(integer(valueAt(plist.get(), "DiskQuotaBytes")), 1LL << 40);
  double delay = 0;
  CFNumberGetValue(static_cast<CFNumberRef>(valueAt(plist.get(), "askForPasswordDelay")), kCFNumberDoubleType, &delay);
  EXPECT_EQ(delay, 5.5);
  EXPECT_EQ(CFDateGetAbsoluteTime(static_cast<CFDateRef>(valueAt(plist.get(), "LastLogout"))), 795173213.589793);
  EXPECT_EQ(utf8(valueAt(plist.get(), "LoginwindowText")), "Property of Example Corp \u2014 call x4357");
  EXPECT_TRUE(CFEqual(valueAt(plist.get(), "BackgroundColor"), cfdata(std::string("\x1f\x2e\x3d\x00\xff", 5)).get()));
  EXPECT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(valueAt(plist.get(), "HiddenUsersList"))), 2);
  EXPECT_EQ(utf8(valueAt(plist.get(), {"ScreenSaver", "moduleName"})), "Flurry");

  // XML keeps dates to the second, as the Mac's writer does; everything else survives.
  auto fromXml = parse(serialize(plist.get(), kCFPropertyListXMLFormat_v1_0).get(), kCFPropertyListImmutable);
  ASSERT_TRUE(fromXml);
  EXPECT_EQ(CFDateGetAbsoluteTime(static_cast<CFDateRef>(valueAt(fromXml.get(), "LastLogout"))), 795173213.0);
  auto withoutDates = [](CFTypeRef dictionary) {
    auto copy = adopt(CFDictionaryCreateMutableCopy(nullptr, 0, static_cast<CFDictionaryRef>(dictionary)));
    CFDictionaryRemoveValue(copy.get(), CFSTR("LastLogout"));
    return copy;
  };
  EXPECT_TRUE(CFEqual(withoutDates(fromXml.get()).get(), withoutDates(plist.get()).get()));

  // Data leaves are mutable too (containers and string leaves are edited in the XML case); the edited list
  // survives a binary round trip.
  CFDataAppendBytes(mut<CFMutableDataRef>(valueAt(plist.get(), "BackgroundColor")),
                    reinterpret_cast<const UInt8 *>("\x80"), 1);
  auto reread = parse(serialize(plist.get(), kCFPropertyListBinaryFormat_v1_0).get(), kCFPropertyListImmutable);
  ASSERT_TRUE(reread);
  EXPECT_TRUE(CFEqual(reread.get(), plist.get()));
  EXPECT_EQ(CFDataGetLength(static_cast<CFDataRef>(valueAt(reread.get(), "BackgroundColor"))), 6);
}

TEST_F(CFPropertyListTest, XmlOutputSortsKeysLikeTheMac) {
  auto dictionary = cfdictionary({{"b", kCFBooleanTrue}, {"B", kCFBooleanTrue}, {"a", kCFBooleanFalse}});
  auto xml = adopt(CFPropertyListCreateData(nullptr, dictionary.get(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  std::string text(reinterpret_cast<const char *>(CFDataGetBytePtr(xml.get())), CFDataGetLength(xml.get()));
  size_t upper = text.find("<key>B</key>"), a = text.find("<key>a</key>"), b = text.find("<key>b</key>");
  EXPECT_LT(upper, a);
  EXPECT_LT(a, b);
  EXPECT_EQ(text.find("<?xml version=\"1.0\" encoding=\"UTF-8\"?>"), 0u);
}

TEST_F(CFPropertyListTest, FilesRoundTripThroughStreamsAndWritingTruncates) {
  std::string path = "/tmp/cf-stream-test-" + std::to_string(getpid()) + ".plist";
  auto url = adopt(CFURLCreateWithFileSystemPath(nullptr, cfstring(path.c_str()).get(), kCFURLPOSIXPathStyle, false));
  auto write = [&](CFPropertyListRef plist) {
    auto stream = adopt(CFWriteStreamCreateWithFile(nullptr, url.get()));
    EXPECT_TRUE(CFWriteStreamOpen(stream.get()));
    CFIndex written = CFPropertyListWrite(plist, stream.get(), kCFPropertyListBinaryFormat_v1_0, 0, nullptr);
    CFWriteStreamClose(stream.get());
    return written;
  };
  EXPECT_GT(write(parse(fixture("loginwindow.plist").get(), kCFPropertyListImmutable).get()), 0);
  const void *values[] = {CFSTR("short")};
  auto small = adopt(CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks));
  EXPECT_GT(write(small.get()), 0);

  auto stream = adopt(CFReadStreamCreateWithFile(nullptr, url.get()));
  ASSERT_TRUE(CFReadStreamOpen(stream.get()));
  CFErrorRef error = nullptr;
  auto reread = adopt(CFPropertyListCreateWithStream(nullptr, stream.get(), 0, kCFPropertyListImmutable, nullptr, &error));
  ASSERT_TRUE(reread) << description(error);
  EXPECT_TRUE(CFEqual(reread.get(), small.get())) << "the second write replaced the longer first one";
  EXPECT_EQ(CFReadStreamGetStatus(stream.get()), kCFStreamStatusAtEnd);
  CFReadStreamClose(stream.get());
  unlink(path.c_str());
}

TEST_F(CFPropertyListTest, CorruptDataGivesAReadableCocoaError) {
  for (const char *corrupt : {"<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>a</key>",
                              "bplist00\x01\x02\x03garbage that is not a trailer at all", "{ a = b; }", ""}) {
    CFErrorRef rawError = nullptr;
    EXPECT_EQ(CFPropertyListCreateWithData(nullptr, cfdata(corrupt).get(), 0, nullptr, &rawError), nullptr);
    ASSERT_TRUE(rawError) << corrupt;
    auto error = adopt(rawError);
    EXPECT_TRUE(CFEqual(CFErrorGetDomain(error.get()), kCFErrorDomainCocoa));
    EXPECT_EQ(CFErrorGetCode(error.get()), 3840);
    EXPECT_EQ(utf8(adopt(CFErrorCopyDescription(error.get())).get()),
              "The data couldn\u2019t be read because it isn\u2019t in the correct format.");
    EXPECT_NE(description(error.get()).find("UserInfo={NSDebugDescription="), std::string::npos);
  }

  const UInt8 few[] = {'<', 'p'};
  auto stream = adopt(CFReadStreamCreateWithBytesNoCopy(nullptr, few, 2, kCFAllocatorNull));
  CFErrorRef rawError = nullptr;
  EXPECT_EQ(CFPropertyListCreateWithStream(nullptr, stream.get(), 0, 0, nullptr, &rawError), nullptr);
  ASSERT_TRUE(rawError);
  EXPECT_EQ(CFErrorGetCode(adopt(rawError).get()), 3842) << "reading an unopened stream fails";
}

TEST_F(CFPropertyListTest, OnlyPropertyListObjectsCanBeWritten) {
  auto url = adopt(CFURLCreateWithFileSystemPath(nullptr, CFSTR("/tmp"), kCFURLPOSIXPathStyle, true));
  const void *values[] = {CFSTR("ok"), url.get()};
  auto withURL = adopt(CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks));
  EXPECT_FALSE(CFPropertyListIsValid(withURL.get(), kCFPropertyListBinaryFormat_v1_0));
  CFErrorRef rawError = nullptr;
  EXPECT_EQ(CFPropertyListCreateData(nullptr, withURL.get(), kCFPropertyListXMLFormat_v1_0, 0, &rawError), nullptr);
  ASSERT_TRUE(rawError);
  auto error = adopt(rawError);
  EXPECT_EQ(CFErrorGetCode(error.get()), 3851);
  EXPECT_NE(description(error.get()).find("objects of type 'CFURL'"), std::string::npos) << description(error.get());

  auto one = cfnumber(1LL);
  const void *keys[] = {one.get()}, *objects[] = {CFSTR("v")};
  auto numberKey = adopt(CFDictionaryCreate(nullptr, keys, objects, 1, &kCFTypeDictionaryKeyCallBacks,
                                            &kCFTypeDictionaryValueCallBacks));
  EXPECT_FALSE(CFPropertyListIsValid(numberKey.get(), kCFPropertyListXMLFormat_v1_0));

  auto loop = adopt(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  CFArrayAppendValue(loop.get(), loop.get());
  EXPECT_FALSE(CFPropertyListIsValid(loop.get(), kCFPropertyListBinaryFormat_v1_0));
  CFArrayRemoveValueAtIndex(loop.get(), 0);
  EXPECT_TRUE(CFPropertyListIsValid(loop.get(), kCFPropertyListBinaryFormat_v1_0));
  EXPECT_FALSE(CFPropertyListIsValid(cfnumber(1LL).get(), kCFPropertyListOpenStepFormat));
}

TEST_F(CFPropertyListDeathTest, ImmutableOptionGivesImmutableContainersAndLeaves) {
  auto plist = parse(fixture("network-preferences.plist").get(), kCFPropertyListImmutable);
  EXPECT_DEATH(CFDictionarySetValue(mut<CFMutableDictionaryRef>(plist.get()), CFSTR("k"), CFSTR("v")), "immutable");
  auto containers = parse(fixture("network-preferences.plist").get(), kCFPropertyListMutableContainers);
  CFDictionarySetValue(mut<CFMutableDictionaryRef>(containers.get()), CFSTR("k"), CFSTR("v"));
  EXPECT_DEATH(CFStringAppend(mut<CFMutableStringRef>(valueAt(containers.get(), "CurrentSet")), CFSTR("x")),
               "immutable");
}

}  // namespace
