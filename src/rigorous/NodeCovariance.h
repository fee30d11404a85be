// Cofactors of the unknowns of images, strips and cameras: the inverse of their reduced normal equations, on
// its pattern. Where nothing holds the datum, that of inner constraints over the projection centres: the
// trace of the centres' cofactors is the least of all datums, and what is said of an image depends on no
// choice of fixed points. Q = S Z S' with S = I - G (G'PG)^-1 G'P, G the free directions, P 1 for coordinates
// of centres and else 0, and Z any inverse that d held unknowns make possible: Baarda, S-transformations and
// criterion matrices (1973); Förstner and Wrobel, Photogrammetric Computer Vision (2016), 4.5. Angles have a
// P next to 0, for centres on a line, as those of two images, do not tell the turn about it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "rigorous/FreeDatum.h"
#include "rigorous/ReducedEquations.h"
#include "rigorous/UnknownPlan.h"
#include "solver/sparse/SelectedInverse.h"

namespace orvo::rigorous {

/// Multiply by the variance of a value of standard deviation 1 to get covariances.
class NodeCovariance {
 public:
  /// Cofactors of nodes i and j, row-major, rows of i. False where images never meet: those are not known.
  bool Block(int32_t i, int32_t j, std::span<double> block) const;
  /// Square root of the cofactor of one unknown of a node.
  double Deviation(int32_t node, int32_t unknown) const;

 private:
  friend struct CovarianceMaker;
  NodeCovariance() = default;

  const UnknownPlan* pPlan = nullptr;
  std::unique_ptr<sparse::SymbolicFactor> pSymbolic;
  std::optional<sparse::SelectedInverse> Inverse;
  int32_t nDefect = 0;
  std::vector<double> vG, vV, vH;  ///< G and Z P G A by unknown, A G'P Z P G A; A = (G'PG)^-1
};

struct CovarianceResult {
  std::optional<NodeCovariance> Covariance;
  /// Where there is none: the unknown that the others determine up to rounding, or that nothing tells of.
  sparse::FactorRefusal Refusal;
};

/// `equations` without damping; their diagonal comes back bit by bit. `plan` has to outlive the result.
CovarianceResult CovarianceOf(const UnknownPlan& plan, const FreeDatum& datum, ReducedEquations& equations);

}  // namespace orvo::rigorous
