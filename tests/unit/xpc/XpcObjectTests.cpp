#include <emu/ObjectCounts.h>
#include <gtest/gtest.h>
#include <xpc/xpc.h>

#include <cmath>
#include <cstring>
#include <map>
#include <string>

namespace {

class XpcObjects : public ::testing::Test {
 protected:
  void SetUp() override { baseline_ = emu_xpc_live_objects(); }
  void TearDown() override { EXPECT_EQ(emu_xpc_live_objects(), baseline_) << "objects leaked"; }

  long baseline_ = 0;
};

TEST_F(XpcObjects, DictionaryGettersFallBackToMacOSDefaultsOnMissingKeyOrWrongType) {
  xpc_object_t dict = xpc_dictionary_create_empty();
  xpc_dictionary_set_string(dict, "text", "hello");
  xpc_dictionary_set_int64(dict, "number", 7);

  for (const char* key : {"missing", "text", "number"}) {
    SCOPED_TRACE(key);
    if (std::strcmp(key, "text") != 0) {
      EXPECT_EQ(xpc_dictionary_get_string(dict, key), nullptr);
      EXPECT_EQ(xpc_dictionary_get_data(dict, key, nullptr), nullptr);
    }
    if (std::strcmp(key, "number") != 0) EXPECT_EQ(xpc_dictionary_get_int64(dict, key), 0);
    EXPECT_EQ(xpc_dictionary_get_uint64(dict, key), 0u);
    EXPECT_FALSE(xpc_dictionary_get_bool(dict, key));
    EXPECT_TRUE(std::isnan(xpc_dictionary_get_double(dict, key)));
    EXPECT_EQ(xpc_dictionary_get_dictionary(dict, key), nullptr);
    EXPECT_EQ(xpc_dictionary_get_array(dict, key), nullptr);
  }
  EXPECT_EQ(xpc_dictionary_get_value(dict, "missing"), nullptr);
  size_t length = 99;
  EXPECT_EQ(xpc_dictionary_get_data(dict, "text", &length), nullptr);
  EXPECT_EQ(length, 0u);
  xpc_release(dict);
}

TEST_F(XpcObjects, DictionaryValuesRoundTripAndAreHeldByTheDictionary) {
  xpc_object_t dict = xpc_dictionary_create_empty();
  const char bytes[] = {'a', '\0', 'b'};
  xpc_dictionary_set_string(dict, "s", "text");
  xpc_dictionary_set_int64(dict, "i", INT64_MIN);
  xpc_dictionary_set_uint64(dict, "u", UINT64_MAX);
  xpc_dictionary_set_bool(dict, "b", true);
  xpc_dictionary_set_double(dict, "d", -2.5);
  xpc_dictionary_set_data(dict, "data", bytes, sizeof bytes);
  xpc_object_t inner = xpc_dictionary_create_empty();
  xpc_dictionary_set_value(dict, "dict", inner);
  xpc_object_t list = xpc_array_create_empty();
  xpc_dictionary_set_value(dict, "array", list);

  EXPECT_STREQ(xpc_dictionary_get_string(dict, "s"), "text");
  EXPECT_EQ(xpc_dictionary_get_int64(dict, "i"), INT64_MIN);
  EXPECT_EQ(xpc_dictionary_get_uint64(dict, "u"), UINT64_MAX);
  EXPECT_TRUE(xpc_dictionary_get_bool(dict, "b"));
  EXPECT_EQ(xpc_dictionary_get_value(dict, "b"), XPC_BOOL_TRUE);
  EXPECT_EQ(xpc_dictionary_get_double(dict, "d"), -2.5);
  size_t length = 0;
  const void* data = xpc_dictionary_get_data(dict, "data", &length);
  ASSERT_EQ(length, sizeof bytes);
  EXPECT_EQ(std::memcmp(data, bytes, length), 0);
  EXPECT_EQ(xpc_dictionary_get_dictionary(dict, "dict"), inner);
  EXPECT_EQ(xpc_dictionary_get_array(dict, "array"), list);
  EXPECT_EQ(xpc_dictionary_get_count(dict), 8u);

  // A local dictionary has no reply context or remote connection.
  EXPECT_EQ(xpc_dictionary_create_reply(dict), nullptr);
  EXPECT_EQ(xpc_dictionary_get_remote_connection(dict), nullptr);

  // The dictionary holds its own references.
  xpc_release(inner);
  xpc_release(list);
  EXPECT_EQ(xpc_get_type(xpc_dictionary_get_value(dict, "dict")), XPC_TYPE_DICTIONARY);
  xpc_release(dict);
}

TEST_F(XpcObjects, SettingNullRemovesAKeyAndOverwritingReleasesTheOldValue) {
  xpc_object_t dict = xpc_dictionary_create_empty();
  xpc_dictionary_set_string(dict, "a", "1");
  xpc_dictionary_set_string(dict, "b", "2");
  long withTwo = emu_xpc_live_objects();

  xpc_dictionary_set_string(dict, "a", "replaced");
  EXPECT_EQ(emu_xpc_live_objects(), withTwo);
  EXPECT_STREQ(xpc_dictionary_get_string(dict, "a"), "replaced");

  xpc_dictionary_set_value(dict, "a", nullptr);
  xpc_dictionary_set_value(dict, "never-set", nullptr);
  EXPECT_EQ(xpc_dictionary_get_count(dict), 1u);
  EXPECT_EQ(xpc_dictionary_get_value(dict, "a"), nullptr);
  EXPECT_EQ(emu_xpc_live_objects(), withTwo - 1);
  xpc_release(dict);
}

TEST_F(XpcObjects, ApplyVisitsEveryEntryUntilTheApplierStops) {
  xpc_object_t dict = xpc_dictionary_create_empty();
  for (int i = 0; i < 5; ++i) xpc_dictionary_set_int64(dict, std::to_string(i).c_str(), i);

  __block std::map<std::string, int64_t> seen;
  EXPECT_TRUE(xpc_dictionary_apply(dict, ^bool(const char* key, xpc_object_t value) {
    seen[key] = xpc_int64_get_value(value);
    return true;
  }));
  EXPECT_EQ(seen.size(), 5u);
  EXPECT_EQ(seen["3"], 3);

  __block int calls = 0;
  EXPECT_FALSE(xpc_dictionary_apply(dict, ^bool(const char*, xpc_object_t) { return ++calls < 2; }));
  EXPECT_EQ(calls, 2);
  xpc_release(dict);
}

// Retaining and releasing the constants is harmless however unbalanced.
TEST_F(XpcObjects, BooleansAreTheExportedConstants) {
  xpc_object_t yes = xpc_bool_create(true), no = xpc_bool_create(false);
  EXPECT_EQ(yes, XPC_BOOL_TRUE);
  EXPECT_EQ(no, XPC_BOOL_FALSE);
  EXPECT_FALSE(xpc_bool_get_value(no));
  EXPECT_EQ(xpc_get_type(no), XPC_TYPE_BOOL);
  xpc_release(xpc_retain(yes));
  xpc_release(yes);
  xpc_release(no);
}

TEST_F(XpcObjects, ErrorsAreReadOnlyDictionariesWithMacOSDescriptions) {
  struct {
    const void* error;
    const char* text;
  } errors[] = {{XPC_ERROR_CONNECTION_INTERRUPTED, "Connection interrupted"},
                {XPC_ERROR_CONNECTION_INVALID, "Connection invalid"},
                {XPC_ERROR_TERMINATION_IMMINENT, "Termination imminent"}};
  for (const auto& e : errors) {
    auto error = const_cast<xpc_object_t>(e.error);
    EXPECT_EQ(xpc_get_type(error), XPC_TYPE_ERROR);
    EXPECT_STREQ(xpc_dictionary_get_string(error, XPC_ERROR_KEY_DESCRIPTION), e.text);
    EXPECT_EQ(xpc_dictionary_get_count(error), 1u);
  }
}

TEST_F(XpcObjects, ScalarsLiveUntilTheLastReleaseAndReadAsDefaultsAsOtherTypes) {
  xpc_object_t text = xpc_string_create("kept");
  EXPECT_EQ(emu_xpc_live_objects(), baseline_ + 1);
  EXPECT_EQ(xpc_retain(text), text);
  xpc_release(text);
  EXPECT_STREQ(xpc_string_get_string_ptr(text), "kept");
  EXPECT_EQ(xpc_string_get_length(text), 4u);
  EXPECT_EQ(xpc_int64_get_value(text), 0);
  EXPECT_EQ(xpc_uint64_get_value(text), 0u);
  EXPECT_TRUE(std::isnan(xpc_double_get_value(text)));
  EXPECT_FALSE(xpc_bool_get_value(text));
  EXPECT_EQ(xpc_data_get_bytes_ptr(text), nullptr);
  xpc_release(text);
  EXPECT_EQ(emu_xpc_live_objects(), baseline_);

  xpc_object_t number = xpc_int64_create(5);
  EXPECT_EQ(xpc_string_get_string_ptr(number), nullptr);
  xpc_release(number);
}

TEST_F(XpcObjects, ArraysKeepOrderAndReplaceInPlace) {
  xpc_object_t array = xpc_array_create_empty();
  xpc_array_set_string(array, XPC_ARRAY_APPEND, "zero");
  xpc_object_t one = xpc_int64_create(1);
  xpc_array_append_value(array, one);
  xpc_release(one);
  xpc_array_set_string(array, 0, "first");

  EXPECT_EQ(xpc_array_get_count(array), 2u);
  EXPECT_STREQ(xpc_array_get_string(array, 0), "first");
  EXPECT_EQ(xpc_array_get_string(array, 1), nullptr);
  EXPECT_EQ(xpc_int64_get_value(xpc_array_get_value(array, 1)), 1);

  xpc_object_t items[] = {array, array};
  xpc_object_t nested = xpc_array_create(items, 2);
  xpc_release(array);
  EXPECT_EQ(xpc_array_get_count(xpc_array_get_value(nested, 1)), 2u);
  xpc_release(nested);
}

}  // namespace
