// Bytes of LAS files, held to the places that the format gives them.
#include "exchange/views/Las.h"

#include <gtest/gtest.h>

#include "exchange/VerticalBlock.h"
#include "exchange/WrittenText.h"
#include "exchange/crs/CoordinateSystems.h"
#include "exchange/crs/WktText.h"

namespace orvo::test {
namespace {

using namespace exchange;

SurveyBlock ThreePoints() {
  VerticalLayout layout;
  layout.nStrips = 1;
  layout.nImages = 2;
  SurveyBlock block = MakeVerticalBlock(layout);
  block.Tie = {};
  AddPoint(block, block.Tie, "A", {100.25, -7, 50}, 0);
  AddPoint(block, block.Tie, "B", {120, -30.5, 60}, 0);
  AddPoint(block, block.Control, "C", {80, 20, 40.125}, 1);
  return block;
}

template <typename Number>
void ExpectAt(const std::string& bytes, size_t offset, Number expected) {
  EXPECT_EQ(NumberAt<Number>(bytes, offset), expected) << "at byte " << offset;
}

std::string WrittenLas(const SurveyBlock& block, const LasHead& head) {
  return Written([&](TextWriter& file) { EXPECT_TRUE(WriteLas(ViewOf(block), head, file)); });
}

TEST(Las, HeaderStandsWhereTheFormatHasIt) {
  const std::string bytes = WrittenLas(ThreePoints(), {2026, 73, ""});
  EXPECT_EQ(bytes.substr(0, 4), "LASF");
  ExpectAt<uint16_t>(bytes, 4, 0);
  ExpectAt<uint16_t>(bytes, 6, 16);  // coordinate systems as WKT
  ExpectAt<uint8_t>(bytes, 24, 1);
  ExpectAt<uint8_t>(bytes, 25, 4);
  EXPECT_EQ(bytes.substr(58, 5), std::string("Orvo\0", 5));
  ExpectAt<uint16_t>(bytes, 90, 73);
  ExpectAt<uint16_t>(bytes, 92, 2026);
  ExpectAt<uint16_t>(bytes, 94, 375);
  ExpectAt<uint32_t>(bytes, 96, 375 + 54 + 2 * 192);
  ExpectAt<uint32_t>(bytes, 100, 1);
  ExpectAt<uint8_t>(bytes, 104, 6);
  ExpectAt<uint16_t>(bytes, 105, 36);
  for (size_t offset = 107; offset < 131; offset += 4) ExpectAt<uint32_t>(bytes, offset, 0);
  for (size_t c = 0; c < 3; ++c) ExpectAt<double>(bytes, 131 + 8 * c, 1e-4);
  for (size_t c = 0; c < 3; ++c) ExpectAt<double>(bytes, 155 + 8 * c, 0);
  const double most[] = {120, 20, 60}, least[] = {80, -30.5, 40.125};
  for (size_t c = 0; c < 3; ++c) {
    EXPECT_NEAR(NumberAt<double>(bytes, 179 + 16 * c), most[c], 1e-9);
    EXPECT_NEAR(NumberAt<double>(bytes, 187 + 16 * c), least[c], 1e-9);
  }
  ExpectAt<uint64_t>(bytes, 227, 0);
  ExpectAt<uint64_t>(bytes, 235, 0);
  ExpectAt<uint32_t>(bytes, 243, 0);
  ExpectAt<uint64_t>(bytes, 247, 3);
  ExpectAt<uint64_t>(bytes, 255, 3);
  for (size_t offset = 263; offset < 375; offset += 8) ExpectAt<uint64_t>(bytes, offset, 0);
}

TEST(Las, ExtraBytesAreDescribed) {
  const std::string bytes = WrittenLas(ThreePoints(), {});
  EXPECT_EQ(bytes.substr(375 + 2, 10), std::string("LASF_Spec\0", 10));
  ExpectAt<uint16_t>(bytes, 375 + 18, 4);
  ExpectAt<uint16_t>(bytes, 375 + 20, 384);
  const size_t first = 375 + 54;
  ExpectAt<uint8_t>(bytes, first + 2, 9);  // float
  EXPECT_EQ(bytes.substr(first + 4, 4), std::string("rms\0", 4));
  ExpectAt<uint8_t>(bytes, first + 192 + 2, 3);  // unsigned short
  EXPECT_EQ(bytes.substr(first + 192 + 4, 5), std::string("rays\0", 5));
}

TEST(Las, PointsAreWholeMultiplesFromTheOffset) {
  const std::string bytes = WrittenLas(ThreePoints(), {});
  const size_t body = NumberAt<uint32_t>(bytes, 96);
  ASSERT_EQ(bytes.size(), body + 3 * 36);
  const int32_t expected[3][3] = {
      {1002500, -70000, 500000}, {1200000, -305000, 600000}, {800000, 200000, 401250}};
  for (size_t k = 0; k < 3; ++k) {
    const size_t at = body + 36 * k;
    for (size_t c = 0; c < 3; ++c) ExpectAt<int32_t>(bytes, at + 4 * c, expected[k][c]);
    ExpectAt<uint8_t>(bytes, at + 14, 0x11);
    ExpectAt<uint8_t>(bytes, at + 15, k == 2 ? 2 : 0);
    ExpectAt<uint8_t>(bytes, at + 16, 1);
    EXPECT_NEAR(NumberAt<float>(bytes, at + 30), 0, 1e-6);
    ExpectAt<uint16_t>(bytes, at + 34, 2);
  }
}

TEST(Las, CoordinateSystemIsARecord) {
  const std::string wkt = "PROJCS[\"made up\"]";
  const std::string bytes = WrittenLas(ThreePoints(), {0, 0, wkt});
  ExpectAt<uint32_t>(bytes, 100, 2);
  const size_t record = 375 + 54 + 384;
  EXPECT_EQ(bytes.substr(record + 2, 16), std::string("LASF_Projection\0", 16));
  ExpectAt<uint16_t>(bytes, record + 18, 2112);
  ExpectAt<uint16_t>(bytes, record + 20, static_cast<uint16_t>(wkt.size() + 1));
  EXPECT_EQ(bytes.substr(record + 54, wkt.size() + 1), wkt + '\0');
  ExpectAt<uint32_t>(bytes, 96, static_cast<uint32_t>(record + 54 + wkt.size() + 1));
}

TEST(Las, GridsHoldWhatTheyAreMadeFor) {
  struct Case {
    double dLeast, dMost, dScale, dOffset;
    bool bDegrees = false;
  };
  const Case cases[] = {{-40, 60, 1e-4, 0},           {3811000.25, 3811900, 1e-4, 3811000},
                        {0, 150000, 1e-4, 75000},     {0, 450000, 1e-3, 225000},
                        {-6e6, 6e6, 0.01, 0},         {-119.8805, -119.8795, 1e-9, -120, true},
                        {34.4, 35.3, 1e-9, 35, true}, {-180, 180, 1e-6, 0, true}};
  for (const Case& each : cases) {
    const auto grid = GridOf({each.dLeast, 0, 0}, {each.dMost, 0, 0}, each.bDegrees);
    ASSERT_TRUE(grid);
    EXPECT_DOUBLE_EQ(grid->Scale[2], 1e-4);
    EXPECT_DOUBLE_EQ(grid->Scale[0], each.dScale) << each.dMost;
    EXPECT_EQ(grid->Offset[0], each.dOffset) << each.dMost;
    EXPECT_LT((each.dMost - grid->Offset[0]) / grid->Scale[0], 2147483647.0);
  }
  EXPECT_FALSE(GridOf({0, 0, 0}, {1e300, 0, 0}));
  EXPECT_FALSE(GridOf({std::nan(""), 0, 0}, {1, 0, 0}));
}

TEST(Las, WhatFitsNoGridIsNotWritten) {
  SurveyBlock block = ThreePoints();
  ViewBlock view = ViewOf(block);
  view.Tie[0].P[0] = 1e200;
  const std::string bytes = Written([&](TextWriter& file) { EXPECT_FALSE(WriteLas(view, {}, file)); });
  EXPECT_TRUE(bytes.empty());
}

TEST(Las, EverySystemHasItsText) {
  if (!HasCoordinateSystems()) GTEST_SKIP() << "built without PROJ";
  const struct {
    const char *szCrs, *szBegins;
  } rows[] = {{"EPSG:32611", "PROJCS[\"WGS 84 / UTM zone 11N\""},
              {"EPSG:4326", "GEOGCS[\"WGS 84\""},
              {"EPSG:25832+7837", "COMPD_CS["},
              {"EPSG:4979", "COMPD_CS["}};
  for (const auto& row : rows) {
    const std::string wkt = WktOf(row.szCrs);
    EXPECT_TRUE(wkt.starts_with(row.szBegins)) << row.szCrs << " " << wkt;
  }
}

}  // namespace
}  // namespace orvo::test
