// The scanner against the C library.
#include "base/Scan.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>

namespace orvo {
namespace {

const char* const kAwkward[] = {"",
                                " ",
                                "12abc",
                                ".5",
                                "5.",
                                ".",
                                "-.",
                                "+.",
                                "1e5",
                                "1e",
                                "1e+",
                                "1e-",
                                "1e5.5",
                                "+1",
                                "-0",
                                "-0.0",
                                "+-1",
                                "-+1",
                                "++1",
                                "--1",
                                "- 1",
                                "+ 1",
                                "inf",
                                "-inf",
                                "+inf",
                                "Infinity",
                                "infinit",
                                "INF",
                                "nan",
                                "-nan",
                                "NaN",
                                "nan(abc)",
                                "nan(",
                                "nan(a b)",
                                "nan()",
                                "0x1p3",
                                "0X1P3",
                                "-0x1p3",
                                "+0x1p3",
                                "0x",
                                "0xg",
                                "0x.8",
                                "0x.",
                                "0x1.8p-1",
                                "0x1p",
                                "0x-1",
                                "0x+1",
                                "0x 1",
                                "0xinf",
                                "0xnan",
                                "00x1",
                                "1x1",
                                "0x1p+-2",
                                "0x1p-+2",
                                "0x1p+",
                                "0x1p-",
                                "0x1p++2",
                                "0x1p--2",
                                "0x1p+2",
                                "0x1P+-2",
                                "1e+-2",
                                "1e-+2",
                                "0x1 p+-2",
                                "0x1p99999",
                                "0x1p-99999",
                                "0x0p99999",
                                "-0x1p99999",
                                "1e400",
                                "-1e400",
                                "1e-400",
                                "-1e-400",
                                "1e308",
                                "1.8e308",
                                "4e-324",
                                "2e-324",
                                "2.2250738585072011e-308",
                                "1e99999999999999999999",
                                "1e-99999999999999999999",
                                "0e99999999999999999999",
                                "0.0e400",
                                "\t\n\v\f\r 7",
                                "7\r",
                                "1,5",
                                "1_000",
                                "0.1",
                                "123456789012345678901234567890",
                                "9007199254740993",
                                "0.000000000000000000000000000000000000000000001e400",
                                "1d5",
                                "1E5",
                                "e5",
                                "0",
                                "00012",
                                "1.7976931348623159e308"};

/// The text of strtod without a leading blank, and how much of it was used.
void ExpectRealLikeLibrary(const std::string& text) {
  char* end = nullptr;
  const double expected = std::strtod(text.c_str(), &end);
  const bool parses = end != text.c_str();
  const double value = ParseReal(text);
  if (std::isnan(expected)) {
    EXPECT_TRUE(std::isnan(value)) << "\"" << text << "\"";
  } else {
    EXPECT_EQ(std::bit_cast<uint64_t>(expected), std::bit_cast<uint64_t>(value))
        << "\"" << text << "\" " << expected << " " << value;
  }
  FieldScanner fields(text);
  double field = -77;
  EXPECT_EQ(parses, fields.Real(field)) << "\"" << text << "\"";
  if (!parses) {
    EXPECT_EQ(-77, field);
    return;
  }
  // What follows the number must be what the library left.
  std::string_view rest;
  const std::string left = end;
  const size_t begin = left.find_first_not_of(" \t\n\v\f\r");
  const bool hasRest = begin != std::string::npos;
  ASSERT_EQ(hasRest, fields.Word(rest)) << "\"" << text << "\"";
  if (hasRest) {
    EXPECT_EQ(left.substr(begin, left.find_first_of(" \t\n\v\f\r", begin) - begin), rest)
        << "\"" << text << "\"";
  }
}

void ExpectIntLikeLibrary(const std::string& text) {
  char* end = nullptr;
  const long long expected = std::strtoll(text.c_str(), &end, 10);
  const auto saturated =
      static_cast<int32_t>(std::min<long long>(std::max<long long>(expected, INT32_MIN), INT32_MAX));
  EXPECT_EQ(saturated, ParseInt(text)) << "\"" << text << "\"";
  int64_t wide = -77;
  EXPECT_EQ(end != text.c_str(), FieldScanner(text).Int(wide)) << "\"" << text << "\"";
  EXPECT_EQ(end != text.c_str() ? expected : -77, wide) << "\"" << text << "\"";
}

TEST(Scan, AwkwardTextsLikeTheLibrary) {
  for (const char* text : kAwkward) {
    ExpectRealLikeLibrary(text);
    ExpectIntLikeLibrary(text);
    ExpectRealLikeLibrary(std::string("  ") + text + " next");
    ExpectIntLikeLibrary(std::string("\t") + text + " next");
  }
}

TEST(Scan, VeryLongNumbers) {
  const std::string zeros(600, '0'), nines(600, '9');
  for (const std::string& text : {nines, "0." + zeros + "1", zeros + "5", "1" + zeros + "e-600",
                                  "0." + zeros + "1e601", nines + "." + nines, "0." + zeros + "7e900",
                                  "1" + zeros + "e-1000", "-" + nines, "1." + zeros + "1"}) {
    ExpectRealLikeLibrary(text);
    ExpectIntLikeLibrary(text);
  }
}

TEST(Scan, RandomTextsLikeTheLibrary) {
  std::mt19937 random(1);
  const std::string letters = "0123456789012345678901234567890..ee+-+- xXpPinfa\t,";
  std::uniform_int_distribution<size_t> letter(0, letters.size() - 1), length(0, 14);
  for (int i = 0; i < 200000 && !testing::Test::HasFailure(); ++i) {
    std::string text(length(random), ' ');
    for (char& c : text) c = letters[letter(random)];
    ExpectRealLikeLibrary(text);
    ExpectIntLikeLibrary(text);
  }
}

TEST(Scan, RandomNumbersComeBackExactly) {
  std::mt19937_64 random(2);
  char text[64];
  for (int i = 0; i < 100000; ++i) {
    const double value = std::bit_cast<double>(random());
    std::snprintf(text, sizeof text, "%.17g", value);
    if (std::isnan(value)) {
      EXPECT_TRUE(std::isnan(ParseReal(text)));
    } else {
      ASSERT_EQ(value, ParseReal(text)) << text;
    }
    std::snprintf(text, sizeof text, "%.9f", static_cast<double>(static_cast<int64_t>(random())) * 1e-12);
    ASSERT_EQ(std::strtod(text, nullptr), ParseReal(text)) << text;
  }
}

TEST(Scan, IntegersSaturate) {
  EXPECT_EQ(INT32_MAX, ParseInt("2147483648"));
  EXPECT_EQ(INT32_MIN, ParseInt("-2147483649"));
  EXPECT_EQ(INT32_MAX, ParseInt("99999999999999999999999"));
  EXPECT_EQ(2147483647, ParseInt("+2147483647"));
}

TEST(Scan, AFieldThatFailsStopsTheLine) {
  FieldScanner fields("1 x 3 4");
  int32_t a = -1, b = -1, c = -1;
  double d = -1;
  EXPECT_TRUE(fields.Int(a));
  EXPECT_FALSE(fields.Int(b));
  EXPECT_FALSE(fields.Int(c));
  EXPECT_FALSE(fields.Real(d));
  std::string_view word = "kept";
  EXPECT_FALSE(fields.Word(word));
  EXPECT_EQ(1, a);
  EXPECT_EQ(-1, b);
  EXPECT_EQ(-1, c);
  EXPECT_EQ(-1, d);
  EXPECT_EQ("kept", word);
}

TEST(Scan, FieldsNeedNoBlankBetweenThem) {
  FieldScanner fields("12abc 3.5-4");
  int32_t a = 0;
  double b = 0, c = 0;
  std::string_view word;
  EXPECT_TRUE(fields.Int(a) && fields.Word(word) && fields.Real(b) && fields.Real(c));
  EXPECT_EQ(12, a);
  EXPECT_EQ("abc", word);
  EXPECT_EQ(3.5, b);
  EXPECT_EQ(-4.0, c);
}

TEST(Scan, ANulEndsANumberAndNothingElse) {
  FieldScanner fields(std::string_view("5\0 6", 4));
  int32_t a = 0, b = -1;
  EXPECT_TRUE(fields.Int(a));
  EXPECT_FALSE(fields.Int(b));
  EXPECT_EQ(5, a);
}

}  // namespace
}  // namespace orvo
