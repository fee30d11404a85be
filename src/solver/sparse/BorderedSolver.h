// Solves with a sparse symmetric matrix whose last nodes are coupled with most others, as cameras are, by
// iterations that such a border costs nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "solver/sparse/CoarseSpace.h"
#include "solver/sparse/DeflatedPcg.h"
#include "solver/sparse/IncompleteFactor.h"
#include "solver/sparse/NodeMatrix.h"
#include "solver/sparse/NodeProduct.h"
#include "solver/sparse/PartOrder.h"

namespace orvo::sparse {

/// Unknowns of a border that is taken out exactly. A wider one would cost more than its iterations.
inline constexpr int64_t kWidestDeflation = 128;

/// Conjugate gradients with the incomplete factor of the inner nodes, which are ordered by parts, and with a
/// CoarseSpace where the caller knows motions that cost little. The border is the deflation space
/// Z = [-K^-1 B; I], K being that preconditioner and B the border's columns; where it is too wide it is not
/// deflated, and its diagonal blocks precondition it. The bits of a solution don't depend on the number of
/// threads.
class BorderedSolver {
 public:
  /// Nodes from `firstBorder` on are the border. `matrix` has to outlive this; its values may change. Takes
  /// the memory of the matrix again, and of two vectors for each unknown of the border.
  /// With `motionNum` motions of the whole a coarse space too: about the memory of the matrix once more.
  BorderedSolver(const NodeMatrix& matrix, int32_t firstBorder, int32_t motionNum = 0);

  /// To be called when the values of the matrix have changed. The shift of the incomplete factor
  /// (IncompleteFactor::Factor); below 0 there is none, and nothing can be solved.
  /// `motions` are vectors over all unknowns, one behind the other, that the matrix nearly makes 0, but for
  /// what holds the net in its place; where they don't fit, there is no coarse space.
  double Prepare(int32_t threads = 1, std::span<const double> motions = {});
  bool IsDeflated() const { return nColumns > 0; }
  /// Of the last Prepare.
  bool HasCoarseSpace() const { return bCoarse; }

  /// x such that N x = b, as SolvePcg does. Where nothing is prepared, or a size is wrong: a breakdown with x
  /// as it was.
  PcgResult Solve(std::span<const double> b, std::span<double> x, const PcgLimits& limits,
                  int32_t threads = 1) const;

 private:
  BorderedSolver(const NodeMatrix& matrix, int32_t firstBorder, int32_t motionNum, const PartOrder& order);
  void FormSpace(int32_t threads);
  void Precondition(std::span<const double> r, std::span<double> y, int32_t threads) const;

  const NodeMatrix* pMatrix;
  int32_t nFirstBorder;
  std::vector<int64_t> vFirstUnknown;
  int32_t nColumns = 0;  ///< of Z
  NodeProduct Product;
  IncompleteFactor Inner;
  std::unique_ptr<CoarseSpace> pCoarse;
  bool bCoarse = false;  ///< in force
  std::vector<double> vZ, vAz;
  double dShift = -1;
};

}  // namespace orvo::sparse
