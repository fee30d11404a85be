// The map, held to what RFC 7946 asks.
#include "exchange/views/GeoJson.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "exchange/VerticalBlock.h"
#include "exchange/WrittenText.h"
#include "exchange/views/Footprint.h"

namespace orvo::test {
namespace {

using namespace exchange;
using Json = nlohmann::json;

/// A map where a degree is 100 km, around a middle.
PlaceOnEarth MapAround(double longitude, double latitude) {
  return [=](const std::array<double, 3>& P) {
    double east = longitude + P[0] / 1e5;
    if (east > 180) east -= 360;
    return std::array{east, latitude + P[1] / 1e5, P[2]};
  };
}

SurveyBlock BlockWithControl() {
  VerticalLayout layout;
  layout.nStrips = 2;
  layout.nImages = 3;
  SurveyBlock block = MakeVerticalBlock(layout);
  AddPoint(block, block.Control, "C", {80, 20, 50}, 1);
  AddPoint(block, block.Control, "D", {90, 120, 50}, 2);
  block.Control.Points[0].P = {80, 20.5, 50};
  return block;
}

Json MapOf(const SurveyBlock& block, const PlaceOnEarth& map) {
  return Json::parse(Written([&](TextWriter& file) { WriteGeoJson(ViewOf(block), map, file); }));
}

double SignedArea(const Json& ring) {
  double sum = 0;
  for (size_t k = 0; k + 1 < ring.size(); ++k) {
    sum += ring[k][0].get<double>() * ring[k + 1][1].get<double>() -
           ring[k + 1][0].get<double>() * ring[k][1].get<double>();
  }
  return sum / 2;
}

TEST(GeoJson, HasAFeatureForEverything) {
  const Json map = MapOf(BlockWithControl(), MapAround(10, 50));
  EXPECT_EQ(map["type"], "FeatureCollection");
  EXPECT_FALSE(map.contains("crs"));
  std::map<std::string, int> kinds;
  for (const Json& feature : map["features"]) {
    EXPECT_EQ(feature["type"], "Feature");
    ++kinds[feature["properties"]["kind"]];
  }
  EXPECT_EQ(kinds, (std::map<std::string, int>{
                       {"centre", 6}, {"footprint", 6}, {"control", 1}, {"check", 1}, {"difference", 2}}));
}

TEST(GeoJson, FootprintsAreClosedAndCounterClockwise) {
  const Json map = MapOf(BlockWithControl(), MapAround(10, 50));
  int polygons = 0;
  for (const Json& feature : map["features"]) {
    if (feature["properties"]["kind"] != "footprint") continue;
    ++polygons;
    EXPECT_EQ(feature["geometry"]["type"], "Polygon");
    const Json& ring = feature["geometry"]["coordinates"][0];
    ASSERT_EQ(ring.size(), 5u);
    EXPECT_EQ(ring.front(), ring.back());
    // 600 by 800 metres at 100 km a degree.
    EXPECT_NEAR(SignedArea(ring), 48e-6, 1e-10);
    EXPECT_NEAR(feature["properties"]["area"].get<double>(), 480000, 0.1);
    EXPECT_NEAR(feature["properties"]["ground"].get<double>(), 50, 1e-4);
  }
  EXPECT_EQ(polygons, 6);
}

TEST(GeoJson, TurnsPolygonsOfAMirroredMap) {
  const PlaceOnEarth mirrored = [](const std::array<double, 3>& P) {
    return std::array{10 - P[0] / 1e5, 50 + P[1] / 1e5, P[2]};
  };
  const Json map = MapOf(BlockWithControl(), mirrored);
  for (const Json& feature : map["features"]) {
    if (feature["properties"]["kind"] != "footprint") continue;
    EXPECT_GT(SignedArea(feature["geometry"]["coordinates"][0]), 0);
  }
}

TEST(GeoJson, DifferencesAreDrawnLarger) {
  const SurveyBlock block = BlockWithControl();
  // A twentieth of hypot(400, 480), over half a metre, is 62.5.
  EXPECT_EQ(ExaggerationOf(ViewOf(block)), 50);
  const Json map = MapOf(block, MapAround(10, 50));
  for (const Json& feature : map["features"]) {
    if (feature["properties"]["kind"] != "difference" || feature["properties"]["point"] != "C") continue;
    EXPECT_NEAR(feature["properties"]["dY"].get<double>(), -0.5, 1e-6);
    const Json& line = feature["geometry"]["coordinates"];
    EXPECT_EQ(feature["geometry"]["type"], "LineString");
    EXPECT_NEAR(line[0][1].get<double>(), 50 + 20.5e-5, 1e-9);
    EXPECT_NEAR(line[1][1].get<double>(), 50 + (20.5 - 25) / 1e5, 1e-9);
    return;
  }
  FAIL() << "no difference of C";
}

TEST(GeoJson, CutsAtTheAntimeridian) {
  const Json map = MapOf(BlockWithControl(), MapAround(179.9985, 10));
  int cut = 0;
  for (const Json& feature : map["features"]) {
    if (feature["properties"]["kind"] != "footprint") continue;
    const Json& geometry = feature["geometry"];
    double area = 0;
    const bool parts = geometry["type"] == "MultiPolygon";
    for (const Json& polygon : parts ? geometry["coordinates"] : Json::array({geometry["coordinates"]})) {
      area += SignedArea(polygon[0]);
      double least = 180, most = -180;
      for (const Json& corner : polygon[0]) {
        least = std::min(least, corner[0].get<double>());
        most = std::max(most, corner[0].get<double>());
      }
      EXPECT_LT(most - least, 1);
    }
    EXPECT_NEAR(area, 48e-6, 1e-10);
    if (parts) {
      ++cut;
      EXPECT_EQ(geometry["coordinates"].size(), 2u);
    }
  }
  EXPECT_GT(cut, 0);
}

TEST(GeoJson, NamesInAnyEncodingStayJson) {
  SurveyBlock block = BlockWithControl();
  block.Images[0].szName = "caf\xe9";
  const Json map = MapOf(block, MapAround(10, 50));
  EXPECT_EQ(map["features"][0]["properties"]["image"], "caf\xef\xbf\xbd");
}

TEST(Footprint, IsTheImageOnTheGround) {
  SurveyBlock block = MakeVerticalBlock();
  const Polygon polygon = FootprintOf(block, block.Images[1], 50);
  const Polygon expected = {{-100, -400}, {500, -400}, {500, 400}, {-100, 400}};
  ASSERT_EQ(polygon.size(), 4u);
  for (size_t k = 0; k < 4; ++k) {
    EXPECT_NEAR(polygon[k][0], expected[k][0], 1e-9);
    EXPECT_NEAR(polygon[k][1], expected[k][1], 1e-9);
  }
  // The ground above the image, an image that looks up, and one along the horizon.
  EXPECT_TRUE(FootprintOf(block, block.Images[1], 2000).empty());
  block.Images[0].R = {1, 0, 0, 0, -1, 0, 0, 0, -1};
  EXPECT_TRUE(FootprintOf(block, block.Images[0], 50).empty());
  block.Images[0].R = {1, 0, 0, 0, 0, -1, 0, 1, 0};
  EXPECT_TRUE(FootprintOf(block, block.Images[0], 50).empty());
  block.Images[0].nCamera = -1;
  EXPECT_TRUE(FootprintOf(block, block.Images[0], 50).empty());
}

TEST(Footprint, ClippedPolygonsKeepTheirSide) {
  const Polygon square = {{0, 0}, {2, 0}, {2, 2}, {0, 2}};
  EXPECT_DOUBLE_EQ(AreaOf(ClippedBy(square, 1, 0, 0.5)), 1);
  EXPECT_DOUBLE_EQ(AreaOf(ClippedBy(square, 1, 1, 2)), 2);
  EXPECT_DOUBLE_EQ(AreaOf(ClippedBy(square, 1, 0, 5)), 4);
  EXPECT_TRUE(ClippedBy(square, 1, 0, -1).empty());
}

TEST(Footprint, Medians) {
  std::vector<double> odd{5, 1, 3}, even{4, 1, 3, 2}, one{7}, none;
  EXPECT_EQ(MedianOf(odd), 3);
  EXPECT_EQ(MedianOf(even), 2.5);
  EXPECT_EQ(MedianOf(one), 7);
  EXPECT_EQ(MedianOf(none), 0);
  std::vector<double> odd_ones{std::nan(""), 2, std::nan(""), 1, 3};
  EXPECT_EQ(MedianOf(odd_ones), 3);
}

}  // namespace
}  // namespace orvo::test
