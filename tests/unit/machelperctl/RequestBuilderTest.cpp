#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "RequestBuilder.h"
#include "XpcJson.h"
#include "XpcRef.h"

namespace {

xpc::XpcRef build(std::vector<std::string> arguments, std::string& error) {
  return xpc::XpcRef(RequestBuilder::build("cmd", arguments, error), xpc::RefPolicy::Adopt);
}

std::string dataOf(xpc_object_t request, const char* key) {
  size_t length = 0;
  const void* bytes = xpc_dictionary_get_data(request, key, &length);
  return bytes != nullptr ? std::string(static_cast<const char*>(bytes), length) : "<none>";
}

TEST(RequestBuilderTest, EveryArgumentTypeLandsWithItsXpcType) {
  char path[] = "/tmp/blob-XXXXXX";
  FILE* file = fdopen(mkstemp(path), "wb");
  fwrite("\x00\x01\xff", 1, 3, file);
  fclose(file);

  std::string error;
  xpc::XpcRef request = build({"Uuid=A-B", "Url=http://x/?a=b", "Port:int=-8080",
                               "Big:uint=18446744073709551615", "On:bool=true", "Off:bool=false",
                               "Hex:data=00ff10", std::string("File:data@=") + path,
                               "SSID:ssid=Cafe Wi-Fi"},
                              error);
  ASSERT_TRUE(request) << error;
  EXPECT_STREQ(xpc_dictionary_get_string(request.get(), "Command"), "cmd");
  EXPECT_STREQ(xpc_dictionary_get_string(request.get(), "Uuid"), "A-B");
  EXPECT_STREQ(xpc_dictionary_get_string(request.get(), "Url"), "http://x/?a=b")
      << "only the first '=' separates key and value";
  EXPECT_EQ(xpc_dictionary_get_int64(request.get(), "Port"), -8080);
  EXPECT_EQ(xpc_dictionary_get_uint64(request.get(), "Big"), UINT64_MAX);
  EXPECT_TRUE(xpc_dictionary_get_bool(request.get(), "On"));
  EXPECT_EQ(xpc_get_type(xpc_dictionary_get_value(request.get(), "Off")), XPC_TYPE_BOOL);
  EXPECT_EQ(dataOf(request.get(), "Hex"), std::string("\x00\xff\x10", 3));
  EXPECT_EQ(dataOf(request.get(), "File"), std::string("\x00\x01\xff", 3));
  EXPECT_EQ(dataOf(request.get(), "SSID"), std::string("Cafe Wi-Fi\0", 11)) << "SSIDs end in NUL";
  unlink(path);
}

TEST(RequestBuilderTest, BadArgumentsAreRefusedWithAReason) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"NoEquals", "not of the form KEY=VALUE"},
      {"=value", "has no key"},
      {":int=5", "has no key"},
      {"Port:int=80x", "is not a 64-bit integer"},
      {"Port:int=", "is not a 64-bit integer"},
      {"Port:int=99999999999999999999", "is not a 64-bit integer"},
      {"N:uint=-1", "is not an unsigned 64-bit integer"},
      {"On:bool=yes", "is not true or false"},
      {"Hex:data=abc", "hexadecimal"},
      {"Hex:data=zz", "hexadecimal"},
      {"File:data@=/no/such/file", "cannot read"},
      {"X:float=1.5", "unknown type 'float'"},
  };
  for (const auto& [argument, reason] : cases) {
    std::string error;
    EXPECT_FALSE(build({argument}, error)) << argument;
    EXPECT_NE(error.find(reason), std::string::npos) << argument << " gave: " << error;
  }
}

TEST(XpcJsonTest, RendersRepliesAndLogLinesAsJson) {
  xpc::XpcRef message(xpc_dictionary_create(nullptr, nullptr, 0), xpc::RefPolicy::Adopt);
  xpc_dictionary_set_string(message.get(), "LogLine", "quote \" slash \\ tab\t bell\a");
  xpc_dictionary_set_int64(message.get(), "LogLevel", 200);
  xpc_dictionary_set_bool(message.get(), "Success", false);
  xpc_dictionary_set_data(message.get(), "SSID", "ab\0", 3);
  EXPECT_EQ(XpcJson::render(message.get()),
            "{\"LogLevel\":200,\"LogLine\":\"quote \\\" slash \\\\ tab\\t bell\\u0007\","
            "\"SSID\":\"616200\",\"Success\":false}");
}

}  // namespace
