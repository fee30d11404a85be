// Normal equations of images, strips and cameras, with the points eliminated.
#pragma once

#include <vector>

#include "rigorous/UnknownPlan.h"
#include "solver/sparse/NodeMatrix.h"
#include "solver/sparse/NodePattern.h"

namespace orvo::rigorous {

/// N dx = n, where dx lessens the sum of squares r'P r: with rows J of the residuals, N = J'PJ and n = -J'P
/// r, reduced by the points.
struct ReducedEquations {
  sparse::NodeMatrix N;   ///< upper triangle, as NodeMatrix has it
  std::vector<double> n;  ///< in the order of the nodes

  explicit ReducedEquations(const sparse::NodePattern& pattern)
      : N(pattern), n(static_cast<size_t>(pattern.UnknownNum())) {}
  void SetZero();
};

/// Nodes that are coupled: those of all images of a point with each other and with the cameras of these, the
/// images of a strip with their strip, strips and images with the cameras of their images.
sparse::NodePattern PatternOf(const Problem& problem, const UnknownPlan& plan);

}  // namespace orvo::rigorous
