#include "report/html/Numbers.h"

#include <gtest/gtest.h>

#include <cmath>

#include "report/RunFigures.h"

namespace orvo::report {
namespace {

const std::string kNone = "\xe2\x80\x93";

TEST(Numbers, CountsThatNobodyKnowsAreADash) {
  EXPECT_EQ(CountText(kUnknownCount), "\xe2\x80\x93");
  EXPECT_EQ(CountText(0), "0");
  EXPECT_EQ(CountText(1234567), "1,234,567");
}

TEST(Numbers, FixedAndSigned) {
  struct {
    double fValue;
    int nDecimals;
    std::string szFixed, szSigned;
  } const cases[] = {{12.3, 2, "12.30", "+12.30"},
                     {-0.5, 1, "-0.5", "-0.5"},
                     {-0.001, 2, "0.00", "0.00"},
                     {0.001, 2, "0.00", "0.00"},
                     {0, 0, "0", "0"},
                     {1e6, 0, "1000000", "+1000000"},
                     {NAN, 2, kNone, kNone},
                     {INFINITY, 0, kNone, kNone},
                     {999999999, 1, "999999999.0", "+999999999.0"},
                     {1e9, 1, "1.00e+09", "+1.00e+09"},
                     {-4227654288.1, 1, "-4.23e+09", "-4.23e+09"},
                     {8.54e116, 2, "8.54e+116", "+8.54e+116"}};
  for (const auto& c : cases) {
    EXPECT_EQ(Fixed(c.fValue, c.nDecimals), c.szFixed);
    EXPECT_EQ(Signed(c.fValue, c.nDecimals), c.szSigned);
  }
}

TEST(Numbers, Thousands) {
  struct {
    int64_t nValue;
    std::string szText;
  } const cases[] = {
      {0, "0"},       {999, "999"},           {1000, "1,000"},     {-1000, "-1,000"},
      {-999, "-999"}, {1234567, "1,234,567"}, {100000, "100,000"}, {INT64_MIN, "-9,223,372,036,854,775,808"}};
  for (const auto& c : cases) EXPECT_EQ(Thousands(c.nValue), c.szText);
  EXPECT_EQ(Thousands(-4200000.5, 2), "-4,200,000.50");
  EXPECT_EQ(Thousands(999.996, 2), "1,000.00");
  EXPECT_EQ(Thousands(NAN, 2), kNone);
  EXPECT_EQ(Thousands(-1.5e150, 2), "-1.50e+150");
}

TEST(Numbers, SignificantAndShort) {
  struct {
    double fValue;
    int nDigits;
    std::string szSignificant, szShort;
  } const cases[] = {{0.04, 3, "0.0400", "0.04"},
                     {120, 3, "120", "120"},
                     {1234.5, 3, "1234", "1234"},
                     {0, 3, "0.00", "0"},
                     {3.7e-5, 2, "3.7e-05", "3.7e-05"},
                     {1.5e9, 2, "1.5e+09", "1.5e+09"},
                     {-0.5, 2, "-0.50", "-0.5"},
                     {NAN, 3, kNone, kNone},
                     {10, 3, "10.0", "10"}};
  for (const auto& c : cases) {
    EXPECT_EQ(Significant(c.fValue, c.nDigits), c.szSignificant);
    EXPECT_EQ(Short(c.fValue, c.nDigits), c.szShort);
  }
}

TEST(Numbers, SharesTimesAndSizes) {
  EXPECT_EQ(Share(1, 3), "33.3 %");
  EXPECT_EQ(Share(0, 0), "0.0 %");
  EXPECT_EQ(Share(2, 3, 2), "66.67 %");
  struct {
    double fSeconds;
    std::string szText;
  } const times[] = {{0.0004, "0.000 s"}, {0.25, "0.25 s"},     {1.25, "1.2 s"},        {9.96, "10 s"},
                     {59.4, "59 s"},      {59.6, "1 min 00 s"}, {3599.6, "1 h 00 min"}, {7500, "2 h 05 min"},
                     {-1, kNone},         {NAN, kNone},         {INFINITY, kNone}};
  for (const auto& c : times) EXPECT_EQ(Duration(c.fSeconds), c.szText);
  struct {
    int64_t nBytes;
    std::string szText;
  } const sizes[] = {{0, "0 bytes"},     {1, "1 byte"},         {998, "998 bytes"},    {4711, "4.7 kB"},
                     {999600, "1.0 MB"}, {123456789, "123 MB"}, {8589934592, "8.6 GB"}};
  for (const auto& c : sizes) EXPECT_EQ(Bytes(c.nBytes), c.szText);
  EXPECT_EQ(Counted(1, "image"), "1 image");
  EXPECT_EQ(Counted(1200, "image"), "1,200 images");
}

}  // namespace
}  // namespace orvo::report
