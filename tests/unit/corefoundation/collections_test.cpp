#include <vector>

#include "CFTestSupport.h"

namespace {

using CFCollections = CFTest;

TEST_F(CFCollections, AddKeepsAndSetReplacesExistingValues) {
  auto dictionary = cfdictionary();
  auto first = cfstring("first"), second = cfstring("second");
  CFDictionaryAddValue(dictionary.get(), CFSTR("key"), first.get());
  CFDictionaryAddValue(dictionary.get(), CFSTR("key"), second.get());
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), CFSTR("key")), first.get()) << "Add keeps the existing value";
  EXPECT_EQ(CFGetRetainCount(second.get()), 1);

  CFDictionarySetValue(dictionary.get(), CFSTR("key"), second.get());
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), CFSTR("key")), second.get());
  EXPECT_EQ(CFGetRetainCount(first.get()), 1) << "the replaced value is released";

  CFDictionarySetValue(dictionary.get(), CFSTR("key"), first.get());
  CFDictionarySetValue(dictionary.get(), CFSTR("other"), first.get());
  EXPECT_EQ(CFDictionaryGetCount(dictionary.get()), 2);
  const void *value = nullptr;
  EXPECT_TRUE(CFDictionaryGetValueIfPresent(dictionary.get(), CFSTR("other"), &value));
  EXPECT_EQ(value, first.get());
  EXPECT_FALSE(CFDictionaryGetValueIfPresent(dictionary.get(), CFSTR("missing"), &value));

  CFDictionaryRemoveValue(dictionary.get(), CFSTR("key"));
  CFDictionaryRemoveValue(dictionary.get(), CFSTR("missing"));
  EXPECT_EQ(CFDictionaryGetCount(dictionary.get()), 1);
  EXPECT_EQ(CFGetRetainCount(first.get()), 2);
}

TEST_F(CFCollections, DictionariesEnumerateInInsertionOrder) {
  auto dictionary = cfdictionary();
  for (const char *name : {"zulu", "alpha", "mike", "echo"}) CFDictionarySetValue(dictionary.get(), cfstring(name).get(), kCFNull);
  CFDictionaryRemoveValue(dictionary.get(), CFSTR("alpha"));
  CFDictionarySetValue(dictionary.get(), CFSTR("alpha"), kCFBooleanTrue);
  CFDictionarySetValue(dictionary.get(), CFSTR("zulu"), kCFBooleanFalse);
  EXPECT_EQ(keysOf(dictionary.get()), (std::vector<std::string>{"zulu", "mike", "echo", "alpha"}));

  std::vector<std::string> applied;
  CFDictionaryApplyFunction(
      dictionary.get(),
      [](const void *key, const void *, void *context) {
        static_cast<std::vector<std::string> *>(context)->push_back(utf8(static_cast<CFStringRef>(key)));
      },
      &applied);
  EXPECT_EQ(applied, keysOf(dictionary.get()));
}

TEST_F(CFCollections, MutableCopiesAreIndependentShallowCopies) {
  auto original = cfdictionary();
  auto proxy = cfstring("proxy.corp.example");
  CFDictionarySetValue(original.get(), CFSTR("HTTPProxy"), proxy.get());
  auto copy = adopt(CFDictionaryCreateMutableCopy(nullptr, 0, original.get()));
  EXPECT_TRUE(CFEqual(copy.get(), original.get()));
  CFDictionarySetValue(copy.get(), CFSTR("HTTPPort"), cfnumber(8080LL).get());
  CFDictionaryRemoveValue(copy.get(), CFSTR("HTTPProxy"));
  EXPECT_EQ(CFDictionaryGetCount(original.get()), 1);
  EXPECT_EQ(CFDictionaryGetValue(original.get(), CFSTR("HTTPProxy")), proxy.get());
  EXPECT_FALSE(CFEqual(copy.get(), original.get()));

  const void *values[] = {CFSTR("*.local"), CFSTR("169.254/16")};
  auto exceptions = adopt(CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks));
  auto edited = adopt(CFArrayCreateMutableCopy(nullptr, 0, exceptions.get()));
  CFArrayAppendValue(edited.get(), CFSTR("*.corp.example"));
  EXPECT_EQ(CFArrayGetCount(exceptions.get()), 2);
  EXPECT_EQ(CFArrayGetCount(edited.get()), 3);
}

