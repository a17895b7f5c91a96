#include <CFRuntimeInternal.h>

#include <thread>
#include <vector>

#include "CFTestSupport.h"

namespace {

using CFRuntime = CFTest;
using CFRuntimeDeathTest = CFTest;

TEST_F(CFRuntime, GetBorrowsAndCopyOrCreateHandsOverOwnership) {
  auto dictionary = cfdictionary();
  auto key = cfstring("HTTPProxy");
  auto value = cfstring("proxy.corp.example");
  CFDictionarySetValue(dictionary.get(), key.get(), value.get());
  EXPECT_EQ(CFGetRetainCount(value.get()), 2);

  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), key.get()), value.get());
  EXPECT_EQ(CFGetRetainCount(value.get()), 2) << "a Get must not retain";

  // The error keeps its own copy of the user info and hands out references to it.
  auto error = adopt(CFErrorCreate(nullptr, kCFErrorDomainPOSIX, 1, dictionary.get()));
  auto userInfo = adopt(CFErrorCopyUserInfo(error.get()));
  EXPECT_NE(userInfo.get(), dictionary.get());
  EXPECT_EQ(CFGetRetainCount(userInfo.get()), 2);
  long live = emu_cf_live_objects();
  userInfo.reset();
  EXPECT_EQ(emu_cf_live_objects(), live) << "the error still holds its user info";

  CFDictionaryRemoveValue(dictionary.get(), key.get());
  EXPECT_EQ(CFGetRetainCount(value.get()), 2) << "the error's user info still holds the value";
  error.reset();
  EXPECT_EQ(CFGetRetainCount(value.get()), 1);
}

TEST_F(CFRuntime, ConstantsAreSharedAndNeverCounted) {
  long live = emu_cf_live_objects();
  CFStringRef literal = CFSTR("com.example.MacHelper");
  EXPECT_EQ(literal, CFSTR("com.example.MacHelper"));
  CFRelease(literal);
  CFRelease(literal);
  EXPECT_EQ(utf8(literal), "com.example.MacHelper");
  CFRetain(kCFBooleanTrue);
  CFRelease(kCFNull);
  EXPECT_EQ(emu_cf_live_objects(), live);
  EXPECT_GT(CFGetRetainCount(literal), 1L << 40);
}

// Equal strings hashing alike is what every dictionary lookup in these tests relies on.
TEST_F(CFRuntime, EqualityNeedsTheSameTypeAndDescriptionsNameIt) {
  auto text = cfstring("Wi-Fi");
  EXPECT_FALSE(CFEqual(text.get(), cfnumber(1LL).get()));
  EXPECT_FALSE(CFEqual(kCFBooleanTrue, cfnumber(1LL).get()));
  EXPECT_EQ(description(text.get()).find("<CFString 0x"), 0u);
  EXPECT_NE(description(text.get()).find("{contents = \"Wi-Fi\"}"), std::string::npos);
}

// A class registered the way SystemConfiguration and Security types are.
struct __Widget {
  CFRuntimeBase base;
  int size;
  int *finalized;
};

void widgetFinalize(CFTypeRef cf) { ++*static_cast<const __Widget *>(cf)->finalized; }
Boolean widgetEqual(CFTypeRef a, CFTypeRef b) {
  return static_cast<const __Widget *>(a)->size == static_cast<const __Widget *>(b)->size;
}
CFHashCode widgetHash(CFTypeRef cf) { return static_cast<CFHashCode>(static_cast<const __Widget *>(cf)->size); }
CFStringRef widgetCopyDebugDesc(CFTypeRef cf) {
  return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("<Widget size=%d>"), static_cast<const __Widget *>(cf)->size);
}
const CFRuntimeClass kWidgetClass = {"Widget", widgetFinalize, widgetEqual, widgetHash, nullptr, widgetCopyDebugDesc};
CFTypeID widgetTypeID() {
  static const CFTypeID typeID = _CFRuntimeRegisterClass(&kWidgetClass);
  return typeID;
}

