// All observations of a small problem as one dense system: images, strips and cameras in the order of their
// plan, then three unknowns a point.
#pragma once

#include <Eigen/Dense>

#include "rigorous/Problem.h"
#include "rigorous/UnknownPlan.h"

namespace orvo::rigorous::test {

struct DenseAdjustment {
  /// In standard deviations: rows of rays (x, y in their order), three of each control point, and from
  /// nOwnRow on three of each call of ForEachOwnObservation.
  Eigen::MatrixXd J;
  int64_t nNodeUnknowns = 0, nOwnRow = 0;
  std::vector<bool> IsHeld;  ///< by unknown: coordinates of points that control holds

  /// (J'J)^-1 without the held unknowns, whose rows are 0. With free directions G over the unknowns of
  /// images, strips and cameras, that of inner constraints over the centres.
  Eigen::MatrixXd Cofactors(const Eigen::MatrixXd& G, const Eigen::VectorXd& P) const;
};

DenseAdjustment DenseAdjustmentOf(const Problem& problem, const UnknownPlan& plan, const Estimate& estimate);

}  // namespace orvo::rigorous::test
