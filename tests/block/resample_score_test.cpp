#include "block/ResampleScore.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "block/ResampleCells.h"
#include "block/ResampleReference.h"
#include "geometry/camera/Rotation.h"

namespace orvo {
namespace {

using test::ReferenceMeasure;
using test::ReferencePoint;

TEST(ResampleScore, IsThatOfTheLiteralFormula) {
  std::mt19937 random(1);
  std::normal_distribution<double> normal;
  for (int i = 0; i < 500; ++i) {
    const EopRecord eop{0,
                        0,
                        10 * normal(random),
                        10 * normal(random),
                        500,
                        0.3 * normal(random),
                        0.3 * normal(random),
                        2 * normal(random)};
    const IopRecord iop{3000, 4000, 5.0, 0.01 * normal(random), 0.01 * normal(random), 1e-3, 1e-3};
    const ReferencePoint point{50 * normal(random), 50 * normal(random), 5 * normal(random), {{}, {}}};
    const ReferenceMeasure measure{0, 0, static_cast<float>(normal(random)),
                                   static_cast<float>(normal(random))};
    ResampleView view{eop.X, eop.Y, eop.Z, {}};
    ComputeRotationMatrix(eop.fPhi, eop.fOmega, eop.fKappa, view.R);
    const float score = ComputeResampleScore(view, ResampleGrid(iop, 6, 0.001), 0.2, point.X, point.Y,
                                             point.Z, measure.x, measure.y, 2);
    const float expected = test::ReferenceScore(eop, iop, point, measure, 0.2);
    EXPECT_NEAR(score, expected, 2e-7f * expected);
  }
}

TEST(ResampleScore, NumberOfRaysDecidesNothing) {
  const ResampleView view{0, 0, 500, {1, 0, 0, 0, 1, 0, 0, 0, 1}};
  const ResampleGrid grid(IopRecord{3000, 4000, 5, 0, 0, 0, 0}, 6, 0.001);
  EXPECT_EQ(ComputeResampleScore(view, grid, 0.1, 3, 4, 5, 0.02f, 0.03f, 2),
            ComputeResampleScore(view, grid, 0.1, 3, 4, 5, 0.02f, 0.03f, 2000));
}

TEST(ResampleScore, OfAPointInThePlaneOfTheCentreIsNotFinite) {
  const ResampleView view{0, 0, 500, {1, 0, 0, 0, 1, 0, 0, 0, 1}};
  const ResampleGrid grid(IopRecord{3000, 4000, 5, 0, 0, 0, 0}, 6, 0.001);
  EXPECT_FALSE(std::isfinite(ComputeResampleScore(view, grid, 0.1, 3, 4, 500, 0, 0, 2)));
  EXPECT_TRUE(std::isnan(ComputeResampleScore(view, grid, 0.1, 0, 0, 500, 0, 0, 2)));
}

TEST(ResampleCell, RowsAndColumns) {
  // 4001 / 6 + 1 = 667 and 3000 / 6 + 1 = 501, scaled by 2^-10 so that edges are exact.
  const double s = 1.0 / 1024;
  const ResampleGrid grid(IopRecord{3000, 4001, 5, 0, 0, 0, 0}, 6, s);
  EXPECT_EQ(grid.fCellWidth, 667 * s);
  EXPECT_EQ(grid.fCellHeight, 501 * s);
  struct Row {
    double x, y;
    bool bInRange;
    int32_t nColumn, nRow;
  };
  const Row kRows[] = {
      {-2000, 1500, true, 0, 0},        // upper left corner
      {-2000, 0, true, 0, 2},           // left edge
      {2000, -1500, true, 5, 5},        // lower right corner
      {-1333, 0, true, 1, 2},           // on the line between two columns
      {-1333.25, 0, true, 0, 2},        // just left of it
      {-2000.25, 1500.25, true, 0, 0},  // less than a cell outside still counts as the first
      {-2666.75, 0, true, 0, 2},        //
      {-2667, 0, false, 0, 0},          // a whole cell outside
      {0, 2001, false, 0, 0},          {2002, 0, true, 6, 2},  // beyond the grid, within the wide net
      {2e9, 0, false, 0, 0},           {-2e9, 0, false, 0, 0}};
  for (const Row& row : kRows) {
    const ResampleCell cell =
        FindResampleCell(grid, static_cast<float>(row.x * s), static_cast<float>(row.y * s));
    ASSERT_EQ(cell.bInRange, row.bInRange) << row.x << " " << row.y;
    if (!row.bInRange) continue;
    EXPECT_EQ(cell.nColumn, row.nColumn) << row.x;
    EXPECT_EQ(cell.nRow, row.nRow) << row.y;
  }
  const float kBad[] = {std::nanf(""), std::numeric_limits<float>::infinity()};
  for (const float bad : kBad) {
    EXPECT_FALSE(FindResampleCell(grid, bad, 0).bInRange);
    EXPECT_FALSE(FindResampleCell(grid, 0, bad).bInRange);
  }
  EXPECT_FALSE(FindResampleCell(ResampleGrid(IopRecord{0, 0, 5, 0, 0, 0, 0}, 6, s), 0, 0).bInRange);
  EXPECT_FALSE(FindResampleCell(ResampleGrid(IopRecord{3000, 4000, 5, 0, 0, 0, 0}, 6, 0.0), 0, 0).bInRange);
}

TEST(ResampleCell, DistanceIsFromTheCentreOfTheCell) {
  const double s = 1.0 / 1024;
  const ResampleGrid grid(IopRecord{3000, 4001, 5, 0, 0, 0, 0}, 6, s);
  const float x = static_cast<float>((-2000 + 333.5) * s), y = static_cast<float>((1500 - 250.5) * s);
  EXPECT_NEAR(FindResampleCell(grid, x, y).fDistance, 0.0, 1e-7);
  EXPECT_NEAR(FindResampleCell(grid, x + static_cast<float>(3 * s), y - static_cast<float>(4 * s)).fDistance,
              5 * s, 1e-7);
}

TEST(ResampleCells, FirstOfEqualScoresStaysAndNotANumberLoses) {
  ResampleCells cells(2, 3);
  EXPECT_EQ(cells.CellNum(), 12);
  EXPECT_EQ(cells.Index(2, 1, 1), 11);
  cells.Offer(5, std::nanf(""), 1);
  cells.Offer(5, std::numeric_limits<float>::infinity(), 2);
  EXPECT_EQ(cells.Number(5), 0);
  cells.Offer(5, 2.0f, 3);
  cells.Offer(5, 2.0f, 4);
  cells.Offer(5, std::nanf(""), 5);
  EXPECT_EQ(cells.Number(5), 3);
  cells.Offer(5, 1.5f, 6);
  EXPECT_EQ(cells.Number(5), 6);
}

}  // namespace
}  // namespace orvo
