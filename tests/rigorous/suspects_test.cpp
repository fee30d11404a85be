#include "rigorous/Suspects.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "rigorous/AdjustedBlock.h"
#include "rigorous/RotationVector.h"

namespace orvo::rigorous::test {
namespace {

TruthBlock AnyBlock() {
  TruthOptions options;
  options.nStrips = 3;
  options.nImages = 5;
  options.fPointsPerImage = 60;
  options.nControl = 8;
  options.ControlSigma = {0.02, 0.02, 0.02};
  options.GpsSigma = {0.05, 0.05, 0.05};
  options.ImuSigma = {1e-3, 1e-3, 1e-3};
  return MakeTruthBlock(options);
}

std::vector<Suspect> SuspectsIn(const AdjustedBlock& block, double critical, int32_t threads = 1) {
  SuspectLimits limits;
  limits.fCritical = critical;
  limits.fSigma0 = block.Result.fSigma0;
  limits.nThreads = threads;
  return SuspectsOf(block.Block.Given, block.Plan(), block.Steps->Chunks(), block.At, block.Cofactors(),
                    limits);
}

struct GrossCase {
  const char* szWhat;
  std::function<void(Problem&)> Spoil;
  SuspectKind Kind;
  int64_t nPoint, nRay;
  int32_t nImage, nComponent;
  double fError;  ///< in standard deviations
};

const GrossCase kGross[] = {
    {"measurement", [](Problem& p) { p.vRays[40].x += 10; }, SuspectKind::Measurement, -1, 40, -1, 0, 20},
    {"control height", [](Problem& p) { p.vControl[3].Observed[2] -= 0.4; }, SuspectKind::Control, -1, -1, -1,
     2, -20},
    {"GPS", [](Problem& p) { p.vImages[7].GpsObserved[1] += 1; }, SuspectKind::Gps, -1, -1, 7, 1, 20},
    {"IMU",
     [](Problem& p) {
       p.vImages[4].ImuObserved = RotationUpdatedBy(p.vImages[4].ImuObserved, {0, 0, -0.02});
     },
     SuspectKind::Imu, -1, -1, 4, 2, -20}};

TEST(Suspects, BeginWithTheGrossError) {
  for (const GrossCase& gross : kGross) {
    TruthBlock spoilt = AnyBlock();
    gross.Spoil(spoilt.Given);
    const AdjustedBlock block(std::move(spoilt));
    ASSERT_TRUE(block.Covariance.Covariance) << gross.szWhat;
    const std::vector<Suspect> found = SuspectsIn(block, 3.29);
    ASSERT_FALSE(found.empty()) << gross.szWhat;
    const Suspect& first = found[0];
    EXPECT_EQ(gross.Kind, first.Kind) << gross.szWhat;
    EXPECT_EQ(gross.nRay, first.nRay) << gross.szWhat;
    EXPECT_EQ(gross.nComponent, first.nComponent) << gross.szWhat;
    if (gross.nImage >= 0) {
      EXPECT_EQ(gross.nImage, first.nImage) << gross.szWhat;
    }
    if (gross.Kind == SuspectKind::Control) {
      EXPECT_EQ(block.Block.Given.vControl[3].nPoint, first.nPoint);
    }
    // The residual has the redundancy of it; the other errors are the noise.
    const double expected = gross.fError * std::sqrt(first.fRedundancy) / block.Result.fSigma0;
    EXPECT_NEAR(expected, first.Worth.fTest, 3.5) << gross.szWhat;
    EXPECT_LT(first.Worth.fSmallest, std::abs(gross.fError)) << gross.szWhat;
  }
}

TEST(Suspects, AreLargestFirstAndOneForEachPointOrImage) {
  const AdjustedBlock block(AnyBlock());
  ASSERT_TRUE(block.Covariance.Covariance);
  const std::vector<Suspect> found = SuspectsIn(block, 1);
  ASSERT_GT(found.size(), 100U);
  std::vector<std::pair<int, int64_t>> owners;
  for (size_t k = 0; k < found.size(); ++k) {
    const Suspect& one = found[k];
    EXPECT_GT(std::abs(one.Worth.fTest), 1);
    if (k > 0) {
      EXPECT_LE(std::abs(one.Worth.fTest), std::abs(found[k - 1].Worth.fTest));
    }
    const bool ofPoint = one.Kind == SuspectKind::Measurement || one.Kind == SuspectKind::Control;
    owners.emplace_back(ofPoint ? 0 : static_cast<int>(one.Kind), ofPoint ? one.nPoint : one.nImage);
  }
  std::ranges::sort(owners);
  EXPECT_EQ(owners.end(), std::ranges::adjacent_find(owners));
  EXPECT_TRUE(SuspectsIn(block, 8).empty());
}

TEST(Suspects, HaveResidualsInTheUnitsOfTheObservations) {
  const AdjustedBlock block(AnyBlock());
  ASSERT_TRUE(block.Covariance.Covariance);
  int checked[4]{};
  for (const Suspect& one : SuspectsIn(block, 0.5)) {
    const auto c = static_cast<size_t>(one.nComponent);
    ++checked[static_cast<size_t>(one.Kind)];
    const Problem& in = block.Block.Given;
    if (one.Kind == SuspectKind::Gps) {
      const Vector3& centre = block.At.vPoses[static_cast<size_t>(one.nImage)].Centre;
      EXPECT_NEAR(in.vImages[static_cast<size_t>(one.nImage)].GpsObserved[c] - centre[c], one.fResidual,
                  1e-9);
    }
    if (one.Kind == SuspectKind::Control) {
      const auto control = std::ranges::find(in.vControl, one.nPoint, &ControlObservation::nPoint);
      ASSERT_NE(in.vControl.end(), control);
      EXPECT_NEAR(control->Observed[c] - block.At.vPoints[static_cast<size_t>(one.nPoint)][c], one.fResidual,
                  1e-9);
    }
    if (one.Kind == SuspectKind::Measurement) {
      const Ray& ray = in.vRays[static_cast<size_t>(one.nRay)];
      Vector2 v{};
      ASSERT_EQ(RayStatus::Good,
                ResidualOfRay(block.At.vPoses[static_cast<size_t>(ray.nImage)], block.At.vCameras[0].LensNow,
                              block.At.vPoints[static_cast<size_t>(one.nPoint)], {ray.x, ray.y}, in.Form, v));
      EXPECT_NEAR(v[c], one.fResidual, 1e-9);
    }
  }
  for (const int number : checked) EXPECT_GT(number, 0);
}

/// What the precision of everything contradicts, that of the point alone doubts.
TEST(Suspects, AreAmongTheDoubtfulPoints) {
  const AdjustedBlock block(AnyBlock());
  ASSERT_TRUE(block.Covariance.Covariance);
  for (const double critical : {1.0, 2.0, 3.0}) {
    SuspectLimits limits;
    limits.fCritical = critical;
    limits.fSigma0 = block.Result.fSigma0;
    const std::vector<uint8_t> doubtful = DoubtfulPoints(block.Block.Given, block.At, limits);
    ASSERT_EQ(std::ssize(doubtful), block.Block.Given.PointNum());
    limits.nThreads = 4;
    EXPECT_EQ(doubtful, DoubtfulPoints(block.Block.Given, block.At, limits));
    int64_t found = 0;
    for (const Suspect& one : SuspectsIn(block, critical)) {
      if (one.Kind != SuspectKind::Measurement) continue;
      ++found;
      EXPECT_TRUE(doubtful[static_cast<size_t>(one.nPoint)]) << critical << " " << one.nPoint;
    }
    const int64_t doubted = std::ranges::count(doubtful, 1);
    EXPECT_GE(doubted, found);
    EXPECT_LT(doubted, critical < 3 ? std::ssize(doubtful) : std::ssize(doubtful) / 4) << critical;
    limits.Wanted = [&doubtful](int64_t point) { return doubtful[static_cast<size_t>(point)] != 0; };
    const std::vector<Suspect> wanted = SuspectsOf(block.Block.Given, block.Plan(), block.Steps->Chunks(),
                                                   block.At, block.Cofactors(), limits);
    EXPECT_EQ(found, std::ranges::count(wanted, SuspectKind::Measurement, &Suspect::Kind));
  }
}

TEST(Suspects, AreTheSameOnAnyNumberOfThreads) {
  const AdjustedBlock block(AnyBlock());
  ASSERT_TRUE(block.Covariance.Covariance);
  const std::vector<Suspect> one = SuspectsIn(block, 1), four = SuspectsIn(block, 1, 4);
  ASSERT_EQ(one.size(), four.size());
  for (size_t k = 0; k < one.size(); ++k) {
    EXPECT_EQ(one[k].nRay, four[k].nRay);
    EXPECT_EQ(one[k].Worth.fTest, four[k].Worth.fTest);
  }
}

}  // namespace
}  // namespace orvo::rigorous::test
