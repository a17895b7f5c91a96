#include <cmath>
#include <cstdint>

#include "CFTestSupport.h"

namespace {

using CFNumberTest = CFTest;

template <typename T>
xpc::CFRef<CFNumberRef> make(CFNumberType type, T value) {
  return adopt(CFNumberCreate(nullptr, type, &value));
}

TEST_F(CFNumberTest, ReportsTheCanonicalFixedWidthType) {
  struct Case {
    CFNumberType created, reported;
    CFIndex size;
  } cases[] = {
      {kCFNumberCharType, kCFNumberSInt8Type, 1},     {kCFNumberShortType, kCFNumberSInt16Type, 2},
      {kCFNumberIntType, kCFNumberSInt32Type, 4},     {kCFNumberLongType, kCFNumberSInt64Type, 8},
      {kCFNumberLongLongType, kCFNumberSInt64Type, 8}, {kCFNumberCFIndexType, kCFNumberSInt64Type, 8},
      {kCFNumberFloatType, kCFNumberFloat32Type, 4},  {kCFNumberDoubleType, kCFNumberFloat64Type, 8},
      {kCFNumberCGFloatType, kCFNumberFloat64Type, 8}, {kCFNumberSInt16Type, kCFNumberSInt16Type, 2},
  };
  for (const Case &c : cases) {
    alignas(8) unsigned char zero[8] = {};
    auto number = adopt(CFNumberCreate(nullptr, c.created, zero));
    EXPECT_EQ(CFNumberGetType(number.get()), c.reported) << "created as " << c.created;
    EXPECT_EQ(CFNumberGetByteSize(number.get()), c.size) << "created as " << c.created;
    EXPECT_EQ(CFNumberIsFloatType(number.get()),
              c.reported == kCFNumberFloat32Type || c.reported == kCFNumberFloat64Type);
  }
}

TEST_F(CFNumberTest, GetValueCastsAndReportsLoss) {
  int32_t i32 = -1;
  EXPECT_FALSE(CFNumberGetValue(make(kCFNumberDoubleType, 3.5).get(), kCFNumberSInt32Type, &i32));
  EXPECT_EQ(i32, 3);
  EXPECT_FALSE(CFNumberGetValue(make(kCFNumberSInt64Type, int64_t{1} << 40).get(), kCFNumberSInt32Type, &i32));
  EXPECT_EQ(i32, 0) << "the low 32 bits, as a C cast gives";
  EXPECT_FALSE(CFNumberGetValue(make(kCFNumberDoubleType, double(NAN)).get(), kCFNumberSInt32Type, &i32));
  EXPECT_TRUE(CFNumberGetValue(make(kCFNumberDoubleType, -1.0).get(), kCFNumberSInt32Type, &i32));
  EXPECT_EQ(i32, -1);

  int64_t i64 = 0;
  EXPECT_FALSE(CFNumberGetValue(make(kCFNumberDoubleType, 1e20).get(), kCFNumberSInt64Type, &i64));
  EXPECT_EQ(i64, INT64_MAX);
  EXPECT_TRUE(CFNumberGetValue(make(kCFNumberIntType, -28800).get(), kCFNumberSInt64Type, &i64));
  EXPECT_EQ(i64, -28800);

  double d = 0;
  EXPECT_TRUE(CFNumberGetValue(make(kCFNumberSInt64Type, int64_t{1} << 40).get(), kCFNumberDoubleType, &d));
  EXPECT_EQ(d, 1099511627776.0);
  EXPECT_FALSE(CFNumberGetValue(make(kCFNumberSInt64Type, (int64_t{1} << 53) + 1).get(), kCFNumberDoubleType, &d));

  float f = 0;
  EXPECT_FALSE(CFNumberGetValue(make(kCFNumberDoubleType, 0.1).get(), kCFNumberFloatType, &f));
  EXPECT_EQ(f, 0.1f);
  EXPECT_TRUE(CFNumberGetValue(make(kCFNumberDoubleType, 0.5).get(), kCFNumberFloatType, &f));

  // Small unsigned values stored in wider numbers read back as 8- or 16-bit
  // without complaint; other overflows do not.
  int8_t i8 = 0;
  EXPECT_TRUE(CFNumberGetValue(make(kCFNumberIntType, 200).get(), kCFNumberSInt8Type, &i8));
  EXPECT_EQ(i8, -56);
  EXPECT_FALSE(CFNumberGetValue(make(kCFNumberIntType, 300).get(), kCFNumberSInt8Type, &i8));
  EXPECT_FALSE(CFNumberGetValue(make(kCFNumberIntType, -129).get(), kCFNumberSInt8Type, &i8));
  EXPECT_TRUE(CFNumberGetValue(make(kCFNumberIntType, 65535).get(), kCFNumberSInt16Type, nullptr));
}

TEST_F(CFNumberTest, ComparesIntegersAndFloatsByValue) {
  auto three = cfnumber(3LL), threeReal = cfnumber(3.0);
  EXPECT_EQ(CFNumberCompare(three.get(), threeReal.get(), nullptr), kCFCompareEqualTo);
  EXPECT_TRUE(CFEqual(three.get(), threeReal.get()));
  EXPECT_EQ(CFHash(three.get()), CFHash(threeReal.get()));
  EXPECT_EQ(CFNumberCompare(three.get(), cfnumber(3.5).get(), nullptr), kCFCompareLessThan);
  EXPECT_EQ(CFNumberCompare(cfnumber((1LL << 53) + 1).get(), cfnumber(9007199254740992.0).get(), nullptr),
            kCFCompareGreaterThan)
      << "no rounding through double";
  EXPECT_EQ(CFNumberCompare(cfnumber(-0.0).get(), cfnumber(0.0).get(), nullptr), kCFCompareLessThan);
  EXPECT_EQ(CFNumberCompare(cfnumber(double(NAN)).get(), cfnumber(1LL).get(), nullptr), kCFCompareLessThan);
  EXPECT_EQ(CFNumberCompare(cfnumber(double(NAN)).get(), cfnumber(-1LL).get(), nullptr), kCFCompareGreaterThan);
}

TEST_F(CFNumberTest, BooleansAreDistinctFromNumbers) {
  EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
  EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
  EXPECT_EQ(CFGetTypeID(kCFBooleanTrue), CFBooleanGetTypeID());
  EXPECT_NE(CFBooleanGetTypeID(), CFNumberGetTypeID());
  EXPECT_NE(description(kCFBooleanFalse).find("{value = false}"), std::string::npos);
  EXPECT_NE(description(make(kCFNumberIntType, 7).get()).find("{value = +7, type = kCFNumberSInt32Type}"),
            std::string::npos);
}

}  // namespace
