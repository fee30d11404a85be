#include "report/ResidualField.h"

#include <gtest/gtest.h>

namespace orvo::report {
namespace {

IopRecord Camera() {
  IopRecord camera;
  camera.nImageWidth = 4000;
  camera.nImageHeight = 3000;
  camera.fFocal = 5;
  return camera;
}

TEST(ResidualField, RowsBeginAtTheUpperLeftCorner) {
  const FieldScale scale(Camera(), 0.001);
  struct Case {
    double x, y;  ///< working units
    size_t nRow, nColumn;
  };
  // Cells are 200 x 200 pixels.
  constexpr Case kCases[] = {
      {-1.99, 1.49, 0, 0},   {1.99, 1.49, 0, 19}, {1.99, -1.49, 14, 19},
      {-1.99, -1.49, 14, 0}, {0.05, 0.05, 7, 10}, {-0.05, -0.15, 8, 9},
      {-0.35, 0.65, 4, 8},   {-99, 99, 0, 0},  // outside: the nearest
  };
  for (const Case& c : kCases) {
    ResidualField field;
    scale.Add(c.x, c.y, {0.5, -0.25}, field);
    const ResidualField::Cell& cell = field.vCells[c.nRow * kGridColumns + c.nColumn];
    EXPECT_EQ(cell.nNum, 1) << c.x << " " << c.y;
    EXPECT_EQ(cell.fX, 0.5);
    EXPECT_EQ(cell.fY, -0.25);
  }
}

TEST(ResidualField, RingsAreAboutThePrincipalPoint) {
  IopRecord camera = Camera();
  camera.fPrincipalX = 0.2;
  camera.fPrincipalY = -0.3;
  const FieldScale scale(camera, 0.001);
  EXPECT_NEAR(scale.RingWidth(), std::hypot(2200, 1800) / 20, 1e-9);
  ResidualField field;
  // Above the principal point: along the radius is y, across it, turning left, is minus x.
  scale.Add(0.2, 0.0, {1, 3}, field);
  const PlainSums& ring = field.vRings[2];
  ASSERT_EQ(ring.nNum, 1);
  EXPECT_NEAR(ring.fX, 3, 1e-12);
  EXPECT_NEAR(ring.fY, -1, 1e-12);
  // In the principal point itself any direction is as good.
  scale.Add(0.2, -0.3, {1, 3}, field);
  EXPECT_EQ(field.vRings[0].nNum, 1);
  EXPECT_NEAR(std::hypot(field.vRings[0].fX, field.vRings[0].fY), std::hypot(1, 3), 1e-12);
}

TEST(ResidualField, CamerasWithoutExtentHaveNone) {
  IopRecord camera = Camera();
  EXPECT_TRUE(FieldScale(camera, 0.001).IsKnown());
  camera.nImageWidth = 0;
  EXPECT_FALSE(FieldScale(camera, 0.001).IsKnown());
  camera = Camera();
  camera.nImageHeight = -3000;
  EXPECT_FALSE(FieldScale(camera, 0.001).IsKnown());
  camera = Camera();
  camera.fPrincipalX = std::nan("");
  EXPECT_FALSE(FieldScale(camera, 0.001).IsKnown());
}

TEST(PlainSums, MeanAndRmse) {
  PlainSums sums;
  EXPECT_EQ(sums.Rmse().x, 0);
  EXPECT_EQ(sums.Mean().y, 0);
  sums.Add(3, -1);
  PlainSums more;
  more.Add(-4, -1);
  sums.Add(more);
  EXPECT_DOUBLE_EQ(sums.Mean().x, -0.5);
  EXPECT_DOUBLE_EQ(sums.Mean().y, -1);
  EXPECT_DOUBLE_EQ(sums.Rmse().x, std::sqrt(12.5));
  EXPECT_DOUBLE_EQ(sums.Rmse().y, 1);
}

}  // namespace
}  // namespace orvo::report
