// Coordinate systems: places that are known, and everything that is refused by name.
#include "exchange/crs/FrameTransform.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

namespace orvo::exchange {
namespace {

using Place = std::array<double, 3>;

BlockFrame TopocentricAt(double longitude, double latitude) {
  return {FrameKind::Topocentric, {}, longitude, latitude, 0};
}

/// "what. Remedy", empty where nothing is refused.
std::string FaultOf(const SourceSystem& source, const BlockFrame& frame, bool heights = true) {
  try {
    const FrameTransform transform(source, frame, heights);
  } catch (const CrsFault& fault) {
    return std::string(fault.what()) + ". " + fault.Remedy;
  }
  return {};
}

void ExpectPlace(const Place& found, const Place& expected, double tolerance) {
  for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(found[i], expected[i], tolerance) << i;
}

class CoordinateSystems : public testing::Test {
 protected:
  void SetUp() override {
    if (!HasCoordinateSystems()) GTEST_SKIP() << "built without PROJ";
  }
};

TEST(FrameTransform, AsIsNeedsNoLibrary) {
  const FrameTransform transform({}, {});
  ExpectPlace(transform.ToFrame({1, 2, 3}), {1, 2, 3}, 0);
  ExpectPlace(transform.FromFrame({1, 2, 3}), {1, 2, 3}, 0);
  EXPECT_EQ(transform.LocalAxesOfFrame({1, 2, 3}), (std::array<double, 9>{1, 0, 0, 0, 1, 0, 0, 0, 1}));
  for (const double wrong : {std::nan(""), std::numeric_limits<double>::infinity()}) {
    EXPECT_THROW(transform.ToFrame({1, 2, wrong}), CrsFault);
    EXPECT_THROW(transform.FromFrame({wrong, 2, 3}), CrsFault);
  }
}

TEST(FrameTransform, WithoutProjEverythingElseIsRefused) {
  if (HasCoordinateSystems()) GTEST_SKIP() << "built with PROJ";
  EXPECT_NE(FaultOf({"EPSG:32611", "ellipsoidal"}, TopocentricAt(0, 0)).find("without PROJ"),
            std::string::npos);
}

TEST_F(CoordinateSystems, PlacesInATopocentricFrame) {
  const FrameTransform utm({"EPSG:32611", "ellipsoidal"}, TopocentricAt(-119.88, 34.41));
  const FrameTransform degrees({"EPSG:4979", ""}, TopocentricAt(-119.88, 34.41));
  const struct {
    Place utm, frame;
  } rows[] = {{{235269.88, 3811198.11, 0}, {-7.2200, -181.1874, -0.0026}},
              {{235248.03, 3811227.25, 10}, {-29.8788, -152.6935, 9.9981}}};
  for (const auto& row : rows) {
    ExpectPlace(utm.ToFrame(row.utm), row.frame, 1e-4);
    ExpectPlace(utm.FromFrame(utm.ToFrame(row.utm)), row.utm, 1e-6);
  }
  const Place first = degrees.FromFrame(utm.ToFrame(rows[0].utm));
  EXPECT_NEAR(first[0], -119.880078529, 1e-9);
  EXPECT_NEAR(first[1], 34.408366648, 1e-9);
  EXPECT_NEAR(first[2], 0, 1e-6);
}

TEST_F(CoordinateSystems, HeightsAboveAGeoidNeedItsGrid) {
  const BlockFrame frame = TopocentricAt(-81.752, 41.304);
  const FrameTransform ellipsoid({"EPSG:4979", ""}, frame);
  const Place place = ellipsoid.ToFrame({-81.7522, 41.3042, 300});
  for (const SourceSystem& source :
       {SourceSystem{"EPSG:4326+5773", ""}, SourceSystem{"EPSG:4326", "EPSG:5773"},
        SourceSystem{"EPSG:4326", "5773"}}) {
    const std::string fault = FaultOf(source, frame);
    if (!fault.empty()) {
      EXPECT_NE(fault.find("egm96"), std::string::npos) << fault;
      EXPECT_NE(fault.find("proj-data"), std::string::npos) << fault;
      continue;
    }
    const Place geoid = FrameTransform(source, frame).FromFrame(place);
    ExpectPlace(geoid, {-81.7522, 41.3042, geoid[2]}, 1e-9);
    EXPECT_NEAR(geoid[2], 334.4666, 1e-4);
  }
}

/// The heights that the user names are part of the name.
TEST_F(CoordinateSystems, TheNameOfASystemWithHeights) {
  const std::string fault = FaultOf({"EPSG:2227", "EPSG:6360"}, TopocentricAt(-121, 37));
  if (fault.empty()) GTEST_SKIP() << "its grid is installed here";
  EXPECT_NE(fault.find("the way from NAD83 / California zone 3 (ftUS) with NAVD88 height (ftUS) to "),
            std::string::npos)
      << fault;
}

TEST_F(CoordinateSystems, MissingGridsAreRefusedByName) {
  for (const char* code : {"EPSG:25832+7837", "EPSG:2154+5720", "EPSG:6350+5703", "EPSG:27700+5701"}) {
    const std::string fault = FaultOf({code, ""}, TopocentricAt(0, 45));
    if (fault.empty()) continue;  // its grid is installed here
    EXPECT_NE(fault.find("needs a grid that is not installed: "), std::string::npos) << fault;
    EXPECT_NE(fault.find("projsync"), std::string::npos) << fault;
    EXPECT_NE(fault.find("proj-data"), std::string::npos) << fault;
    EXPECT_NE(fault.find("cdn.proj.org"), std::string::npos) << fault;
  }
  // A frame in the same system needs none.
  EXPECT_EQ(FaultOf({"EPSG:25832+7837", ""}, {FrameKind::Projected, {"EPSG:25832+7837", ""}, 0, 0, 0}), "");
}

TEST_F(CoordinateSystems, Refused) {
  const struct {
    SourceSystem source;
    const char* fault;
  } rows[] = {
      {{"", ""}, "'' is no coordinate system that PROJ knows"},
      {{"nonsense", ""}, "'nonsense' is no coordinate system that PROJ knows"},
      {{"25832", "none"}, "Codes have the form EPSG:25832"},
      {{"EPSG:99999999", ""}, "is no coordinate system that PROJ knows"},
      {{"EPSG:5773", ""}, "is no geographic, projected or geocentric system"},
      {{std::string("EPSG:4326\0x", 11), ""}, "is no coordinate system that PROJ knows"},
      {{"EPSG:32611", ""}, "elevations are given, and EPSG:32611 does not say what they are above"},
      {{"EPSG:32611", "EPSG:32611"}, "is no vertical coordinate system"},
      {{"EPSG:32611", "geoid"}, "'geoid' is no vertical coordinate system"},
      {{"EPSG:32611", "ellipsoidal:inch"}, "is no kind of height"},
      {{"EPSG:2263", "ellipsoidal"}, "the unit of EPSG:2263 is the US survey foot"},
      {{"EPSG:4326+5773", "ellipsoidal"}, "says itself what heights are"},
      {{"EPSG:4979", "EPSG:5773"}, "says itself what heights are"},
      {{"EPSG:31468+5783", ""}, "a ballpark operation only"},
      {{"+proj=tmerc +lon_0=9 +ellps=bessel", "ellipsoidal"}, "a ballpark operation only"},
  };
  for (const auto& row : rows) {
    const std::string fault = FaultOf(row.source, TopocentricAt(9, 50));
    EXPECT_NE(fault.find(row.fault), std::string::npos) << row.source.szCrs << ": " << fault;
  }
  EXPECT_EQ(FaultOf({"EPSG:32611", ""}, TopocentricAt(9, 50), false), "");
  EXPECT_NE(FaultOf({"EPSG:4979", ""}, TopocentricAt(9, 91)).find("no place on the earth"),
            std::string::npos);
  EXPECT_NE(FaultOf({"EPSG:4979", ""}, {FrameKind::Projected, {"EPSG:4979", ""}, 0, 0, 0})
                .find("is no projected system"),
            std::string::npos);
}

TEST_F(CoordinateSystems, PlacesThatHaveNone) {
  const FrameTransform degrees({"EPSG:4979", ""}, TopocentricAt(9, 50));
  const FrameTransform utm({"EPSG:32632", "none"}, TopocentricAt(9, 50));
  EXPECT_THROW(degrees.ToFrame({50, 91, 0}), CrsFault);
  EXPECT_THROW(degrees.ToFrame({50, 9, std::nan("")}), CrsFault);
  EXPECT_THROW(utm.ToFrame({std::numeric_limits<double>::infinity(), 5e6, 0}), CrsFault);
  EXPECT_THROW(utm.ToFrame({1e30, 5e6, 0}), CrsFault);
}

/// Feet are taken for feet, on the map and upright, and frames are in metres.
TEST_F(CoordinateSystems, Feet) {
  const SystemFacts facts = DescribeSystem({"EPSG:2263", ""});
  EXPECT_TRUE(facts.bProjected);
  EXPECT_NEAR(facts.dMetresOfUnit, 1200.0 / 3937, 1e-12);
  const Place feet = {987654, 210000, 100};
  const BlockFrame map = {FrameKind::Projected, {"EPSG:2263", "ellipsoidal:us-ft"}, 0, 0, 0};
  const FrameTransform same({"EPSG:2263", "ellipsoidal:us-ft"}, map);
  const double us = 1200.0 / 3937;
  ExpectPlace(same.ToFrame(feet), {feet[0] * us, feet[1] * us, feet[2] * us}, 1e-7);
  ExpectPlace(same.FromFrame(same.ToFrame(feet)), feet, 1e-6);
  const BlockFrame frame = TopocentricAt(-74, 40.7);
  const FrameTransform inMetres({"EPSG:2263", "ellipsoidal:m"}, frame),
      inFeet({"EPSG:2263", "ellipsoidal:ft"}, frame);
  ExpectPlace(inFeet.ToFrame({feet[0], feet[1], 100 / 0.3048}), inMetres.ToFrame({feet[0], feet[1], 100}),
              1e-6);
}

/// Coordinates come east first, whatever the code defines.
TEST_F(CoordinateSystems, OrderOfAxes) {
  const struct {
    const char* crs;
    bool northFirst, geographic;
  } rows[] = {{"EPSG:4326", true, true},
              {"OGC:CRS84", false, true},
              {"EPSG:31467", true, false},
              {"EPSG:32632", false, false},
              {"EPSG:2193", true, false}};
  for (const auto& row : rows) {
    const SystemFacts facts = DescribeSystem({row.crs, ""});
    EXPECT_EQ(facts.bNorthFirst, row.northFirst) << row.crs;
    EXPECT_EQ(facts.bGeographic, row.geographic) << row.crs;
  }
  const BlockFrame frame = TopocentricAt(9, 50);
  ExpectPlace(FrameTransform({"EPSG:4326", "ellipsoidal"}, frame).ToFrame({9.001, 50, 0}),
              FrameTransform({"OGC:CRS84", "ellipsoidal"}, frame).ToFrame({9.001, 50, 0}), 1e-9);
}

TEST_F(CoordinateSystems, MeridianConvergence) {
  const SourceSystem utm = {"EPSG:32611", "ellipsoidal"};
  const FrameTransform projected(utm, {FrameKind::Projected, utm, 0, 0, 0});
  const Place place = {235269.88, 3811198.11, 0};
  const std::array<double, 9> axes = projected.LocalAxesOfFrame(place);
  // Left of its meridian, and above the equator, true north is to the right of the map's.
  const double longitude = -119.880078529, latitude = 34.408366648;
  constexpr double kRadians = std::numbers::pi / 180;
  const double expected = std::atan(std::tan((longitude + 117) * kRadians) * std::sin(latitude * kRadians));
  EXPECT_NEAR(std::asin(axes[3]), expected, 1e-6);
  EXPECT_LT(expected, -0.02);
  EXPECT_EQ(axes, projected.LocalAxesOfSource(place));
  // At the origin of a topocentric frame the axes are its own, and a degree to the east they are not.
  const FrameTransform topocentric({"EPSG:4979", ""}, TopocentricAt(9, 50));
  const std::array<double, 9> origin = topocentric.LocalAxesOfFrame({0, 0, 0});
  for (size_t i = 0; i < 9; ++i) EXPECT_NEAR(origin[i], i % 4 == 0 ? 1 : 0, 1e-12);
  const std::array<double, 9> east = topocentric.LocalAxesOfFrame(topocentric.ToFrame({10, 50, 0}));
  EXPECT_NEAR(std::atan2(east[3], east[0]), std::sin(50 * kRadians) * kRadians, 1e-4);
  EXPECT_NEAR(east[6], -std::sin(kRadians) * std::cos(50 * kRadians), 1e-12);
}

TEST_F(CoordinateSystems, MiddleOfABlock) {
  const std::vector<Place> utm = {{235269.88, 3811198.11, 0}, {235248.03, 3811227.25, 10}};
  const BlockFrame frame = TopocentricFrameOf({"EPSG:32611", "none"}, utm);
  EXPECT_EQ(frame.dLongitude, -119.880);
  EXPECT_EQ(frame.dLatitude, 34.408);
  EXPECT_EQ(frame.Kind, FrameKind::Topocentric);
  const std::vector<Place> antimeridian = {{179.99, -17, 0}, {-179.97, -17.1, 0}};
  const BlockFrame fiji = TopocentricFrameOf({"EPSG:4979", ""}, antimeridian);
  EXPECT_NEAR(fiji.dLongitude, -179.99, 1e-9);
  EXPECT_THROW(TopocentricFrameOf({"EPSG:4979", ""}, {}), CrsFault);
}

}  // namespace
}  // namespace orvo::exchange
