#include <gtest/gtest.h>
#include <xpc/xpc.h>

#include <climits>
#include <string>

#include "RequestLimits.h"
#include "XpcRef.h"

namespace {

xpc::XpcRef request() { return xpc::XpcRef(xpc_dictionary_create(nullptr, nullptr, 0), xpc::RefPolicy::Adopt); }

std::string refusal(const char* key) {
  return std::string("The value provided for '") + key + "' is too long to be acted on!";
}

TEST(RequestLimitsTest, PathsUpToPathMaxAndOtherValuesUpTo64KiB) {
  const std::string path(PATH_MAX, 'p'), value(64 * 1024, 'v');
  xpc::XpcRef within = request();
  xpc_dictionary_set_string(within.get(), "Command", "setproxyvalue");
  xpc_dictionary_set_string(within.get(), "File", path.c_str());
  xpc_dictionary_set_string(within.get(), "NewValue", value.c_str());
  xpc_dictionary_set_data(within.get(), "SSID", value.data(), value.size());
  xpc_dictionary_set_int64(within.get(), "NewPriority", 1);
  EXPECT_EQ(RequestLimits::check(within.get()), "");

  for (const char* key : {"MobileConfigPath", "ZipFile", "File"}) {
    xpc::XpcRef message = request();
    xpc_dictionary_set_string(message.get(), key, (path + "/").c_str());
    EXPECT_EQ(RequestLimits::check(message.get()), refusal(key));
  }
  xpc::XpcRef longString = request();
  xpc_dictionary_set_string(longString.get(), "Command", (value + "x").c_str());
  EXPECT_EQ(RequestLimits::check(longString.get()), refusal("Command"));
  xpc::XpcRef longData = request();
  xpc_dictionary_set_data(longData.get(), "PEMdata", value.data(), value.size());
  EXPECT_EQ(RequestLimits::check(longData.get()), "");
  std::string more = value + "x";
  xpc_dictionary_set_data(longData.get(), "PEMdata", more.data(), more.size());
  EXPECT_EQ(RequestLimits::check(longData.get()), refusal("PEMdata"));

  // Inside a container the value counts all the same.
  xpc::XpcRef list(xpc_array_create(nullptr, 0), xpc::RefPolicy::Adopt);
  xpc::XpcRef element(xpc_string_create(more.c_str()), xpc::RefPolicy::Adopt);
  xpc_array_append_value(list.get(), element.get());
  xpc::XpcRef nested = request();
  xpc_dictionary_set_value(nested.get(), "Values", list.get());
  EXPECT_EQ(RequestLimits::check(nested.get()), refusal("Values"));
}

}  // namespace
