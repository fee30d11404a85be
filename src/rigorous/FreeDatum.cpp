#include "rigorous/FreeDatum.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <span>

#include "rigorous/WeakDirections.h"
#include "solver/sparse/NodeProduct.h"

namespace orvo::rigorous {
namespace {

constexpr double kFree = 1e-11;

std::vector<double> DiagonalOf(const sparse::NodeMatrix& N) {
  std::vector<double> diagonal;
  const sparse::NodePattern& pattern = N.Pattern();
  for (int32_t node = 0; node < pattern.NodeNum(); ++node) {
    const std::span<const double> block = N.Diagonal(node);
    const int32_t size = pattern.vSizes[static_cast<size_t>(node)];
    for (int32_t i = 0; i < size; ++i) diagonal.push_back(block[static_cast<size_t>(i) * size + i]);
  }
  return diagonal;
}

/// The same space, by columns of which each has a row for itself: its largest, where the others are 0.
void Separate(Eigen::MatrixXd& columns) {
  for (Eigen::Index k = 0; k < columns.cols(); ++k) {
    Eigen::Index row = 0, column = 0;
    columns.rightCols(columns.cols() - k).cwiseAbs().maxCoeff(&row, &column);
    columns.col(k).swap(columns.col(k + column));
    columns.col(k) /= columns(row, k);
    for (Eigen::Index other = 0; other < columns.cols(); ++other) {
      if (other != k) columns.col(other) -= columns(row, other) * columns.col(k);
    }
  }
}

}  // namespace

FreeDatum FreeDatumOf(const Problem& problem, const UnknownPlan& plan, const Estimate& estimate,
                      const ReducedEquations& equations) {
  FreeDatum datum;
  const Eigen::Index size = plan.UnknownNum();
  if (std::ranges::all_of(plan.vImageNode, [](int32_t node) { return node < 0; })) return datum;
  const std::vector<double> motions = FreeDirections(problem, plan, estimate);
  std::vector<double> products(motions.size());
  sparse::NodeProduct(equations.N).Multiply(motions, products, 1, kBlockMotionNum);
  const std::vector<double> diagonal = DiagonalOf(equations.N);
  const Eigen::Map<const Eigen::MatrixXd> G(motions.data(), size, kBlockMotionNum);
  const Eigen::Map<const Eigen::MatrixXd> NG(products.data(), size, kBlockMotionNum);
  const Eigen::Map<const Eigen::VectorXd> D(diagonal.data(), size);
  const Eigen::MatrixXd A = G.transpose() * NG, B = G.transpose() * D.asDiagonal() * G;
  if (!A.allFinite() || !B.allFinite()) return datum;
  // A block on a point or a line knows some motions not at all: those are no directions.
  const Eigen::VectorXd scale = B.diagonal().array().sqrt().cwiseMax(1e-300).inverse().matrix();
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> unit(scale.asDiagonal() * B * scale.asDiagonal());
  const Eigen::Index first = std::count_if(unit.eigenvalues().begin(), unit.eigenvalues().end(),
                                           [](double value) { return value < 1e-12; });
  if (first == kBlockMotionNum) return datum;
  const Eigen::MatrixXd whitened =
      scale.asDiagonal() * unit.eigenvectors().rightCols(kBlockMotionNum - first) *
      unit.eigenvalues().tail(kBlockMotionNum - first).cwiseSqrt().cwiseInverse().asDiagonal();
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> held(whitened.transpose() * A * whitened);
  datum.nDefect = static_cast<int32_t>(
      std::ranges::count_if(held.eigenvalues(), [](double value) { return value < kFree; }));
  Eigen::MatrixXd free =
      scale.cwiseInverse().asDiagonal() * whitened * held.eigenvectors().leftCols(datum.nDefect);
  Separate(free);
  const Eigen::MatrixXd directions = G * (scale.asDiagonal() * free);
  datum.vDirections.assign(directions.data(), directions.data() + directions.size());
  return datum;
}

}  // namespace orvo::rigorous
