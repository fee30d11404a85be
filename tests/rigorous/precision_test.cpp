#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>

#include "rigorous/Adjust.h"
#include "rigorous/DenseAdjustment.h"
#include "rigorous/NodeCovariance.h"
#include "rigorous/PointPrecision.h"
#include "rigorous/TruthBlock.h"

namespace orvo::rigorous::test {
namespace {

using O = TruthOptions;

struct Case {
  const char* szName;
  std::function<void(O&)> Change;
};

/// A small block at its minimum, with the precision of everything.
struct Adjusted {
  TruthBlock Block;
  Estimate At;
  std::unique_ptr<Adjuster> Steps;
  AdjustResult Result;
  FreeDatum Datum;
  CovarianceResult Covariance;

  explicit Adjusted(const O& options) : Block(MakeTruthBlock(options)), At(Block.Start) {
    Steps = std::make_unique<Adjuster>(Block.Given, AdjustOptions{});
    Result = Steps->Run(At, {}, 50);
    ReducedEquations& equations = Steps->EquationsAt(At);
    Datum = FreeDatumOf(Block.Given, Steps->Plan(), At, equations);
    Covariance = CovarianceOf(Steps->Plan(), Datum, equations);
  }

  std::vector<PointPrecision> Points(int32_t threads = 1) const {
    std::vector<PointPrecision> points;
    PointPrecisionOptions options;
    options.bRays = true;
    options.nThreads = threads;
    ForEachPointPrecision(Block.Given, Steps->Plan(), Steps->Chunks(), At, *Covariance.Covariance, options,
                          [&points](const PointPrecision& point) { points.push_back(point); });
    return points;
  }

  Eigen::MatrixXd DenseCofactors(const DenseAdjustment& dense) const {
    const int64_t size = Steps->Plan().UnknownNum();
    const Eigen::Map<const Eigen::MatrixXd> G(Datum.vDirections.data(), size, Datum.nDefect);
    Eigen::VectorXd P = Eigen::VectorXd::Zero(size);
    for (const int32_t node : Steps->Plan().vImageNode) {
      if (node >= 0) P.segment<3>(Steps->Plan().vFirstUnknown[static_cast<size_t>(node)]).setOnes();
    }
    return dense.Cofactors(G, P);
  }
};

O OptionsOf(const Case& block) {
  O options;
  options.nStrips = 2;
  options.nImages = 4;
  options.fPointsPerImage = 30;
  block.Change(options);
  return options;
}

class Precision : public ::testing::TestWithParam<Case> {};

TEST_P(Precision, OfImagesAndCamerasIsThatOfTheWholeSystem) {
  const Adjusted block(OptionsOf(GetParam()));
  ASSERT_TRUE(block.Covariance.Covariance);
  const UnknownPlan& plan = block.Steps->Plan();
  const DenseAdjustment dense = DenseAdjustmentOf(block.Block.Given, plan, block.At);
  const Eigen::MatrixXd Q = block.DenseCofactors(dense);
  std::vector<double> values(64 * 64);
  for (int32_t i = 0; i < plan.NodeNum(); ++i) {
    for (int32_t j = 0; j < plan.NodeNum(); ++j) {
      if (!block.Covariance.Covariance->Block(i, j, values)) continue;
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
  const Adjusted block(OptionsOf(GetParam()));
  ASSERT_TRUE(block.Covariance.Covariance);
  const DenseAdjustment dense = DenseAdjustmentOf(block.Block.Given, block.Steps->Plan(), block.At);
  const Eigen::MatrixXd Q = block.DenseCofactors(dense);
  const Eigen::VectorXd predicted = (dense.J * Q).cwiseProduct(dense.J).rowwise().sum();
  for (const PointPrecision& point : block.Points()) {
    const int64_t first = dense.nNodeUnknowns + 3 * point.nPoint;
    const double unit = std::max(Q.block<3, 3>(first, first).trace(), 1e-30);
    ASSERT_TRUE(point.bDetermined);
    for (int k = 0; k < 9; ++k)
      EXPECT_NEAR(Q(first + k / 3, first + k % 3), point.Cofactor[static_cast<size_t>(k)], 1e-6 * unit);
    for (const RayPrecision& ray : point.vRays) {
      for (int c = 0; c < 2; ++c)
        EXPECT_NEAR(1 - predicted[2 * ray.nRay + c], ray.Redundancy[static_cast<size_t>(c)], 1e-6);
    }
  }
}

TEST_P(Precision, RedundanciesSumToTheRedundancy) {
  const Adjusted block(OptionsOf(GetParam()));
  ASSERT_TRUE(block.Covariance.Covariance);
  double sum = 0;
  for (const PointPrecision& point : block.Points()) {
    sum += point.ControlRedundancy[0] + point.ControlRedundancy[1] + point.ControlRedundancy[2];
    for (const RayPrecision& ray : point.vRays) sum += ray.Redundancy[0] + ray.Redundancy[1];
  }
  const auto redundancy = static_cast<double>(block.Result.Redundancy());
  EXPECT_NEAR(redundancy, sum, 1e-7 * redundancy);
}

TEST_P(Precision, OfPointsIsTheSameOnAnyNumberOfThreads) {
  const Adjusted block(OptionsOf(GetParam()));
  const std::vector<PointPrecision> one = block.Points(1), four = block.Points(4);
  ASSERT_EQ(one.size(), four.size());
  for (size_t p = 0; p < one.size(); ++p) EXPECT_EQ(one[p].Cofactor, four[p].Cofactor);
}

INSTANTIATE_TEST_SUITE_P(
    All, Precision,
    ::testing::Values(Case{"Control", [](O& o) { o.nControl = 5; }},
                      Case{"HeldControl",
                           [](O& o) {
                             o.nControl = 5, o.ControlSigma = {0, 0, 0};
                           }},
                      Case{"HeightControl", [](O& o) { o.nControl = 3, o.nHeightControl = 4; }},
                      Case{"Free", [](O& o) { o.nLensUnknowns = 0; }},
                      Case{"FreeWithCamera", [](O& o) { o.fRelief = 0.4; }},
                      Case{"CameraOfEachStrip",
                           [](O& o) { o.nControl = 6, o.Cameras = TruthCameras::EachStrip; }},
                      Case{"CameraOfEachImage",
                           [](O& o) {
                             o.nControl = 8, o.nStrips = 3, o.Cameras = TruthCameras::EachImage;
                             o.nLensUnknowns = kLensRadial;
                           }},
                      Case{"HeldImages", [](O& o) { o.nHeldImages = 2; }}),
    [](const ::testing::TestParamInfo<Case>& test) { return std::string(test.param.szName); });

TEST(NodeCovariance, NamesAnUnknownThatNothingTellsOf) {
  Adjusted block(OptionsOf({"", [](O& o) { o.nControl = 5; }}));
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
  const CovarianceResult result = CovarianceOf(block.Steps->Plan(), {}, equations);
  EXPECT_FALSE(result.Covariance);
  EXPECT_EQ(2, result.Refusal.At.nNode);
  EXPECT_EQ(4, result.Refusal.At.nUnknown);
}

}  // namespace
}  // namespace orvo::rigorous::test
