#include "report/html/Frames.h"

#include <gtest/gtest.h>

#include <cmath>

#include "report/SampleFigures.h"
#include "report/html/Extent.h"

namespace orvo::report {
namespace {

TEST(Frames, TicksAreRound) {
  struct {
    double fLow, fHigh;
    int nMost;
    double fFirst, fStep;
    int nNum, nDecimals;
  } const cases[] = {{0, 10, 5, 0, 2, 6, 0},      {0.2, 0.9, 8, 0.2, 0.1, 8, 1},
                     {-3, 3, 6, -3, 1, 7, 0},     {4200000, 4201999, 4, 4200000, 500, 4, 0},
                     {0, 1e-3, 4, 0, 5e-4, 3, 4}, {5, 5, 3, 5, 2e-9, 1, 9}};
  for (const auto& c : cases) {
    const AxisTicks ticks = TicksOf(c.fLow, c.fHigh, c.nMost);
    EXPECT_NEAR(ticks.fFirst, c.fFirst, 1e-9 * std::fabs(c.fFirst)) << c.fLow;
    EXPECT_NEAR(ticks.fStep, c.fStep, 1e-9 * c.fStep) << c.fLow;
    EXPECT_EQ(ticks.nNum, c.nNum) << c.fLow;
    EXPECT_EQ(ticks.nDecimals, c.nDecimals) << c.fLow;
  }
  EXPECT_EQ(TicksOf(NAN, 1, 5).nNum, 0);
  EXPECT_EQ(TicksOf(0, INFINITY, 5).nNum, 0);
  EXPECT_EQ(TicksOf(2, 1, 5).nNum, 0);
}

TEST(Frames, AxesAreNeverEmpty) {
  struct {
    double fLow, fHigh, fAxisLow, fAxisHigh;
  } const cases[] = {{0, 2, 0, 2}, {2, 0, 0, 2}, {NAN, 2, 0, 1}, {0, INFINITY, 0, 1}};
  for (const auto& c : cases) {
    const ChartAxis axis = AxisOf(c.fLow, c.fHigh);
    EXPECT_EQ(axis.fLow, c.fAxisLow);
    EXPECT_EQ(axis.fHigh, c.fAxisHigh);
  }
  const ChartAxis narrow = AxisOf(5, 5);
  EXPECT_LT(narrow.fLow, 5);
  EXPECT_GT(narrow.fHigh, 5);
  const ChartAxis powers = LogAxisOf(0.03, 700);
  EXPECT_NEAR(powers.fLow, 0.01, 1e-12);
  EXPECT_NEAR(powers.fHigh, 1000, 1e-9);
  EXPECT_NEAR(powers.At(1), 0.4, 1e-12);
  EXPECT_EQ(powers.At(-1), 0);
  EXPECT_EQ(LogAxisOf(0, 5).fHigh, 10);
}

TEST(Frames, MapsHaveEqualScalesAndNorthUp) {
  const Map map = MapOf({1000, 2000, 0}, {3000, 3000, 0}, {10, 20, 400, 400}, 0);
  EXPECT_DOUBLE_EQ(map.fScale, 0.2);
  EXPECT_DOUBLE_EQ(map.Area.fWidth, 400);
  EXPECT_DOUBLE_EQ(map.Area.fHeight, 200);
  EXPECT_DOUBLE_EQ(map.Area.fTop, 120);  // in the middle
  EXPECT_DOUBLE_EQ(map.At(1000, 2000).x, 10);
  EXPECT_DOUBLE_EQ(map.At(1000, 2000).y, 320);
  EXPECT_DOUBLE_EQ(map.At(3000, 3000).x, 410);
  EXPECT_DOUBLE_EQ(map.At(3000, 3000).y, 120);
  EXPECT_DOUBLE_EQ(MapBelow({1000, 2000, 0}, {3000, 3000, 0}, 10, 20, 400, 400, 0).Area.fTop, 20);
  const Map point = MapOf({5, 5, 0}, {5, 5, 0}, {0, 0, 100, 100});
  EXPECT_TRUE(std::isfinite(point.At(5, 5).x));
  EXPECT_TRUE(IsInside(point, point.At(5, 5)));
}

TEST(Frames, RoundNumbers) {
  struct {
    double fValue, fRound;
    std::string szText;
  } const cases[] = {{1, 1, "1"},          {1.99, 1, "1"},           {2, 2, "2"},   {7, 5, "5"},
                     {0.03, 0.02, "0.02"}, {34567, 20000, "20,000"}, {NAN, 1, "1"}, {-3, 1, "1"}};
  for (const auto& c : cases) {
    EXPECT_DOUBLE_EQ(RoundBelow(c.fValue), c.fRound);
    EXPECT_EQ(RoundText(RoundBelow(c.fValue)), c.szText);
  }
}

TEST(Frames, LegendsBreakIntoRows) {
  const std::vector<LegendEntry> entries(3, {LegendShape::Line, "line s1", "ten letter"});
  const double one = LegendHeight(entries, 1000);
  EXPECT_GT(one, 0);
  EXPECT_DOUBLE_EQ(LegendHeight(entries, 110), 3 * one);
  EXPECT_DOUBLE_EQ(LegendHeight({}, 110), 0);
}

TEST(Extent, UsualRangeLeavesStraysOut) {
  std::vector<double> values;
  for (int i = 0; i <= 100; ++i) values.push_back(i);
  EXPECT_EQ(UsualRange(values), std::pair(0.0, 100.0));
  values.push_back(1e9);
  values.push_back(-400);
  values.push_back(NAN);
  EXPECT_EQ(UsualRange(values), std::pair(0.0, 100.0));
  EXPECT_EQ(UsualRange({3}), std::pair(3.0, 3.0));
  EXPECT_EQ(UsualRange({NAN}), std::pair(0.0, 0.0));
  EXPECT_EQ(UsualRange({}), std::pair(0.0, 0.0));
}

TEST(Extent, ThinsToAtMost) {
  struct {
    size_t nCount, nMost, nStep;
  } const cases[] = {{0, 10, 1}, {10, 10, 1}, {11, 10, 2}, {100, 10, 10}, {101, 10, 11}, {5, 0, 1}};
  for (const auto& c : cases) EXPECT_EQ(DrawnStep(c.nCount, c.nMost), c.nStep);
}

TEST(Extent, CellsWithHardlyAPointAreMerged) {
  struct {
    int64_t nPoints;
    int32_t nMerged;
  } const cases[] = {{1, 2}, {2, 1}, {7, 1}};
  for (const auto& c : cases) {
    PointFigures points;
    points.fCellSize = 8;
    for (int32_t row = 0; row < 40; ++row) {
      for (int32_t column = 0; column < 40; ++column) points.vCells.push_back({column, row, c.nPoints, 3, 0});
    }
    EXPECT_EQ(CellsToDraw(points, 10000).nMerged, c.nMerged) << c.nPoints;
  }
}

TEST(Extent, CellsThatAreMergedCountAsBefore) {
  const PointFigures points = test::MakeSampleFigures(1000).Points;
  const auto sums = [](const std::vector<GroundCell>& cells) {
    int64_t num = 0, rays = 0;
    double heights = 0;
    for (const GroundCell& cell : cells) {
      num += cell.nPoints;
      rays += cell.nRays;
      heights += cell.fMeanZ * static_cast<double>(cell.nPoints);
    }
    return std::tuple(num, rays, heights);
  };
  ASSERT_GT(points.vCells.size(), 500u);
  EXPECT_EQ(CellsToDraw(points, points.vCells.size()).nMerged, 1);
  const DrawnCells drawn = CellsToDraw(points, 500);
  EXPECT_LE(drawn.vCells.size(), 500u);
  EXPECT_GT(drawn.nMerged, 1);
  EXPECT_DOUBLE_EQ(drawn.fSize, points.fCellSize * drawn.nMerged);
  EXPECT_EQ(std::get<0>(sums(drawn.vCells)), std::get<0>(sums(points.vCells)));
  EXPECT_EQ(std::get<1>(sums(drawn.vCells)), std::get<1>(sums(points.vCells)));
  const double heights = std::get<2>(sums(points.vCells));
  EXPECT_NEAR(std::get<2>(sums(drawn.vCells)), heights, 1e-9 * heights);
}

TEST(Extent, NeighbouringCellsShareTheirEdges) {
  const PointFigures points = test::MakeSampleFigures(1000).Points;
  const DrawnCells cells = CellsToDraw(points, 10000);
  const Map map = MapOfCells(points, cells, 34, 10, 596, 560);
  for (int32_t k = 0; k < 80; ++k) {
    const Box box = BoxOf(map, cells, {k, k, 1, 1, 0}), next = BoxOf(map, cells, {k + 1, k + 1, 1, 1, 0});
    EXPECT_NEAR(box.Right(), next.fLeft, 1e-9);
    EXPECT_NEAR(box.fTop, next.Bottom(), 1e-9);
    EXPECT_NEAR(10 * box.fLeft, std::round(10 * box.fLeft), 1e-9);
  }
}

TEST(Extent, LabelsTakeTheirRoomOnce) {
  LabelRoom room;
  EXPECT_TRUE(room.Take({0, 0, 10, 10}));
  EXPECT_FALSE(room.Take({5, 5, 10, 10}));
  EXPECT_TRUE(room.Take({10, 0, 10, 10}));
  room.Block({20, 0, 10, 10});
  EXPECT_FALSE(room.Take({25, 5, 1, 1}));
}

}  // namespace
}  // namespace orvo::report
