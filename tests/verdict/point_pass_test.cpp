// The last pass over the points, on a pair of images that can be reckoned by hand.
#include "verdict/PointPass.h"

#include <gtest/gtest.h>

namespace orvo::test {
namespace {

class Pass : public ::testing::Test {
 protected:
  Pass() {
    Eop.resize(2);
    Eop[1].X = 10;
    for (EopRecord& image : Eop) image.Z = 100;
    Iop.resize(1);
    Iop[0].fFocal = 100;
    Input = {Eop, Iop, 0.5, 0.5};
  }
  /// A point at (X, 0, 0): -f Xb / Zb is X - Xs in both images here. `error` falls on y of the first.
  void Add(double X, int32_t type, float error = 0) {
    ObjectPointRecord point;
    point.X = X;
    point.nType = type;
    point.nFirstImagePoint = std::ssize(Rays);
    point.nImagePointNum = 2;
    Rays.push_back({0, 0, 0, static_cast<float>(X), error});
    Rays.push_back({1, 0, 0, static_cast<float>(X - 10), 0});
    Points.push_back(point);
  }
  PointPassSums Sums() {
    PointPass pass(Input, 2);
    pass.Add(Points, Rays);
    return pass.Sums();
  }
  std::vector<EopRecord> Eop;
  std::vector<IopRecord> Iop;
  PointPassInput Input;
  std::vector<ObjectPointRecord> Points;
  std::vector<ImagePointRecord> Rays;
};

TEST_F(Pass, CountsAndResiduals) {
  Add(0, 0);
  Add(5, 1, 0.25f);
  const PointPassSums sums = Sums();
  EXPECT_EQ(sums.nPoints, 2);
  EXPECT_EQ(sums.nMeasurements, 4);
  EXPECT_EQ(sums.nUsed, 4);
  EXPECT_NEAR(sums.fSquaresX, 0, 1e-12);
  EXPECT_NEAR(sums.fSquaresY, 0.0625, 1e-9);
  EXPECT_NEAR(sums.fSumY, 0.25, 1e-9);
  EXPECT_EQ(sums.vImages[0].nUsed, 2);
  EXPECT_EQ(sums.vImages[0].nShared, 2);
  EXPECT_NEAR(sums.vImages[0].fSquares, 0.0625, 1e-9);
  EXPECT_EQ(sums.nNotInFront, 0);
}

TEST_F(Pass, TiePointsAreGrossAndControlIsNot) {
  Add(0, 0, 5);
  Add(5, 1, 5);
  const PointPassSums sums = Sums();
  EXPECT_GE(sums.nGross, 1);
  EXPECT_EQ(sums.vImages[0].nGross + sums.vImages[1].nGross, sums.nGross);
  EXPECT_GE(sums.nUsed, 2);
}

TEST_F(Pass, PointsBehindTheCamera) {
  Add(0, 1);
  Points[0].Z = 300;
  EXPECT_EQ(Sums().nNotInFront, 1);
}

TEST_F(Pass, PointsOfOneRayAreNotSolved) {
  Add(0, 0);
  Points[0].nImagePointNum = 1;
  const PointPassSums sums = Sums();
  EXPECT_EQ(sums.nNotSolved, 1);
  EXPECT_EQ(sums.nMeasurements, 1);
  EXPECT_EQ(sums.nUsed, 0);
}

TEST_F(Pass, RaysOnLostImagesCountAsMeasurements) {
  Add(0, 0);
  Rays[1].nImage = -1;
  EXPECT_EQ(Sums().nUsed, 0);
  EXPECT_EQ(Sums().nMeasurements, 2);
}

}  // namespace
}  // namespace orvo::test
