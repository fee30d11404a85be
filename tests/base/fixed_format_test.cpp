#include "base/FixedFormat.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>

#include "base/NumberText.h"
#include "results/Print.h"

namespace orvo {
namespace {

using test::Print;

template <typename T>
std::string Fast(T value) {
  char text[kMaxFixedDouble];
  return {text, WriteFixed(text, value)};
}

/// Compares without making a string for each of millions of values.
template <typename T>
bool PrintsLikeC(T value) {
  char fast[kMaxFixedDouble + 1], slow[kMaxFixedDouble + 1];
  *WriteFixed(fast, value) = '\0';
  std::snprintf(slow, sizeof slow, "%12.6lf", static_cast<double>(value));
  return std::strcmp(fast, slow) == 0;
}

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

TEST(FixedFormat, KnownTexts) {
  EXPECT_EQ(Fast(0.0f), "    0.000000");
  EXPECT_EQ(Fast(-0.0f), "   -0.000000");
  EXPECT_EQ(Fast(1.5f), "    1.500000");
  EXPECT_EQ(Fast(-1e-9f), "   -0.000000");
  EXPECT_EQ(Fast(-9999.5f), "-9999.500000");
  EXPECT_EQ(Fast(123456.5f), "123456.500000");
  // 2^-7 = 0.0078125 lies between two sixth decimals: halves go to the even one.
  EXPECT_EQ(Fast(0.0078125f), "    0.007812");
  EXPECT_EQ(Fast(3 * 0.0078125), "    0.023438");
  EXPECT_EQ(Fast(-1e30f), "-1000000015047466219876688855040.000000");
  EXPECT_EQ(Fast(kNan), "         nan");
  EXPECT_EQ(Fast(-kInf), "        -inf");
}

TEST(FixedFormat, AwkwardValuesPrintAsInC) {
  const double values[] = {0.0,
                           -0.0,
                           0.5e-6,
                           -0.5e-6,
                           1.5e-6,
                           2.5e-6,
                           0.9999995,
                           9.9999995,
                           99.9999995,
                           9999.9999994,
                           9999.999999,
                           9999.9999995,
                           9999.99999949999,
                           10000.0,
                           99999.999999,
                           1e9,
                           1e15,
                           1e16,
                           1e22,
                           1e300,
                           1e-300,
                           5e-324,
                           kInf,
                           -kInf,
                           kNan,
                           -kNan,
                           std::numeric_limits<double>::max(),
                           std::numeric_limits<float>::max(),
                           std::numeric_limits<float>::denorm_min()};
  for (const double v : values) {
    for (const double w : {v, -v, std::nextafter(v, kInf), std::nextafter(v, -kInf)}) {
      EXPECT_EQ(Fast(w), Print("%12.6lf", w)) << Print("%a", w);
      const auto narrow = static_cast<float>(w);
      EXPECT_EQ(Fast(narrow), Print("%12.6lf", static_cast<double>(narrow))) << Print("%a", w);
    }
  }
}

TEST(FixedFormat, FloatsOfAnyBitsPrintAsInC) {
  std::mt19937 random(1);
  for (int i = 0; i < 1000000; ++i) {
    const auto value = std::bit_cast<float>(static_cast<uint32_t>(random()));
    ASSERT_TRUE(PrintsLikeC(value)) << Print("%a", static_cast<double>(value));
  }
}

TEST(FixedFormat, FloatsOfResidualSizePrintAsInC) {
  std::mt19937 random(2);
  std::uniform_real_distribution<float> exponent(-8, 5);
  for (int i = 0; i < 1000000; ++i) {
    const float value = std::pow(10.0f, exponent(random)) * (random() % 2 != 0 ? 1.0f : -1.0f);
    ASSERT_TRUE(PrintsLikeC(value)) << Print("%a", static_cast<double>(value));
  }
}

TEST(FixedFormat, TiesPrintAsInC) {
  // Every odd multiple of 2^-7 is a tie in the sixth decimal, and floats hold it below 2^17.
  for (int k = 1; k < 1000000; k += 2) {
    const double value = k * 0x1p-7;
    ASSERT_TRUE(PrintsLikeC(static_cast<float>(value))) << k;
    ASSERT_TRUE(PrintsLikeC(-value)) << k;
  }
}

TEST(FixedFormat, DoublesPrintAsInC) {
  std::mt19937_64 random(3);
  std::uniform_real_distribution<double> exponent(-9, 6);
  for (int i = 0; i < 1000000; ++i) {
    ASSERT_TRUE(PrintsLikeC(std::pow(10.0, exponent(random))));
    if (i % 10 != 0) continue;
    ASSERT_TRUE(PrintsLikeC(std::bit_cast<double>(static_cast<uint64_t>(random()))));
  }
}

TEST(FixedFormat, DoublesNextToTiesPrintAsInC) {
  // Decimal halves of the sixth decimal are no doubles, but their neighbours stand within an ulp of one.
  std::mt19937_64 random(4);
  for (int i = 0; i < 200000; ++i) {
    const double half = (static_cast<double>(random() % 9999999999) + 0.5) * 1e-6;
    ASSERT_TRUE(PrintsLikeC(half)) << Print("%a", half);
    ASSERT_TRUE(PrintsLikeC(-std::nextafter(half, 0.0))) << Print("%a", half);
    ASSERT_TRUE(PrintsLikeC(std::nextafter(half, kInf))) << Print("%a", half);
  }
}

TEST(NumberText, PrintsAsInC) {
  std::mt19937_64 random(5);
  std::uniform_real_distribution<double> exponent(-12, 12);
  for (int i = 0; i < 50000; ++i) {
    double value = std::pow(10.0, exponent(random)) * (random() % 2 != 0 ? 1 : -1);
    if (i % 2 == 0) value = std::bit_cast<double>(static_cast<uint64_t>(random()));
    std::string text;
    AppendScientific(text, value, 20, 9);
    AppendScientific(text, value, 20, 10);
    AppendFixed(text, value, 20, 10);
    AppendFixed(text, value, 15, 10);
    AppendFixed(text, value);
    char expected[2048];
    std::snprintf(expected, sizeof expected, "%20.9le%20.10le%20.10lf%15.10lf%12.6lf", value, value, value,
                  value, value);
    ASSERT_EQ(text, expected) << Print("%a", value);
  }
}

TEST(NumberText, SpecialValuesPrintAsInC) {
  for (const double value :
       {0.0, -0.0, kInf, -kInf, kNan, -kNan, 5e-324, std::numeric_limits<double>::max()}) {
    std::string text;
    AppendScientific(text, value, 20, 9);
    AppendFixed(text, value, 15, 10);
    EXPECT_EQ(text, Print("%20.9le%15.10lf", value, value));
  }
}

TEST(NumberText, IntegersAndWords) {
  std::string text;
  AppendInt(text, -7, 8);
  AppendInt(text, 123456789012, 8);
  AppendInt(text, 0);
  AppendPadded(text, "P1", 8);
  AppendPadded(text, "a_long_name", 8);
  EXPECT_EQ(text, Print("%8d%8lld%d%8s%8s", -7, 123456789012LL, 0, "P1", "a_long_name"));
}

}  // namespace
}  // namespace orvo
