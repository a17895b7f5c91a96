#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

#include "LogCapture.h"
#include "TextCodec.h"
#include "XpcBase64.h"

namespace {

using xpc::TextCodec;
using xpc::XpcBase64;

TEST(XpcBase64, KnownVectors) {
  XpcBase64 base64(nullptr);
  const std::pair<std::string, std::string> vectors[] = {
      {"Ma", "TWE="}, {std::string(1, '\0'), "AA=="}, {"Man", "TWFu"}, {"", ""}};
  for (const auto& [bytes, text] : vectors) {
    std::string out = "stale";
    EXPECT_TRUE(base64.encode(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), out));
    EXPECT_EQ(out, text);
  }
  // Decoding answers the bytes and their length; the bytes end in a NUL.
  for (const auto& [bytes, text] : {vectors[0], vectors[1]}) {
    unsigned long length = 99;
    std::unique_ptr<unsigned char, void (*)(void*)> decoded(base64.decode(text, &length), std::free);
    ASSERT_TRUE(decoded) << text;
    ASSERT_EQ(length, bytes.size());
    EXPECT_EQ(std::string(reinterpret_cast<char*>(decoded.get()), length + 1), bytes + '\0');
  }
}

TEST(XpcBase64, RefusesBadCalls) {
  LogCapture log;
  XpcBase64 base64(log.logger());
  unsigned long length = 0;
  EXPECT_EQ(base64.decode("TWE=A", &length), nullptr);
  EXPECT_TRUE(log.saw(4, "Invalid base 64 length in XpcBase64::decode()!"));
  EXPECT_EQ(base64.decode("TWE=", nullptr), nullptr);
  EXPECT_TRUE(log.saw(4, "NULL was passed in to XpcBase64::decode()!"));
  std::string out;
  EXPECT_FALSE(base64.encode(nullptr, 3, out));
  EXPECT_TRUE(log.saw(4, "NULL value passed to XpcBase64::encode()!"));
}

TEST(TextCodec, RoundTripsTextUpToItsFirstNulAndRejectsForeignSymbols) {
  TextCodec codec;
  // Lengths up to 200 cover every padding case and base64 texts longer than
  // one 64-symbol shift period.
  std::string text, coded, back;
  for (int length = 0; length <= 200; ++length) {
    ASSERT_TRUE(codec.encode(text, coded)) << length;
    ASSERT_TRUE(codec.decode(coded, back)) << length;
    EXPECT_EQ(back, text) << length;
    text += static_cast<char>(1 + (length * 37) % 255);
  }

  ASSERT_TRUE(codec.encode(std::string("pass\0word", 9), coded));
  ASSERT_TRUE(codec.decode(coded, back));
  EXPECT_EQ(back, "pass");

  EXPECT_FALSE(codec.decode("abc!", back));  // "!" is in neither alphabet
  EXPECT_FALSE(codec.decode(coded.substr(0, 5), back));  // not a whole base64 group
}

}  // namespace
