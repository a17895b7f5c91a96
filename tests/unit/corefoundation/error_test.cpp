#include "CFTestSupport.h"

namespace {

using CFErrorTest = CFTest;

xpc::CFRef<CFErrorRef> makeError(CFStringRef domain, CFIndex code, CFStringRef key = nullptr,
                                 CFStringRef value = nullptr) {
  const void *keys[] = {key}, *values[] = {value};
  return adopt(CFErrorCreateWithUserInfoKeysAndValues(nullptr, domain, code, keys, values, key ? 1 : 0));
}

std::string describe(CFErrorRef error) { return utf8(adopt(CFErrorCopyDescription(error)).get()); }

TEST_F(CFErrorTest, FallbackDescriptionsReadAsOnTheMac) {
  EXPECT_EQ(describe(makeError(kCFErrorDomainPOSIX, 2).get()),
            "The operation couldn\u2019t be completed. No such file or directory");
  EXPECT_EQ(describe(makeError(kCFErrorDomainOSStatus, -25300).get()),
            "The operation couldn\u2019t be completed. (OSStatus error -25300.)");
  EXPECT_EQ(describe(makeError(kCFErrorDomainCocoa, 4).get()),
            "The operation couldn\u2019t be completed. (Cocoa error 4.)");
  EXPECT_EQ(describe(makeError(kCFErrorDomainCocoa, 3840).get()),
            "The data couldn\u2019t be read because it isn\u2019t in the correct format.");
  EXPECT_EQ(describe(makeError(CFSTR("com.example.MacHelper"), 7).get()),
            "The operation couldn\u2019t be completed. (com.example.MacHelper error 7.)");
  EXPECT_EQ(describe(makeError(CFSTR("com.example.MacHelper"), 7, kCFErrorDescriptionKey, CFSTR("bad input")).get()),
            "The operation couldn\u2019t be completed. (com.example.MacHelper error 7 - bad input)");
  EXPECT_EQ(describe(makeError(kCFErrorDomainOSStatus, -61, kCFErrorLocalizedFailureReasonKey, CFSTR("Disk full.")).get()),
            "The operation couldn\u2019t be completed. Disk full.");
}

TEST_F(CFErrorTest, UserInfoTextWinsAndAccessorsReturnCopies) {
  auto error = makeError(kCFErrorDomainPOSIX, 13, kCFErrorLocalizedDescriptionKey, CFSTR("Cannot write preferences."));
  EXPECT_EQ(describe(error.get()), "Cannot write preferences.");
  EXPECT_EQ(CFErrorGetCode(error.get()), 13);
  EXPECT_TRUE(CFEqual(CFErrorGetDomain(error.get()), CFSTR("NSPOSIXErrorDomain")));
  EXPECT_EQ(utf8(adopt(CFErrorCopyFailureReason(error.get())).get()), "Permission denied") << "from the POSIX domain";
  EXPECT_EQ(CFErrorCopyRecoverySuggestion(error.get()), nullptr);

  auto failure = makeError(CFSTR("com.example"), 1, kCFErrorLocalizedFailureKey, CFSTR("Saving failed."));
  EXPECT_EQ(describe(failure.get()), "Saving failed.");
  auto suggestion = makeError(CFSTR("com.example"), 1, kCFErrorLocalizedRecoverySuggestionKey, CFSTR("Retry."));
  EXPECT_EQ(utf8(adopt(CFErrorCopyRecoverySuggestion(suggestion.get())).get()), "Retry.");
  EXPECT_EQ(CFErrorCopyFailureReason(suggestion.get()), nullptr);

  auto bare = adopt(CFErrorCreate(nullptr, CFSTR("com.example"), 1, nullptr));
  auto userInfo = adopt(CFErrorCopyUserInfo(bare.get()));
  EXPECT_EQ(CFDictionaryGetCount(userInfo.get()), 0) << "never NULL";
}

TEST_F(CFErrorTest, DebugDescriptionShowsDomainCodeAndUserInfo) {
  EXPECT_EQ(description(makeError(kCFErrorDomainPOSIX, 2).get()),
            "Error Domain=NSPOSIXErrorDomain Code=2 \"No such file or directory\"");
  auto underlying = makeError(kCFErrorDomainPOSIX, 28);
  const void *keys[] = {CFSTR("NSDebugDescription"), kCFErrorUnderlyingErrorKey};
  const void *values[] = {CFSTR("write failed"), underlying.get()};
  auto error = adopt(CFErrorCreateWithUserInfoKeysAndValues(nullptr, kCFErrorDomainCocoa, 3851, keys, values, 2));
  std::string text = description(error.get());
  EXPECT_EQ(text.find("Error Domain=NSCocoaErrorDomain Code=3851 \"write failed\" UserInfo={NSDebugDescription=write "
                      "failed, NSUnderlyingError=0x"),
            0u)
      << text;
  EXPECT_NE(text.find(" {Error Domain=NSPOSIXErrorDomain Code=28 \"No space left on device\"}}"), std::string::npos)
      << text;
  EXPECT_EQ(utf8(adopt(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@"), error.get())).get()), text);
}

}  // namespace