TEST_F(CFRuntime, RegisteredClassesWorkWithTheGenericFunctions) {
  int finalized = 0;
  auto create = [&](int size) {
    auto *widget = static_cast<__Widget *>(const_cast<void *>(
        _CFRuntimeCreateInstance(nullptr, widgetTypeID(), sizeof(__Widget) - sizeof(CFRuntimeBase))));
    widget->size = size;
    widget->finalized = &finalized;
    return static_cast<CFTypeRef>(widget);
  };
  long live = emu_cf_live_objects();
  CFTypeRef small = create(3), same = create(3), large = create(4);
  EXPECT_EQ(emu_cf_live_objects(), live + 3);
  EXPECT_EQ(CFGetTypeID(small), widgetTypeID());
  EXPECT_TRUE(CFEqual(small, same));
  EXPECT_FALSE(CFEqual(small, large));
  EXPECT_EQ(CFHash(large), 4u);
  EXPECT_EQ(description(small), "<Widget size=3>");
  EXPECT_EQ(utf8(adopt(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("[%@]"), small)).get()), "[<Widget size=3>]");
  EXPECT_EQ(utf8(adopt(CFCopyTypeIDDescription(widgetTypeID())).get()), "Widget");

  auto array = adopt(CFArrayCreate(nullptr, &small, 1, &kCFTypeArrayCallBacks));
  EXPECT_EQ(CFGetRetainCount(small), 2);
  EXPECT_TRUE(CFArrayContainsValue(array.get(), CFRangeMake(0, 1), same));
  array.reset();
  EXPECT_EQ(finalized, 0);
  for (CFTypeRef widget : {small, same, large}) CFRelease(widget);
  EXPECT_EQ(finalized, 3);
}

// C++ instances with members that own memory; LeakSanitizer checks the
// destructor runs.
struct __Note {
  CFRuntimeBase base;
  std::string text;
};
const CFRuntimeClass kNoteClass = {"Note", emu::cfFinalize<__Note>, nullptr, nullptr, nullptr, nullptr};

TEST_F(CFRuntime, CppInstancesAreDestroyedAndGetDefaultBehaviour) {
  static const CFTypeID noteTypeID = _CFRuntimeRegisterClass(&kNoteClass);
  __Note *note = emu::cfCreate<__Note>(noteTypeID);
  note->text.assign(1000, 'x');
  __Note *other = emu::cfCreate<__Note>(noteTypeID);
  other->text = note->text;
  EXPECT_EQ(CFGetRetainCount(note), 1);
  EXPECT_FALSE(CFEqual(note, other)) << "without an equal callback only identity is equal";
  EXPECT_EQ(description(note).find("<Note 0x"), 0u);
  CFRelease(note);
  CFRelease(other);
}

TEST_F(CFRuntime, RetainReleaseAndConstantStringsAreThreadSafe) {
  auto shared = cfstring("shared");
  constexpr int kThreads = 8, kNames = 50;
  std::vector<std::vector<CFStringRef>> seen(kThreads, std::vector<CFStringRef>(kNames));
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 20000; ++i) {
        CFRetain(shared.get());
        CFRelease(shared.get());
      }
      for (int i = 0; i < kNames; ++i)
        seen[t][i] = __CFStringMakeConstantString(("threaded-" + std::to_string(i)).c_str());
    });
  }
  for (auto &thread : threads) thread.join();
  EXPECT_EQ(CFGetRetainCount(shared.get()), 1);
  for (int t = 1; t < kThreads; ++t) EXPECT_EQ(seen[t], seen[0]);
}

TEST_F(CFRuntimeDeathTest, MisuseEndsTheProcessAsOnTheMac) {
  auto array = adopt(CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks));
  EXPECT_DEATH(CFArrayAppendValue(const_cast<CFMutableArrayRef>(array.get()), CFSTR("x")), "immutable");
  EXPECT_DEATH(CFArrayGetValueAtIndex(array.get(), 0), "beyond bounds");
  auto dictionary = adopt(CFDictionaryCreate(nullptr, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                             &kCFTypeDictionaryValueCallBacks));
  EXPECT_DEATH(CFDictionarySetValue(const_cast<CFMutableDictionaryRef>(dictionary.get()), CFSTR("k"), CFSTR("v")),
               "immutable");
  EXPECT_DEATH(CFStringAppend(const_cast<CFMutableStringRef>(CFSTR("literal")), CFSTR("x")), "immutable");
  EXPECT_DEATH(CFRetain(nullptr), "NULL");
  EXPECT_DEATH(CFStringGetLength(reinterpret_cast<CFStringRef>(array.get())), "CFArray where a CFString");
}

}  // namespace
