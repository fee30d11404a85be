#include "rigorous/TruthBlock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

#include "rigorous/OwnObservations.h"
#include "rigorous/RotationVector.h"

namespace orvo::rigorous {
namespace {

using test::MakeTruthBlock;
using test::TruthBlock;
using test::TruthCameras;
using test::TruthOptions;

constexpr uint32_t kBrown = kLensFocal | kLensPrincipalPoint | kLensRadial | kLensTangential;

struct TruthCase {
  const char* szWhat;
  TruthOptions Options;
  int32_t nImages, nCameras;
};

const TruthCase kCases[] = {
    {"plain", {}, 32, 1},
    {"of one image", {.nStrips = 1, .nImages = 1}, 1, 1},
    {"cross strips", {.nCrossStrips = 2}, 32 + 2 * 9, 1},
    {"millimetres, every term", {.fPixel = 0.004, .nLensTerms = kLensAll, .nLensUnknowns = kLensAll}, 32, 1},
    {"a camera each strip", {.Cameras = TruthCameras::EachStrip, .nLensTerms = kBrown}, 32, 4},
    {"a camera each image", {.nCrossStrips = 1, .Cameras = TruthCameras::EachImage}, 41, 41},
    {"corrected form", {.Form = ResidualForm::Corrected}, 32, 1},
    {"hills", {.fRelief = 0.4, .fTilt = 5}, 32, 1},
};

/// Residuals of all rays, in pixels. `status` counts those that are not good.
std::vector<Vector2> ResidualsAt(const Problem& problem, const Estimate& estimate, double pixel,
                                 int64_t& bad) {
  std::vector<Vector2> all;
  bad = 0;
  for (int64_t p = 0; p < problem.PointNum(); ++p) {
    for (const Ray& ray : problem.RaysOf(p)) {
      const Lens& lens = estimate.vCameras[problem.vImages[ray.nImage].nCamera].LensNow;
      Vector2 v{};
      bad += ResidualOfRay(estimate.vPoses[ray.nImage], lens, estimate.vPoints[p], {ray.x, ray.y},
                           problem.Form, v) != RayStatus::Good;
      all.push_back({v[0] / pixel, v[1] / pixel});
    }
  }
  return all;
}

double Squares(const std::vector<Vector2>& residuals) {
  double sum = 0;
  for (const Vector2& v : residuals) sum += v[0] * v[0] + v[1] * v[1];
  return sum;
}

/// By how many of its own standard deviations a sum of `count` normalised squares is off.
double Excess(double squares, double count) { return (squares - count) / std::sqrt(2 * count); }

TEST(TruthBlock, HasNoResidualsWithoutNoise) {
  for (const TruthCase& c : kCases) {
    SCOPED_TRACE(c.szWhat);
    TruthOptions options = c.Options;
    options.fNoise = 0;
    const TruthBlock block = MakeTruthBlock(options);
    int64_t bad = 0;
    double most = 0;
    for (const Vector2& v : ResidualsAt(block.Given, block.Truth, options.fPixel, bad)) {
      most = std::max({most, std::fabs(v[0]), std::fabs(v[1])});
    }
    EXPECT_EQ(bad, 0);
    EXPECT_LE(most, 1.3e-4) << "measurements are floats";
  }
}

TEST(TruthBlock, ResidualsAtTruthAreTheNoise) {
  for (const TruthCase& c : kCases) {
    SCOPED_TRACE(c.szWhat);
    const TruthBlock block = MakeTruthBlock(c.Options);
    EXPECT_EQ(block.Given.vImages.size(), c.nImages);
    EXPECT_EQ(block.Given.vCameras.size(), c.nCameras);
    if (c.nImages == 1) {
      EXPECT_EQ(block.Given.PointNum(), 0);
      continue;
    }
    int64_t bad = 0;
    const std::vector<Vector2> v = ResidualsAt(block.Given, block.Truth, c.Options.fPixel, bad);
    const double sigma = block.Given.vCameras[0].fSigma / c.Options.fPixel;
    EXPECT_EQ(bad, 0);
    EXPECT_DOUBLE_EQ(sigma, 0.5);
    // Corrected residuals are the noise stretched by the lens: some percent.
    const double most = c.Options.Form == ResidualForm::Measured ? 4 : 10;
    EXPECT_LE(std::fabs(Excess(Squares(v) / (sigma * sigma), 2.0 * static_cast<double>(v.size()))), most);
    EXPECT_GT(static_cast<double>(v.size()) / c.nImages, 60) << "rays of an image";
  }
}

TEST(TruthBlock, PointsAreSeenOftenEnoughAndInOrder) {
  const TruthBlock block = MakeTruthBlock({.nStrips = 6, .nImages = 12});
  const Problem& given = block.Given;
  std::array<int32_t, 3> last = {-1, -1, -1};
  for (int64_t p = 0; p < given.PointNum(); ++p) {
    const auto rays = given.RaysOf(p);
    ASSERT_GE(rays.size(), 2);
    for (size_t r = 1; r < rays.size(); ++r) EXPECT_LT(rays[r - 1].nImage, rays[r].nImage);
    const std::array<int32_t, 3> key = {rays[0].nImage, rays[1].nImage, rays.back().nImage};
    EXPECT_LE(last, key);
    last = key;
  }
  EXPECT_EQ(given.vFirstRay.back(), std::ssize(given.vRays));
  // With 80 and 60 % overlap an inner point is on 5 by 2.5 images, an inner image has its 100 points.
  int64_t inner = 0, rays = 0;
  for (int64_t p = 0; p < given.PointNum(); ++p) {
    const Vector3& at = block.Truth.vPoints[p];
    if (std::fabs(at[0]) > 40 || std::fabs(at[1]) > 60) continue;
    ++inner;
    rays += std::ssize(given.RaysOf(p));
  }
  EXPECT_NEAR(static_cast<double>(rays) / static_cast<double>(inner), 12.5, 0.5);
  const auto ofImage = std::ranges::count_if(given.vRays, [](const Ray& ray) { return ray.nImage == 30; });
  EXPECT_NEAR(static_cast<double>(ofImage), 100, 40);
}

TEST(TruthBlock, ObservationsAreOffByTheirStandardDeviations) {
  TruthOptions options = {.nStrips = 6, .nImages = 12, .nControl = 60, .ControlSigma = {0.01, 0.02, 0.05}};
  options.nHeightControl = 20;
  options.GpsSigma = {0.02, 0.02, 0.05};
  options.ImuSigma = {1e-3, 1e-3, 2e-3};
  options.LeverArm = {0.1, -0.2, 0.3};
  options.Boresight = {0.01, -0.02, 1.5};
  options.fGpsConstant = options.fGpsLinear = 0.3;
  options.fImuConstant = options.fImuLinear = 0.01;
  const TruthBlock block = MakeTruthBlock(options);
  const OwnSums own = SumOwnObservations(block.Given, block.Truth);
  EXPECT_EQ(own.nObservations, 6 * 12 * 6);
  EXPECT_EQ(own.nNotFinite, 0);
  EXPECT_LE(std::fabs(Excess(own.fSquares, static_cast<double>(own.nObservations))), 4);

  double squares = 0;
  int64_t count = 0, last = -1;
  for (const ControlObservation& c : block.Given.vControl) {
    EXPECT_GT(c.nPoint, last);
    last = c.nPoint;
    for (int k = 0; k < 3; ++k) {
      if (c.Sigma[k] == kNotObserved) continue;
      squares += std::pow((c.Observed[k] - block.Truth.vPoints[c.nPoint][k]) / c.Sigma[k], 2);
      ++count;
    }
  }
  EXPECT_EQ(count, 60 * 3 + 20);
  EXPECT_LE(std::fabs(Excess(squares, static_cast<double>(count))), 4);
  for (const StripModel& strip : block.Given.vStrips) {
    EXPECT_TRUE(strip.bGpsConstant && strip.bGpsLinear && strip.bImuConstant && strip.bImuLinear);
  }
  EXPECT_GT(Norm(block.Truth.vStrips[0].Gps.Linear), 0);
}

TEST(TruthBlock, GrossErrorsAreWhereItSays) {
  const TruthBlock block = MakeTruthBlock({.fGrossShare = 0.05, .fGrossPixels = 40});
  int64_t bad = 0;
  const std::vector<Vector2> v = ResidualsAt(block.Given, block.Truth, 1, bad);
  std::vector<int64_t> found;
  for (size_t r = 0; r < v.size(); ++r) {
    const double length = std::hypot(v[r][0], v[r][1]);
    if (length > 4) found.push_back(static_cast<int64_t>(r));
    EXPECT_LT(length > 4 ? std::fabs(length - 40) : length, 3);
  }
  EXPECT_EQ(found, block.vGrossRays);
  EXPECT_NEAR(static_cast<double>(found.size()) / static_cast<double>(v.size()), 0.05, 0.01);
}

/// Root mean square of a component.
template <class Difference>
double RmsOf(size_t count, Difference difference) {
  double sum = 0;
  for (size_t i = 0; i < count; ++i) sum += std::pow(Norm(difference(i)), 2);
  return std::sqrt(sum / (3.0 * static_cast<double>(count)));
}

TEST(TruthBlock, BeginsOffTruthByWhatIsAsked) {
  TruthOptions options = {.nStrips = 8, .nImages = 20, .nLensUnknowns = kBrown};
  options.fStartCentre = 3, options.fStartDegrees = 0.2, options.fStartPoint = 2;
  options.bLeverArm = true;
  options.LeverArm = options.Boresight = {0.1, 0.2, 0.3};
  const TruthBlock block = MakeTruthBlock(options);
  const Estimate &truth = block.Truth, &start = block.Start;
  const size_t images = truth.vPoses.size();
  EXPECT_NEAR(RmsOf(images, [&](size_t i) { return start.vPoses[i].Centre - truth.vPoses[i].Centre; }), 3,
              0.4);
  EXPECT_NEAR(RmsOf(images,
                    [&](size_t i) {
                      return VectorOfRotation(Multiply(Transposed(truth.vPoses[i].R), start.vPoses[i].R));
                    }) *
                  180 / std::numbers::pi,
              0.2, 0.03);
  EXPECT_NEAR(RmsOf(truth.vPoints.size(), [&](size_t p) { return start.vPoints[p] - truth.vPoints[p]; }), 2,
              0.1);
  EXPECT_NE(start.vCameras[0].LensNow.f, truth.vCameras[0].LensNow.f);
  EXPECT_EQ(start.vCameras[0].LensNow.k1, 0);
  EXPECT_EQ(start.vCameras[0].LeverArm, Vector3{});
  EXPECT_EQ(start.vCameras[0].Boresight, truth.vCameras[0].Boresight);
  EXPECT_EQ(truth.vCameras[0].LeverArm, options.LeverArm);
}

TEST(TruthBlock, HeldValuesBeginWhereTheyAreHeld) {
  const TruthBlock block =
      MakeTruthBlock({.nLensUnknowns = 0, .nControl = 5, .ControlSigma = {0, 0, 0.1}, .nHeldImages = 3});
  for (const ControlObservation& c : block.Given.vControl) {
    EXPECT_EQ(c.Observed[0], block.Truth.vPoints[c.nPoint][0]);
    EXPECT_EQ(block.Start.vPoints[c.nPoint][1], c.Observed[1]);
    EXPECT_NE(block.Start.vPoints[c.nPoint][2], c.Observed[2]);
  }
  EXPECT_EQ(block.Given.vControl.size(), 5);
  for (size_t i = 0; i < block.Given.vImages.size(); ++i) {
    EXPECT_EQ(block.Given.vImages[i].bUnknown, i >= 3);
    EXPECT_EQ(block.Start.vPoses[i].Centre == block.Truth.vPoses[i].Centre, i < 3);
  }
  EXPECT_EQ(std::memcmp(&block.Start.vCameras[0], &block.Truth.vCameras[0], sizeof(CameraEstimate)), 0);
}

TEST(TruthBlock, IsTheSameForTheSameSeed) {
  const TruthBlock a = MakeTruthBlock({.nSeed = 7}), b = MakeTruthBlock({.nSeed = 7}), c = MakeTruthBlock({});
  EXPECT_EQ(a.Truth.vPoints, b.Truth.vPoints);
  EXPECT_EQ(a.Start.vPoints, b.Start.vPoints);
  EXPECT_NE(a.Truth.vPoints, c.Truth.vPoints);
}

TEST(TruthBlock, HasOtherErrorsOfTheSameTruth) {
  TruthOptions options = {.nControl = 4, .GpsSigma = {0.1, 0.1, 0.1}};
  options.fGpsConstant = 1;
  const TruthBlock a = MakeTruthBlock(options);
  options.nNoiseSeed = 5;
  const TruthBlock b = MakeTruthBlock(options);
  EXPECT_EQ(a.Truth.vPoints, b.Truth.vPoints);
  EXPECT_EQ(a.Truth.vPoses[7].Centre, b.Truth.vPoses[7].Centre);
  EXPECT_EQ(a.Truth.vStrips[1].Gps.Constant, b.Truth.vStrips[1].Gps.Constant);
  EXPECT_EQ(a.Given.vRays[0].nImage, b.Given.vRays[0].nImage);
  EXPECT_NE(a.Given.vRays[0].x, b.Given.vRays[0].x);
  EXPECT_EQ(a.Given.vControl[0].nPoint, b.Given.vControl[0].nPoint);
  EXPECT_NE(a.Given.vControl[0].Observed, b.Given.vControl[0].Observed);
  EXPECT_NE(a.Given.vImages[3].GpsObserved, b.Given.vImages[3].GpsObserved);
}

}  // namespace
}  // namespace orvo::rigorous
