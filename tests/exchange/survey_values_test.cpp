// Tables, values as cameras print them, and strips.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "exchange/ExchangeFault.h"
#include "exchange/survey/DelimitedTable.h"
#include "exchange/survey/ExifValues.h"
#include "exchange/survey/GcpSource.h"
#include "exchange/survey/Strips.h"
#include "support/TestFiles.h"

namespace orvo::exchange {
namespace {

using test::ScratchFolder;
using test::WriteFile;

TEST(SurveyValues, Fields) {
  const struct {
    const char* line;
    char delimiter;
    bool good;
    std::vector<std::string> fields;
  } rows[] = {
      {"a,b,c", ',', true, {"a", "b", "c"}},
      {" a , b ,", ',', true, {"a", "b", ""}},
      {"", ',', true, {""}},
      {"\"a,b\",c", ',', true, {"a,b", "c"}},
      {"\"a\"\"b\" ;c", ';', true, {"a\"b", "c"}},
      {"a\t\tb", '\t', true, {"a", "", "b"}},
      {"\"a", ',', false, {}},
      {"\"a\"b,c", ',', false, {}},
      {"41 deg 2' 11.4\" N,x", ',', true, {"41 deg 2' 11.4\" N", "x"}},
  };
  for (const auto& row : rows) {
    std::vector<std::string> fields;
    EXPECT_EQ(SplitFields(row.line, row.delimiter, fields), row.good) << row.line;
    if (row.good) {
      EXPECT_EQ(fields, row.fields) << row.line;
    }
  }
}

TEST(SurveyValues, NoMoreFieldsThanATableHas) {
  std::vector<std::string> fields;
  EXPECT_TRUE(SplitFields(std::string(kMostFields - 1, ','), ',', fields));
  EXPECT_EQ(fields.size(), kMostFields);
  EXPECT_FALSE(SplitFields(std::string(kMostFields, ','), ',', fields));
  EXPECT_EQ(BlankFields(" a\tb  c d", 3), (std::vector<std::string>{"a", "b", "c"}));
}

TEST(SurveyValues, Numbers) {
  const struct {
    const char* text;
    bool commas;
    std::optional<double> value;
  } rows[] = {{"1.5", false, 1.5},  {"-2", false, -2},    {"+3", false, 3},      {"1e3", false, 1000},
              {"1,5", true, 1.5},   {"1,5", false, {}},   {"1.000,5", true, {}}, {"1,000,5", true, {}},
              {"", false, {}},      {"12abc", false, {}}, {"nan", false, {}},    {"inf", false, {}},
              {"1e999", false, {}}, {"+-1", false, {}},   {" 1", false, {}},     {"0x10", false, {}}};
  for (const auto& row : rows) EXPECT_EQ(NumberIn(row.text, row.commas), row.value) << row.text;
}

TEST(SurveyValues, Degrees) {
  const struct {
    const char *text, *reference;
    std::optional<double> value;
  } rows[] = {
      {"41.0365", "", 41.0365},
      {"-41.0365", "", -41.0365},
      {"41.0365", "South", -41.0365},
      {"41.0365", "N", 41.0365},
      {"-81.5", "West", -81.5},
      {"41.0365 S", "North", -41.0365},
      {"41 deg 2' 11.40\" N", "", 41 + 2 / 60.0 + 11.4 / 3600},
      {"81 deg 45' 7.92\" W", "", -(81 + 45 / 60.0 + 7.92 / 3600)},
      {"81 deg 45' 7.92\"", "West", -(81 + 45 / 60.0 + 7.92 / 3600)},
      {"0 deg 30' 0.00\" S", "", -0.5},
      {"41\xC2\xB0 30' N", "", 41.5},
      {"41 deg N", "", 41.0},
      {"41 2 11.4 N", "", 41 + 2 / 60.0 + 11.4 / 3600},
      {"81  45 7.92", "W", -(81 + 45 / 60.0 + 7.92 / 3600)},
      {"-81 45 7.92", "", -(81 + 45 / 60.0 + 7.92 / 3600)},
      {"41\xC2\xB0"
       "2'11.4\"N",
       "", 41 + 2 / 60.0 + 11.4 / 3600},
      {"41\xC2\xB0"
       "2\xE2\x80\xB2"
       "11.4\xE2\x80\xB3S",
       "", -(41 + 2 / 60.0 + 11.4 / 3600)},
      {"41\xC2\xBA 2' 11.4'' N", "", 41 + 2 / 60.0 + 11.4 / 3600},
      {"41 2", "", {}},
      {"41 2 N", "", {}},
      {"41.5 2 11", "", {}},
      {"41 2.5 11", "", {}},
      {"41 2 11 5", "", {}},
      {"41 60 11", "", {}},
      {"41 -2 11", "", {}},
      {"41,2,11", "", {}},
      {"41 deg 2' 11.40\" X", "", {}},
      {"41 deg 60' 0\" N", "", {}},
      {"41 deg 2 11", "", {}},
      {"-41 S", "", {}},
      {"", "", {}},
      {"N", "", {}},
      {"nan", "", {}},
      {"41,5", "", {}},
  };
  for (const auto& row : rows) {
    const auto found = DegreesIn(row.text, row.reference);
    ASSERT_EQ(found.has_value(), row.value.has_value()) << row.text;
    if (found) {
      EXPECT_NEAR(*found, *row.value, 1e-12) << row.text;
    }
  }
  EXPECT_EQ(DegreesIn("41,5", "", true), 41.5);
}

TEST(SurveyValues, Metres) {
  const struct {
    const char *text, *reference;
    std::optional<double> value;
  } rows[] = {{"123.4", "", 123.4},
              {"123.4 m", "", 123.4},
              {"123.4 m Above Sea Level", "", 123.4},
              {"12 m Below Sea Level", "", -12},
              {"12", "1", -12},
              {"12 m", "Below Sea Level", -12},
              {"12", "Above Sea Level", 12},
              {"-3.5 m", "", -3.5},
              {"12 ft", "", {}},
              {"", "", {}},
              {"undef", "", {}},
              {"inf m", "", {}}};
  for (const auto& row : rows) EXPECT_EQ(MetresIn(row.text, row.reference), row.value) << row.text;
}

TEST(SurveyValues, Times) {
  const struct {
    const char* text;
    std::optional<double> value;
  } rows[] = {{"1970:01:01 00:00:00", 0},
              {"2023:05:01 10:11:12.5", 1682935872.5},
              {"2023-05-01T10:11:12.5Z", 1682935872.5},
              {"2023:05:01 12:11:12.5+02:00", 1682935872.5},
              {"2023:05:01 04:41:12.5-0530", 1682935872.5},
              {"17.25", 17.25},
              {"2023:02:30 10:11:12", {}},
              {"2023:13:01 10:11:12", {}},
              {"2023:05:01", {}},
              {"2023:05:01 10:11", {}},
              {"2023:05:01 99:11:12", {}},
              {"2023:05:01 10:11:12 x", {}},
              {"0000:00:00 00:00:00", {}},
              {"yesterday", {}},
              {"", {}}};
  for (const auto& row : rows) EXPECT_EQ(SecondsIn(row.text), row.value) << row.text;
}

TEST(SurveyValues, SystemsOfLists) {
  const struct {
    const char* line;
    std::optional<std::string> system;
  } rows[] = {{"EPSG:32611", "EPSG:32611"},
              {" epsg:25832+7837 ", "EPSG:25832+7837"},
              {"+proj=utm +zone=16 +datum=WGS84", "+proj=utm +zone=16 +datum=WGS84"},
              {"WGS84 UTM 16N", "EPSG:32616"},
              {"WGS84 UTM 6S", "EPSG:32706"},
              {"WGS84", "EPSG:4326"},
              {"WGS84 UTM 61N", {}},
              {"WGS84 UTM N", {}},
              {"name,x,y,z", {}}};
  for (const auto& row : rows) EXPECT_EQ(SystemOfLine(row.line), row.system) << row.line;
}

/// Strips as lists of names: "ab cde".
std::string StripsOf(const std::vector<StripImage>& images) {
  std::string text;
  for (const Strip& strip : FindStrips(images)) {
    if (!text.empty()) text += ' ';
    for (const size_t i : strip.Images) text += images[i].szName;
  }
  return text;
}

TEST(Strips, HeadingsAndGaps) {
  const auto at = [](const char* name, double east, double north, std::optional<double> seconds = {}) {
    return StripImage{name, east, north, seconds};
  };
  const struct {
    const char* what;
    std::vector<StripImage> images;
    const char* strips;
  } rows[] = {
      {"none", {}, ""},
      {"one", {at("a", 0, 0)}, "a"},
      {"two", {at("a", 0, 0), at("b", 0, 10)}, "ab"},
      {"one line", {at("a", 0, 0), at("b", 1, 10), at("c", -1, 20), at("d", 0, 30)}, "abcd"},
      {"there and back",
       {at("a", 0, 0), at("b", 0, 10), at("c", 0, 20), at("d", 10, 20), at("e", 10, 10), at("f", 10, 0)},
       "abc def"},
      {"an image in the turn",
       {at("a", 0, 0), at("b", 0, 10), at("c", 0, 20), at("d", 10, 20), at("e", 20, 20), at("f", 20, 10),
        at("g", 20, 0)},
       "abc d efg"},
      {"a far gap in one direction",
       {at("a", 0, 0), at("b", 0, 10), at("c", 0, 20), at("d", 0, 60), at("e", 0, 70), at("f", 0, 80)},
       "abc def"},
      {"a long gap in one direction",
       {at("a", 0, 0, 0), at("b", 0, 10, 2), at("c", 0, 20, 4), at("d", 0, 30, 60), at("e", 0, 40, 62),
        at("f", 0, 50, 64)},
       "abc def"},
      {"times before the order of the file",
       {at("c", 0, 20, 4), at("a", 0, 0, 0), at("b", 0, 10, 2), at("d", 0, 30, 6)},
       "abcd"},
      {"one without a time: the order of the file",
       {at("a", 0, 0, 9), at("b", 0, 10, 2), at("c", 0, 20), at("d", 0, 30, 6)},
       "abcd"},
      {"standing still", {at("a", 0, 0), at("b", 0, 0), at("c", 0, 0)}, "abc"},
      {"a hover on the line",
       {at("a", 0, 0), at("b", 0, 10), at("c", 0.5, 10), at("d", 0, 20), at("e", 0, 30)},
       "abcde"},
      {"a gentle bend", {at("a", 0, 0), at("b", 0, 10), at("c", 3, 19), at("d", 7, 28)}, "abcd"},
  };
  for (const auto& row : rows) EXPECT_EQ(StripsOf(row.images), row.strips) << row.what;
}

/// A block of 8 lines of 20 images, flown there and back, with noise of a metre.
TEST(Strips, Block) {
  std::vector<StripImage> images;
  for (int line = 0; line < 8; ++line) {
    for (int i = 0; i < 20; ++i) {
      const double along = 20.0 * (line % 2 == 0 ? i : 19 - i);
      const double noise = std::sin(12.9898 * (20 * line + i));
      images.push_back({"i", 60.0 * line + noise, along + noise, 3.0 * (20 * line + i)});
    }
  }
  const std::vector<Strip> strips = FindStrips(images);
  ASSERT_EQ(strips.size(), 8u);
  for (size_t s = 0; s < strips.size(); ++s) {
    EXPECT_EQ(strips[s].Images.size(), 20u);
    EXPECT_EQ(strips[s].Images.front(), 20 * s);
    const double expected = s % 2 == 0 ? 0 : 180;
    EXPECT_NEAR(std::remainder(strips[s].dHeading - expected, 360), 0, 1);
  }
}

TEST(Strips, LinesForPeople) {
  const std::vector<StripImage> images = {{"a", 0, 0, {}}, {"b\n", 10, 0, {}}, {"c", 50, 0, {}}};
  const std::vector<int64_t> numbers = {7, 7, 0};
  const std::vector<Strip> strips = StripsByNumber(images, numbers);
  ASSERT_EQ(strips.size(), 2u);
  EXPECT_EQ(LineOf(strips[0], 1, images), "Strip 1: 2 images, a to b\\x0a, heading 90 degrees");
  EXPECT_EQ(LineOf(strips[1], 2, images), "Strip 2: 1 image, c, which is alone and will not be observed");
}

}  // namespace
}  // namespace orvo::exchange
