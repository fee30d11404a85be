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
  for (Eigen::Index k = 0; k < held.eigenvalues().size() && held.eigenvalues()[k] < kFree; ++k) {
    const Eigen::VectorXd direction = G * (whitened * held.eigenvectors().col(k));
    datum.vDirections.insert(datum.vDirections.end(), direction.begin(), direction.end());
    ++datum.nDefect;
  }
  return datum;
}

}  // namespace orvo::rigorous
