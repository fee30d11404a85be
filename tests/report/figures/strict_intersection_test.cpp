// Against the slow reference of the exchange room.
#include "report/StrictIntersection.h"

#include <gtest/gtest.h>

#include <limits>

#include "FigureBlock.h"
#include "exchange/StrictResiduals.h"
#include "geometry/camera/Rotation.h"

namespace orvo::report {
namespace {

using test::FigureBlock;
using test::kScale;

SurveyBlock SurveyOf(const FigureBlock& block) {
  SurveyBlock survey;
  for (const IopRecord& camera : block.Iop) {
    const double s2 = kScale * kScale;
    survey.Cameras.push_back({0, camera.nImageWidth, camera.nImageHeight, camera.fFocal / kScale,
                              camera.fPrincipalX / kScale, camera.fPrincipalY / kScale, camera.fK1 * s2,
                              camera.fK2 * s2 * s2, 0});
  }
  for (size_t i = 0; i < block.Eop.size(); ++i) {
    const EopRecord& eop = block.Eop[i];
    SurveyImage image;
    image.nCamera = block.CameraOf[i];
    image.S = {eop.X, eop.Y, eop.Z};
    ComputeRotationMatrix(eop.fPhi, eop.fOmega, eop.fKappa, image.R.data());
    survey.Images.push_back(image);
  }
  return survey;
}

std::vector<StrictRay> RaysOf(const FigureBlock& block, std::span<const ImageFrame> frames,
                              std::span<const ImagePointRecord> measurements) {
  std::vector<StrictRay> rays;
  for (const ImagePointRecord& m : measurements) {
    const IopRecord& camera = block.Iop[static_cast<size_t>(m.nCamera)];
    rays.push_back({&frames[static_cast<size_t>(m.nImage)], camera.fFocal,
                    CorrectMeasurement(camera, static_cast<double>(m.x), static_cast<double>(m.y))});
  }
  return rays;
}

std::vector<SurveyMeasurement> SurveyMeasurementsOf(std::span<const ImagePointRecord> measurements) {
  std::vector<SurveyMeasurement> survey;
  for (const ImagePointRecord& m : measurements)
    survey.push_back({m.nImage, static_cast<double>(m.x) / kScale, static_cast<double>(m.y) / kScale});
  return survey;
}

/// Undamped steps in long doubles to the bottom of the valley that P stands in.
void Polish(const SurveyBlock& block, std::span<const SurveyMeasurement> measurements,
            std::array<double, 3>& P) {
  using Real = long double;
  Real X[3] = {P[0], P[1], P[2]};
  for (int step = 0; step < 30; ++step) {
    Real N[3][3] = {}, b[3] = {};
    for (const SurveyMeasurement& m : measurements) {
      const SurveyImage& image = block.Images[static_cast<size_t>(m.nImage)];
      const SurveyCamera& camera = block.Cameras[static_cast<size_t>(image.nCamera)];
      const exchange::ImageVector corrected = exchange::CorrectedMeasurement(camera, m.x, m.y);
      Real c[3] = {};
      for (size_t k = 0; k < 3; ++k)
        for (size_t i = 0; i < 3; ++i) c[k] += image.R[3 * i + k] * (X[i] - image.S[i]);
      const Real f = camera.dFocal, v[2] = {corrected.x + f * c[0] / c[2], corrected.y + f * c[1] / c[2]};
      for (size_t e = 0; e < 2; ++e) {
        Real J[3];
        for (size_t i = 0; i < 3; ++i)
          J[i] = f / c[2] * (image.R[3 * i + e] - c[e] / c[2] * image.R[3 * i + 2]);
        for (size_t i = 0; i < 3; ++i) {
          b[i] -= J[i] * v[e];
          for (size_t k = 0; k < 3; ++k) N[i][k] += J[i] * J[k];
        }
      }
    }
    const auto determinant = [](const Real(&M)[3][3]) {
      return M[0][0] * (M[1][1] * M[2][2] - M[1][2] * M[2][1]) -
             M[0][1] * (M[1][0] * M[2][2] - M[1][2] * M[2][0]) +
             M[0][2] * (M[1][0] * M[2][1] - M[1][1] * M[2][0]);
    };
    const Real all = determinant(N);
    for (size_t k = 0; k < 3; ++k) {
      Real M[3][3];
      for (size_t i = 0; i < 3; ++i)
        for (size_t j = 0; j < 3; ++j) M[i][j] = j == k ? b[i] : N[i][j];
      X[k] += determinant(M) / all;
    }
  }
  for (size_t k = 0; k < 3; ++k) P[k] = static_cast<double>(X[k]);
}

struct Differences {
  double fReference = 0;  ///< of residuals to those of the reference, pixels
  double fBottom = 0;     ///< to those at the bottom of its valley
};

/// The largest over all points; infinite where one has a point that the other has not. `off`: how far from
/// the truth this one starts.
Differences WorstDifferences(const FigureBlock& block, double off) {
  constexpr double kEndless = std::numeric_limits<double>::infinity();
  const SurveyBlock survey = SurveyOf(block);
  const std::vector<ImageFrame> frames = MakeImageFrames(block.Eop);
  Differences worst;
  for (const ObjectPointRecord& point : block.Points) {
    const std::vector<StrictRay> rays = RaysOf(block, frames, block.Of(point));
    const std::vector<SurveyMeasurement> measurements = SurveyMeasurementsOf(block.Of(point));
    std::array<double, 3> slow = {point.X, point.Y, point.Z};
    double fast[3] = {point.X + off, point.Y - off, point.Z + 2 * off};
    const bool has = exchange::IntersectStrictly(survey, measurements, slow);
    if (has != IntersectStrictly(rays, fast)) return {kEndless, kEndless};
    if (!has) continue;
    const auto difference = [&] {
      std::vector<exchange::ImageVector> expected;
      exchange::StrictResidualsAt(survey, measurements, slow, expected);
      double most = 0;
      for (size_t i = 0; i < rays.size(); ++i) {
        const ImageCoordinates v = StrictResidual(rays[i], fast);
        most = std::max(
            {most, std::fabs(v.x / kScale - expected[i].x), std::fabs(v.y / kScale - expected[i].y)});
      }
      return most;
    };
    worst.fReference = std::max(worst.fReference, difference());
    Polish(survey, measurements, slow);
    worst.fBottom = std::max(worst.fBottom, difference());
  }
  return worst;
}

TEST(StrictIntersection, AgreesWithTheSlowReference) {
  for (const double noise : {0.0, 0.5, 5.0}) {
    FigureBlock block(6, 3, 2);
    block.AddTiePoints(4, noise);
    ASSERT_GT(block.Points.size(), 500U);
    for (const double off : {0.0, 0.05, 5.0}) {
      const Differences worst = WorstDifferences(block, off);
      // The reference itself stops where its sum of squares no longer changes, at half of the digits.
      EXPECT_LT(worst.fReference, 1e-5) << noise << " " << off;
      EXPECT_LT(worst.fBottom, noise > 1 ? 1e-7 : 1e-9) << noise << " " << off;
    }
  }
}

TEST(StrictIntersection, AgreesWithOutliers) {
  FigureBlock block(6, 3);
  block.AddTiePoints(5, 0.5);
  for (size_t i = 0; i < block.Rays.size(); i += 9) block.Rays[i].x += static_cast<float>(300 * kScale);
  const Differences worst = WorstDifferences(block, 0.1);
  EXPECT_LT(worst.fReference, 1e-4);
  EXPECT_LT(worst.fBottom, 1e-5);
}

/// Two vertical images from 100, 20 apart, f 5.
class TwoImages : public ::testing::Test {
 protected:
  TwoImages() {
    Eop[0].Z = Eop[1].Z = 100;
    Eop[1].X = 20;
    Frames = MakeImageFrames(Eop);
  }
  StrictRay Ray(size_t image, double x, double y) const { return {&Frames[image], 5, {x, y}}; }

