// Covariances against the spread of many adjustments of one block with fresh noise.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <vector>

#include "rigorous/AdjustedBlock.h"
#include "rigorous/LongTests.h"
#include "rigorous/TruthScores.h"

namespace orvo::rigorous::test {
namespace {

constexpr size_t kEachPoint = 20;

/// 20 images of a camera with GPS, drift and control.
TruthOptions OptionsOf(uint64_t noise) {
  TruthOptions options;
  options.nSeed = 4;
  options.nNoiseSeed = noise;
  options.nImages = 5;
  options.fPointsPerImage = 60;
  options.fRelief = 0.3;
  options.nControl = 5;
  options.GpsSigma = {0.03, 0.03, 0.05};
  options.fGpsConstant = 0.5;
  return options;
}

/// Values whose covariance is known, and what was found of it.
struct Tally {
  Eigen::MatrixXd Expected;  ///< 0 where it is not known
  Eigen::VectorXd Sum;
  Eigen::MatrixXd Products;
  int nRuns = 0;

  explicit Tally(Eigen::MatrixXd expected)
      : Expected(std::move(expected)),
        Sum(Eigen::VectorXd::Zero(Expected.rows())),
        Products(Eigen::MatrixXd::Zero(Expected.rows(), Expected.rows())) {}

  void Add(const Eigen::VectorXd& errors) {
    Sum += errors;
    Products += errors * errors.transpose();
    ++nRuns;
  }

  /// Of a mean of products of normal values with the mean 0: its variance is (Qii Qjj + Qij^2) / runs.
  double LargestOfCovariances() const {
    double largest = 0;
    for (Eigen::Index i = 0; i < Expected.rows(); ++i) {
      for (Eigen::Index j = i; j < Expected.rows(); ++j) {
        if (Expected(i, j) == 0) continue;
        const double variance = Expected(i, i) * Expected(j, j) + Expected(i, j) * Expected(i, j);
        const double apart = Products(i, j) / nRuns - Expected(i, j);
        largest = std::max(largest, std::abs(apart) / std::sqrt(variance / nRuns));
      }
    }
    return largest;
  }
  double LargestOfMeans() const {
    return (Sum.array() / nRuns / (Expected.diagonal().array() / nRuns).sqrt()).abs().maxCoeff();
  }
};

Eigen::MatrixXd CofactorsOf(const AdjustedBlock& block) {
  const UnknownPlan& plan = block.Plan();
  Eigen::MatrixXd Q = Eigen::MatrixXd::Zero(plan.UnknownNum(), plan.UnknownNum());
  std::vector<double> values(64 * 64);
  for (int32_t i = 0; i < plan.NodeNum(); ++i) {
    for (int32_t j = 0; j < plan.NodeNum(); ++j) {
      if (!block.Cofactors().Block(i, j, values)) continue;
      const int32_t rows = plan.vSizes[static_cast<size_t>(i)], columns = plan.vSizes[static_cast<size_t>(j)];
      Q.block(plan.vFirstUnknown[static_cast<size_t>(i)], plan.vFirstUnknown[static_cast<size_t>(j)], rows,
              columns) =
          Eigen::Map<const Eigen::Matrix<double, -1, -1, Eigen::RowMajor>>(values.data(), rows, columns);
    }
  }
  return Q;
}

/// Of every 20th point, in their order.
std::vector<Tally> PointTallies(const AdjustedBlock& block) {
  std::vector<Tally> tallies;
  for (const PointPrecision& point : block.Points()) {
    if (point.nPoint % kEachPoint == 0)
      tallies.emplace_back(Eigen::Map<const Eigen::Matrix3d>(point.Cofactor.data()));
  }
  return tallies;
}

/// Many adjustments of one truth, each with its own errors.
struct Experiment {
  Tally Nodes;
  std::vector<Tally> vPoints;
  double fJoint = 0, fSquares = 0;  ///< sums over the runs
  int64_t nJoint = 0, nSquares = 0;

  explicit Experiment(const AdjustedBlock& block) : Nodes(CofactorsOf(block)), vPoints(PointTallies(block)) {}

  void Run(uint64_t noise) {
    const TruthBlock block = MakeTruthBlock(OptionsOf(noise));
    Estimate at = block.Start;
    Adjuster steps(block.Given, {});
    const AdjustResult result = steps.Run(at, {}, 50);
    ASSERT_EQ(result.End, AdjustEnd::Converged) << noise;
    std::vector<double> errors = ErrorsOf(block, steps.Plan(), at);
    fJoint += QuadraticForm(steps.EquationsAt(at).N, errors);
    nJoint += steps.Plan().UnknownNum();
    fSquares += result.fSquares;
    nSquares += result.Redundancy();
    Nodes.Add(Eigen::Map<const Eigen::VectorXd>(errors.data(), std::ssize(errors)));
    for (size_t k = 0; k < vPoints.size(); ++k) {
      const Vector3 error = block.Truth.vPoints[kEachPoint * k] - at.vPoints[kEachPoint * k];
      vPoints[k].Add(Eigen::Map<const Eigen::Vector3d>(error.data()));
    }
  }
};

TEST(MonteCarlo, SpreadIsTheCovariance) {
  // At any estimate that is near the truth.
  const AdjustedBlock block(OptionsOf(1));
  ASSERT_TRUE(block.Covariance.Covariance);
  Experiment experiment(block);
  const int runs = AreLongTestsWanted() ? 400 : 100;
  for (int run = 0; run < runs; ++run) experiment.Run(static_cast<uint64_t>(1000 + run));
  EXPECT_LT(experiment.Nodes.LargestOfCovariances(), 5);
  EXPECT_LT(experiment.Nodes.LargestOfMeans(), 5);
  EXPECT_GT(experiment.vPoints.size(), 10);
  for (size_t k = 0; k < experiment.vPoints.size(); ++k) {
    EXPECT_LT(experiment.vPoints[k].LargestOfCovariances(), 5) << k;
    EXPECT_LT(experiment.vPoints[k].LargestOfMeans(), 5) << k;
  }
  EXPECT_LT(std::abs(NormalOf(experiment.fJoint, static_cast<double>(experiment.nJoint))), 4);
  EXPECT_LT(std::abs(NormalOf(experiment.fSquares, static_cast<double>(experiment.nSquares))), 4);
}

}  // namespace
}  // namespace orvo::rigorous::test
