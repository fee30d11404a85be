#include "report/CellMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace orvo::report {
namespace {

struct Place {
  double X, Y, Z;
  int64_t nRays;
};

std::vector<Place> Scattered(size_t count, double size) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> along(-size, size);
  std::vector<Place> places;
  for (size_t i = 0; i < count; ++i)
    places.push_back({along(random), along(random), along(random) / 10, 2 + static_cast<int64_t>(i % 5)});
  return places;
}

bool Same(const CellMap& a, const CellMap& b) {
  return a.Level() == b.Level() &&
         std::ranges::equal(a.Cells(), b.Cells(), [](const CellMap::Cell& c, const CellMap::Cell& d) {
           return c.nColumn == d.nColumn && c.nRow == d.nRow && c.nPoints == d.nPoints &&
                  c.nRays == d.nRays && c.fMeanZ == d.fMeanZ;
         });
}

TEST(CellMap, SumsBySquare) {
  CellMap map(1);
  EXPECT_EQ(map.Side(), 2);
  map.Add(0.5, 0.5, 10, 2);
  map.Add(1.5, 1.9, 20, 3);
  map.Add(2.0, 0, -4, 7);
  map.Add(-0.1, -0.1, 1, 1);
  const std::vector<CellMap::Cell> cells = map.Cells();
  ASSERT_EQ(cells.size(), 3U);
  EXPECT_EQ(cells[0].nColumn, -1);
  EXPECT_EQ(cells[0].nRow, -1);
  EXPECT_EQ(cells[1].nColumn, 0);
  EXPECT_EQ(cells[1].nPoints, 2);
  EXPECT_EQ(cells[1].nRays, 5);
  EXPECT_DOUBLE_EQ(cells[1].fMeanZ, 15);
  EXPECT_EQ(cells[2].nColumn, 1);
  EXPECT_DOUBLE_EQ(cells[2].fMeanZ, -4);
}

TEST(CellMap, SidesDoubleAndSquaresMerge) {
  CellMap map(0, 4);
  for (int i = 0; i < 4; ++i) map.Add(i, 0, i, 2);
  EXPECT_EQ(map.Level(), 0);
  map.Add(-1, 0, 5, 2);
  EXPECT_EQ(map.Level(), 1);
  const std::vector<CellMap::Cell> cells = map.Cells();
  ASSERT_EQ(cells.size(), 3U);
  EXPECT_EQ(cells[0].nColumn, -1);
  EXPECT_EQ(cells[0].nPoints, 1);
  EXPECT_EQ(cells[2].nColumn, 1);
  EXPECT_EQ(cells[2].nPoints, 2);
  EXPECT_DOUBLE_EQ(cells[2].fMeanZ, 2.5);
}

TEST(CellMap, DependsNeitherOnOrderNorOnDivision) {
  std::vector<Place> places = Scattered(20000, 3000);
  CellMap whole(-2);
  for (const Place& p : places) whole.Add(p.X, p.Y, p.Z, p.nRays);
  EXPECT_GT(whole.Level(), 4);
  EXPECT_LE(whole.Cells().size(), CellMap::kMostCells);

  std::ranges::reverse(places);
  CellMap reversed(-2);
  for (const Place& p : places) reversed.Add(p.X, p.Y, p.Z, p.nRays);
  EXPECT_TRUE(Same(whole, reversed));

  CellMap few(-2), many(-2);
  for (size_t i = 0; i < places.size(); ++i) {
    const Place& p = places[i];
    (i < 50 ? few : many).Add(p.X, p.Y, p.Z, p.nRays);
  }
  EXPECT_LT(few.Level(), many.Level());
  CellMap fewFirst = few, manyFirst = many;
  fewFirst.Add(many);
  manyFirst.Add(few);
  EXPECT_TRUE(Same(whole, fewFirst));
  EXPECT_TRUE(Same(whole, manyFirst));
}

TEST(CellMap, WhatIsNoPlaceIsLeftOut) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  constexpr double kEndless = std::numeric_limits<double>::infinity();
  CellMap map(3);
  for (const double bad : {kNan, kEndless, -kEndless, 1e300, -1e300}) {
    map.Add(bad, 0, 0, 2);
    map.Add(0, bad, 0, 2);
    map.Add(0, 0, bad, 2);
  }
  EXPECT_TRUE(map.Cells().empty());
  map.Add(1e12, -1e12, 0, 2);
  ASSERT_EQ(map.Cells().size(), 1U);
  EXPECT_EQ(map.Cells()[0].nColumn, 125000000000);
}

TEST(CellMap, StaysSmallWhateverComes) {
  CellMap map(-20);
  std::mt19937 random(5);
  std::uniform_real_distribution<double> exponent(-6, 9);
  int64_t near = 0;
  for (int i = 0; i < 50000; ++i) {
    const double far = std::pow(10, exponent(random));
    map.Add(far, -far / (1 + i % 7), 0, 2);
    if (far < std::ldexp(1, 22)) ++near;
  }
  ASSERT_GT(near, 30000);
  EXPECT_LE(map.Cells().size(), CellMap::kMostCells);
  int64_t points = 0;
  for (const CellMap::Cell& cell : map.Cells()) points += cell.nPoints;
  // The first squares are a millionth, so that what lies beyond some 4 million is no place.
  EXPECT_EQ(points, near);
}

TEST(CellMap, LevelsThatNoSideHasAreBroughtBack) {
  CellMap small(-100000), large(100000);
  EXPECT_GT(small.Side(), 0);
  EXPECT_TRUE(std::isfinite(large.Side()));
  small.Coarsen(3);
  EXPECT_EQ(small.Side(), 8);
  small.Coarsen(1);
  EXPECT_EQ(small.Side(), 8);
}

}  // namespace
}  // namespace orvo::report