TEST_F(CFCollections, EqualityIgnoresDictionaryOrderButNotArrayOrder) {
  auto a = cfdictionary(), b = cfdictionary();
  CFDictionarySetValue(a.get(), CFSTR("x"), cfnumber(1LL).get());
  CFDictionarySetValue(a.get(), CFSTR("y"), cfnumber(2.0).get());
  CFDictionarySetValue(b.get(), cfstring("y").get(), cfnumber(2LL).get());
  CFDictionarySetValue(b.get(), cfstring("x").get(), cfnumber(1LL).get());
  EXPECT_TRUE(CFEqual(a.get(), b.get()));

  const void *forward[] = {CFSTR("a"), CFSTR("b")}, *backward[] = {CFSTR("b"), CFSTR("a")};
  EXPECT_FALSE(CFEqual(adopt(CFArrayCreate(nullptr, forward, 2, &kCFTypeArrayCallBacks)).get(),
                       adopt(CFArrayCreate(nullptr, backward, 2, &kCFTypeArrayCallBacks)).get()));
}

TEST_F(CFCollections, CopyStringKeyCallbacksSnapshotMutableKeys) {
  auto dictionary = adopt(
      CFDictionaryCreateMutable(nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  auto key = adopt(CFStringCreateMutableCopy(nullptr, 0, CFSTR("Proxies")));
  CFDictionarySetValue(dictionary.get(), key.get(), kCFBooleanTrue);
  CFStringAppend(key.get(), CFSTR("Extra"));
  EXPECT_TRUE(CFDictionaryContainsKey(dictionary.get(), CFSTR("Proxies")));
  EXPECT_FALSE(CFDictionaryContainsKey(dictionary.get(), key.get()));
}

TEST_F(CFCollections, ArraysEditAndSearchWithinRanges) {
  auto array = adopt(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  CFArrayAppendValue(array.get(), CFSTR("en0"));
  CFArrayAppendValue(array.get(), CFSTR("en2"));
  CFArrayInsertValueAtIndex(array.get(), 1, cfstring("en1").get());
  CFArrayInsertValueAtIndex(array.get(), 3, CFSTR("en0"));
  EXPECT_EQ(CFArrayGetFirstIndexOfValue(array.get(), CFRangeMake(0, 4), CFSTR("en1")), 1);
  EXPECT_EQ(CFArrayGetFirstIndexOfValue(array.get(), CFRangeMake(1, 3), CFSTR("en0")), 3);
  EXPECT_FALSE(CFArrayContainsValue(array.get(), CFRangeMake(0, 1), CFSTR("en2")));
  EXPECT_TRUE(CFArrayContainsValue(array.get(), CFRangeMake(0, 4), CFSTR("en2")));
  CFArrayRemoveValueAtIndex(array.get(), 0);
  EXPECT_EQ(utf8(static_cast<CFStringRef>(CFArrayGetValueAtIndex(array.get(), 0))), "en1");
}

TEST_F(CFCollections, WithoutCallbacksValuesAreOpaquePointers) {
  int a = 1, b = 1;
  auto array = adopt(CFArrayCreateMutable(nullptr, 0, nullptr));
  CFArrayAppendValue(array.get(), &a);
  EXPECT_FALSE(CFArrayContainsValue(array.get(), CFRangeMake(0, 1), &b));
  EXPECT_TRUE(CFArrayContainsValue(array.get(), CFRangeMake(0, 1), &a));
  auto dictionary = adopt(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
  CFDictionarySetValue(dictionary.get(), &a, &b);
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), &a), &b);
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), &b), nullptr);
}

TEST_F(CFCollections, DataBuffers) {
  auto data = adopt(CFDataCreateMutable(nullptr, 0));
  CFDataAppendBytes(data.get(), reinterpret_cast<const UInt8 *>("\x1f\x2e"), 2);
  CFDataAppendBytes(data.get(), CFDataGetBytePtr(data.get()), 2);
  auto copy = adopt(CFDataCreateCopy(nullptr, data.get()));
  CFDataGetMutableBytePtr(data.get())[0] = 0;
  EXPECT_EQ(CFDataGetBytePtr(copy.get())[0], 0x1f);
  EXPECT_NE(description(copy.get()).find("{length = 4, capacity = 4, bytes = 0x1f2e1f2e}"), std::string::npos);
}

}  // namespace