  std::vector<EopRecord> Eop{2};
  std::vector<ImageFrame> Frames;
  double P[3] = {9, 1, 2};
};

TEST_F(TwoImages, MeetByHand) {
  // Both see the same y, so the difference is shared out evenly.
  ASSERT_TRUE(IntersectStrictly(std::vector{Ray(0, 0.5, 0.003), Ray(1, -0.5, -0.001)}, P));
  EXPECT_NEAR(P[0], 10, 1e-9);
  EXPECT_NEAR(P[1], 0.02, 1e-9);
  EXPECT_NEAR(P[2], 0, 1e-9);
  EXPECT_NEAR(StrictResidual(Ray(0, 0.5, 0.003), P).y, 0.002, 1e-12);
  EXPECT_NEAR(StrictResidual(Ray(1, -0.5, -0.001), P).y, -0.002, 1e-12);
}

TEST_F(TwoImages, NoPoint) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  const std::vector<std::vector<StrictRay>> without = {
      {},
      {Ray(0, 0.5, 0)},
      {Ray(0, 0.5, 0), Ray(1, 0.5, 0)},                     // parallel
      {Ray(0, 0.5, 0), Ray(0, -0.5, 0)},                    // of one image
      {Ray(0, 0.5, 0), Ray(0, -0.5, 0), Ray(0, 0.1, 0.1)},  // of one image
      {Ray(0, kNan, 0), Ray(1, -0.5, 0)},                   // no number
      {Ray(0, std::numeric_limits<double>::infinity(), 0), Ray(1, -0.5, 0)},
      {Ray(0, 1e300, 0), Ray(1, -1e300, 0)},
  };
  for (size_t i = 0; i < without.size(); ++i) {
    EXPECT_FALSE(IntersectStrictly(without[i], P)) << i;
    EXPECT_EQ(P[0], 9);
    EXPECT_EQ(P[1], 1);
    EXPECT_EQ(P[2], 2);
  }
}

TEST_F(TwoImages, BadStartsLeadThereAllTheSame) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  constexpr double kStarts[][3] = {{0, 0, 100}, {10, 0, 500}, {1e6, -1e6, 3}, {kNan, 0, 0}, {0, 0, 1e300}};
  for (const auto& start : kStarts) {
    std::copy(start, start + 3, P);
    ASSERT_TRUE(IntersectStrictly(std::vector{Ray(0, 0.5, 0), Ray(1, -0.5, 0)}, P)) << start[0];
    EXPECT_NEAR(P[0], 10, 1e-6) << start[0];
    EXPECT_NEAR(P[2], 0, 1e-6) << start[2];
  }
}

}  // namespace
}  // namespace orvo::report
