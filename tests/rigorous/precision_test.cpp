#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>

#include "rigorous/AdjustedBlock.h"

namespace orvo::rigorous::test {
namespace {

using O = TruthOptions;

struct Case {
  const char* szName;
  std::function<void(O&)> Change;
  bool bPriors = false;  ///< of all that can have one
};

O OptionsOf(const Case& block) {
  O options;
  options.nStrips = 2;
  options.nImages = 4;
  options.fPointsPerImage = 30;
  block.Change(options);
  return options;
}

/// Of single values of a vector, and of held unknowns, as well.
void AddPriors(TruthBlock& block) {
  constexpr double kPriorSigma[] = {5, 3, 3, 1e-9, 1e-15, 1e-22, 1e-7, 1e-7, 1e-4, 1e-4};
  for (size_t c = 0; c < block.Given.vCameras.size(); ++c) {
    CameraModel& camera = block.Given.vCameras[c];
    camera.Prior = block.Truth.vCameras[c].LensNow;
    std::ranges::copy(kPriorSigma, camera.PriorSigma.begin());
    camera.LeverArmPrior = block.Truth.vCameras[c].LeverArm;
    camera.LeverArmSigma = {0.05, 0.1, kNotObserved};
    camera.BoresightPrior = block.Truth.vCameras[c].Boresight;
    camera.BoresightSigma = {1e-3, kNotObserved, 2e-3};
  }
  for (StripModel& strip : block.Given.vStrips) {
    strip.GpsConstantSigma = strip.GpsLinearSigma = {0.1, 0.1, kNotObserved};
    strip.ImuConstantSigma = strip.ImuLinearSigma = {1e-3, 1e-3, 1e-3};
  }
}

AdjustedBlock Adjusted(const Case& kind) {
  TruthBlock block = MakeTruthBlock(OptionsOf(kind));
  if (kind.bPriors) AddPriors(block);
  return AdjustedBlock(std::move(block));
}

class Precision : public ::testing::TestWithParam<Case> {};

TEST_P(Precision, OfImagesAndCamerasIsThatOfTheWholeSystem) {
  const AdjustedBlock block = Adjusted(GetParam());
  ASSERT_TRUE(block.Covariance.Covariance);
  const UnknownPlan& plan = block.Plan();
  const DenseAdjustment dense = DenseAdjustmentOf(block.Block.Given, plan, block.At);
  const Eigen::MatrixXd Q = block.DenseCofactors(dense);
  std::vector<double> values(64 * 64);
  for (int32_t i = 0; i < plan.NodeNum(); ++i) {
    for (int32_t j = 0; j < plan.NodeNum(); ++j) {
      if (!block.Cofactors().Block(i, j, values)) continue;
      const int64_t rows = plan.vSizes[static_cast<size_t>(i)], columns = plan.vSizes[static_cast<size_t>(j)];
      for (int64_t r = 0; r < rows; ++r) {
        for (int64_t c = 0; c < columns; ++c) {
          const int64_t a = plan.vFirstUnknown[static_cast<size_t>(i)] + r,
                        b = plan.vFirstUnknown[static_cast<size_t>(j)] + c;
          EXPECT_NEAR(Q(a, b), values[static_cast<size_t>(r * columns + c)],
                      1e-6 * std::sqrt(Q(a, a) * Q(b, b)))
              << i << " " << j << ": " << r << " " << c;
        }
      }
    }
  }
}

TEST_P(Precision, OfPointsAndMeasurementsIsThatOfTheWholeSystem) {
  const AdjustedBlock block = Adjusted(GetParam());
  ASSERT_TRUE(block.Covariance.Covariance);
  const DenseAdjustment dense = DenseAdjustmentOf(block.Block.Given, block.Plan(), block.At);
  const Eigen::MatrixXd Q = block.DenseCofactors(dense);
  const Eigen::VectorXd predicted = (dense.J * Q).cwiseProduct(dense.J).rowwise().sum();
  for (const PointPrecision& point : block.Points()) {
    const int64_t first = dense.nNodeUnknowns + 3 * point.nPoint;
    const double unit = std::max(Q.block<3, 3>(first, first).trace(), 1e-30);
    ASSERT_TRUE(point.bDetermined);
    for (int k = 0; k < 9; ++k)
      EXPECT_NEAR(Q(first + k / 3, first + k % 3), point.Cofactor[static_cast<size_t>(k)], 1e-6 * unit);
    for (const RayPrecision& ray : point.vRays) {
      EXPECT_TRUE(ray.bInUse);
      for (int c = 0; c < 2; ++c)
        EXPECT_NEAR(1 - predicted[2 * ray.nRay + c], ray.Redundancy[static_cast<size_t>(c)], 1e-6);
    }
  }
}

TEST_P(Precision, OfOwnObservationsIsThatOfTheWholeSystem) {
  const AdjustedBlock block = Adjusted(GetParam());
  ASSERT_TRUE(block.Covariance.Covariance);
  const DenseAdjustment dense = DenseAdjustmentOf(block.Block.Given, block.Plan(), block.At);
  const Eigen::MatrixXd Q = block.DenseCofactors(dense);
  Eigen::Index row = dense.nOwnRow;
  for (const OwnPrecision& own : block.Own()) {
    for (size_t c = 0; c < 3; ++c, ++row) {
      const double predicted = dense.J.row(row) * Q * dense.J.row(row).transpose();
      EXPECT_NEAR(own.IsCounted[c] ? 1 - predicted : 0, own.Redundancy[c], 1e-6) << own.nOwner;
      EXPECT_GT(own.Redundancy[c], -1e-9);
    }
  }
  EXPECT_EQ(dense.J.rows(), row);
}

TEST_P(Precision, RedundanciesSumToTheRedundancy) {
  const AdjustedBlock block = Adjusted(GetParam());
  ASSERT_TRUE(block.Covariance.Covariance);
  double sum = 0;
  for (const PointPrecision& point : block.Points()) {
    sum += point.ControlRedundancy[0] + point.ControlRedundancy[1] + point.ControlRedundancy[2];
    for (const RayPrecision& ray : point.vRays) sum += ray.Redundancy[0] + ray.Redundancy[1];
  }
  for (const OwnPrecision& own : block.Own())
    sum += own.Redundancy[0] + own.Redundancy[1] + own.Redundancy[2];
  const auto redundancy = static_cast<double>(block.Result.Redundancy());
  EXPECT_NEAR(redundancy, sum, 1e-9 * redundancy);
}

TEST_P(Precision, OfPointsIsTheSameOnAnyNumberOfThreads) {
  const AdjustedBlock block = Adjusted(GetParam());
  const std::vector<PointPrecision> one = block.Points(1), four = block.Points(4);
  ASSERT_EQ(one.size(), four.size());
  for (size_t p = 0; p < one.size(); ++p) EXPECT_EQ(one[p].Cofactor, four[p].Cofactor);
}

INSTANTIATE_TEST_SUITE_P(
    All, Precision,
    ::testing::Values(
        Case{"Control", [](O& o) { o.nControl = 5; }},
        Case{"HeldControl",
             [](O& o) {
               o.nControl = 5, o.ControlSigma = {0, 0, 0};
             }},
        Case{"HeightControl", [](O& o) { o.nControl = 3, o.nHeightControl = 4; }},
        Case{"Free", [](O& o) { o.nLensUnknowns = 0; }},
        Case{"FreeWithCamera", [](O& o) { o.fRelief = 0.4; }},
        Case{"CameraOfEachStrip", [](O& o) { o.nControl = 6, o.Cameras = TruthCameras::EachStrip; }},
        Case{"CameraOfEachImage",
             [](O& o) {
               o.nControl = 8, o.nStrips = 3, o.Cameras = TruthCameras::EachImage;
               o.nLensUnknowns = kLensRadial;
             }},
        Case{"HeldImages", [](O& o) { o.nHeldImages = 2; }},
        Case{"AllImagesHeld",
             [](O& o) {
               o.nHeldImages = 8, o.nControl = 3, o.GpsSigma = {0.05, 0.05, 0.1};
             }},
        Case{"AllButPointsHeld", [](O& o) { o.nHeldImages = 8, o.nControl = 3, o.nLensUnknowns = 0; }},
        Case{"Gps",
             [](O& o) {
               o.GpsSigma = {0.05, 0.05, 0.1};
             }},
        Case{"GpsHeights",
             [](O& o) {
               o.GpsSigma = {kNotObserved, kNotObserved, 0.1}, o.nLensUnknowns = 0;
             }},
        Case{"ImuAlone",
             [](O& o) {
               o.ImuSigma = {1e-3, 1e-3, 2e-3}, o.nLensUnknowns = 0;
             }},
        Case{"GpsAndImuOfHeldImages",
             [](O& o) {
               o.nHeldImages = 2, o.GpsSigma = {0.05, 0.05, 0.1}, o.ImuSigma = {1e-3, 1e-3, 2e-3};
             }},
        Case{"Mounting",
             [](O& o) {
               o.nControl = 6, o.GpsSigma = {0.05, 0.05, 0.1}, o.ImuSigma = {1e-3, 1e-3, 2e-3};
               o.LeverArm = {0.2, -0.1, 0.3}, o.Boresight = {0.01, -0.02, 0.03};
               o.bLeverArm = o.bBoresight = true, o.fRelief = 0.4;
             }},
        Case{"Drift",
             [](O& o) {
               o.nControl = 6, o.nCrossStrips = 1;
               o.GpsSigma = {0.05, 0.05, 0.1}, o.ImuSigma = {1e-3, 1e-3, 2e-3};
               o.fGpsConstant = 0.3, o.fGpsLinear = 0.1;
               o.fImuConstant = 5e-3, o.fImuLinear = 1e-3;
             }},
        Case{"Priors",
             [](O& o) {
               o.nControl = 4, o.GpsSigma = {0.05, 0.05, 0.1}, o.ImuSigma = {1e-3, 1e-3, 2e-3};
               o.bLeverArm = o.bBoresight = true, o.nLensUnknowns = kLensAll;
               o.fGpsConstant = o.fGpsLinear = 0.1, o.fImuConstant = o.fImuLinear = 1e-3;
             },
             true},
        Case{"PriorsOfACameraOfEachImage",
             [](O& o) {
               o.nControl = 8, o.nStrips = 3, o.Cameras = TruthCameras::EachImage;
               o.nLensUnknowns = kLensAll, o.bLeverArm = true;
               o.GpsSigma = {0.05, 0.05, 0.1};
             },
             true}),
    [](const ::testing::TestParamInfo<Case>& test) { return std::string(test.param.szName); });

/// N Q N over all nodes, which have to be in the pattern together.
Eigen::MatrixXd Returned(const AdjustedBlock& block, const Eigen::MatrixXd& N) {
  const UnknownPlan& plan = block.Plan();
  Eigen::MatrixXd Q(N.rows(), N.cols());
  std::vector<double> values(64 * 64);
  for (int32_t i = 0; i < plan.NodeNum(); ++i) {
    for (int32_t j = 0; j < plan.NodeNum(); ++j) {
      EXPECT_TRUE(block.Cofactors().Block(i, j, values));
      for (int r = 0; r < 6; ++r) {
        for (int c = 0; c < 6; ++c) Q(6 * i + r, 6 * j + c) = values[static_cast<size_t>(6 * r + c)];
      }
    }
  }
  return N * Q * N;
}

TEST(NodeCovariance, CentresOnALineLeaveTheTurnAboutItToTheAngles) {
  for (const bool gps : {false, true}) {
    O options;
    options.nSeed = 3;
    options.nStrips = 1;
    options.nImages = 2;
    options.nLensUnknowns = 0;
    if (gps) options.GpsSigma = {0.05, 0.05, 0.1};
    AdjustedBlock block(options);
    ASSERT_TRUE(block.Covariance.Covariance);
    EXPECT_EQ(block.Datum.nDefect, gps ? 1 : 7);
    ReducedEquations& equations = block.Steps->EquationsAt(block.At);
    Eigen::MatrixXd N(12, 12);
    const std::span<const double> between = equations.N.Behind(0, 0);
    for (int r = 0; r < 6; ++r) {
      for (int c = 0; c < 6; ++c) {
        const auto at = static_cast<size_t>(6 * r + c);
        N(r, c) = equations.N.Diagonal(0)[at];
        N(6 + r, 6 + c) = equations.N.Diagonal(1)[at];
        N(r, 6 + c) = N(6 + c, r) = between[at];
      }
    }
    const Eigen::VectorXd unit = N.diagonal().cwiseSqrt().cwiseInverse();
    EXPECT_LT((unit.asDiagonal() * (Returned(block, N) - N) * unit.asDiagonal()).cwiseAbs().maxCoeff(), 1e-6);
    for (int32_t image = 0; image < 2; ++image) {
      for (int32_t k = 0; k < 3; ++k) EXPECT_LT(block.Cofactors().Deviation(image, 3 + k), 0.1) << gps;
    }
  }
}

TEST(NodeCovariance, NamesAnUnknownThatNothingTellsOf) {
  AdjustedBlock block = Adjusted({"", [](O& o) { o.nControl = 5; }});
  ReducedEquations& equations = block.Steps->EquationsAt(block.At);
  const std::span<double> first = equations.N.Diagonal(2);
  for (size_t k = 0; k < 6; ++k) first[6 * 4 + k] = first[6 * k + 4] = 0;
  const sparse::NodePattern& pattern = equations.N.Pattern();
  for (int32_t node = 0; node < pattern.NodeNum(); ++node) {
    for (size_t k = 0; k < pattern.NeighboursBehind(node).size(); ++k) {
      const auto columns =
          static_cast<size_t>(pattern.vSizes[static_cast<size_t>(pattern.NeighboursBehind(node)[k])]);
      const std::span<double> values = equations.N.Behind(node, static_cast<int64_t>(k));
      if (node == 2) std::fill_n(values.begin() + static_cast<ptrdiff_t>(4 * columns), columns, 0.0);
      if (pattern.NeighboursBehind(node)[k] == 2) {
        for (size_t r = 0; r < 6; ++r) values[r * columns + 4] = 0;
      }
    }
  }
  const CovarianceResult result = CovarianceOf(block.Plan(), {}, equations);
  EXPECT_FALSE(result.Covariance);
  EXPECT_EQ(2, result.Refusal.At.nNode);
  EXPECT_EQ(4, result.Refusal.At.nUnknown);
}

}  // namespace
}  // namespace orvo::rigorous::test
