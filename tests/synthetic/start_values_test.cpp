#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>

#include "support/Block.h"

namespace orvo::test {
namespace {

using RowMatrix = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;

SyntheticOptions ExactStart() {
  SyntheticOptions options;
  options.fStartPosition = options.fStartAngle = 0;
  return options;
}

TEST(StartValues, WithoutPerturbationTheyAreTheTruth) {
  const Block block(ExactStart());
  const OrientationError error = CompareOrientations(block.Truth(), ReadProjectFile(block.Paths().szText));
  EXPECT_LT(error.fPosition, 1e-8);
  EXPECT_LT(error.fAngle, 1e-13);
}

TEST(StartValues, PerturbationsHaveTheirSigma) {
  SyntheticOptions options;
  options.nStrips = 10;
  options.nImagesPerStrip = 30;
  options.fMeasurementsPerImage = 5;
  options.fTilt = 0;  // then the angle of rotation is the norm of the three angles
  options.fStartPosition = 4;
  options.fStartAngle = 0.2;
  const Block block(options);
  const ProjectFile project = ReadProjectFile(block.Paths().szText);
  double position = 0, angle = 0;
  for (size_t i = 0; i < project.pImages.size(); ++i) {
    const SyntheticImage& image = block.Truth().pImages[i];
    const Eigen::Vector3d P(project.pImages[i].Position.data());
    position += (P - Eigen::Vector3d(image.X, image.Y, image.Z)).squaredNorm();
    const RowMatrix R(project.pImages[i].R.data()), trueR(image.R);
    const double between = Eigen::AngleAxisd(Eigen::Matrix3d(trueR.transpose() * R)).angle();
    angle += between * between;
  }
  const double count = 3.0 * static_cast<double>(project.pImages.size()), bound = 5 / std::sqrt(2 * count);
  EXPECT_NEAR(std::sqrt(position / count), 4, 4 * bound);
  EXPECT_NEAR(std::sqrt(angle / count) * 180 / kPi, 0.2, 0.2 * bound + 1e-3);
}

TEST(StartValues, MatricesAreRotations) {
  SyntheticOptions options;
  options.fFrameKappa = 77;
  const Block block(options);
  for (const FileImage& image : ReadProjectFile(block.Paths().szOvc).pImages) {
    const RowMatrix R(image.R.data());
    EXPECT_LT((R * R.transpose() - RowMatrix::Identity()).norm(), 1e-13);
    EXPECT_NEAR(R.determinant(), 1, 1e-13);
  }
}

TEST(StartValues, AForeignFrameIsASimilarityOfTheTruth) {
  SyntheticOptions options = ExactStart();
  options.fFrameScale = 0.013;
  options.fFrameKappa = -123;
  options.fFrameShiftX = 55;
  options.fFrameShiftY = -8000;
  options.fFrameShiftZ = 3;
  const Block block(options);
  const ProjectFile project = ReadProjectFile(block.Paths().szText);
  const size_t n = project.pImages.size();
  Eigen::Matrix3Xd truth(3, n), start(3, n);
  for (size_t i = 0; i < n; ++i) {
    const SyntheticImage& image = block.Truth().pImages[i];
    truth.col(static_cast<Eigen::Index>(i)) = Eigen::Vector3d(image.X, image.Y, image.Z);
    start.col(static_cast<Eigen::Index>(i)) = Eigen::Vector3d(project.pImages[i].Position.data());
  }
  const Eigen::Matrix4d T = Eigen::umeyama(truth, start, true);
  const Eigen::Matrix3d sR = T.topLeftCorner<3, 3>();
  const double scale = std::cbrt(sR.determinant());
  EXPECT_NEAR(scale, 0.013, 1e-10);
  const Eigen::Matrix3d expected =
      Eigen::AngleAxisd(-123 * kPi / 180, Eigen::Vector3d::UnitZ()).toRotationMatrix();
  // Positions are written to 1e-9, over a block of a few tens of units in this frame.
  EXPECT_LT((sR / scale - expected).norm(), 1e-7);
  EXPECT_LT(((sR * truth).colwise() + Eigen::Vector3d(T.topRightCorner<3, 1>()) - start).norm(), 1e-6);
  EXPECT_LT((scale * expected * truth.col(0) + Eigen::Vector3d(55, -8000, 3) - start.col(0)).norm(), 1e-5);
  for (size_t i = 0; i < n; ++i) {
    const RowMatrix R(project.pImages[i].R.data()), trueR(block.Truth().pImages[i].R);
    EXPECT_LT((R - expected * trueR).norm(), 1e-13);
  }
}

TEST(StartValues, TheFrameIsThatOfTheStartOrientationsAlone) {
  SyntheticOptions options;
  const Block home(options);
  options.fFrameScale = 2;
  options.fFrameKappa = 30;
  options.fFrameShiftX = 1000;
  const Block foreign(options);
  EXPECT_EQ(ReadFile(home.Paths().szOvt), ReadFile(foreign.Paths().szOvt));
  EXPECT_EQ(ReadFile(home.Paths().szGcp), ReadFile(foreign.Paths().szGcp));
  EXPECT_EQ(ReadFile(home.Paths().szPos), ReadFile(foreign.Paths().szPos));
  EXPECT_NE(ReadFile(home.Paths().szOvc), ReadFile(foreign.Paths().szOvc));
}

}  // namespace
}  // namespace orvo::test
