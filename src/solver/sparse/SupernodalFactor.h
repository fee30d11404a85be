// The Cholesky factor of a sparse symmetric matrix, and what is solved and said by it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "base/ZeroedArray.h"
#include "solver/sparse/NodeMatrix.h"
#include "solver/sparse/SymbolicFactor.h"

namespace orvo::sparse {

/// Part of its diagonal element that a pivot must keep, unless the caller says otherwise.
inline constexpr double kPivotTolerance = 1e-12;

/// What remains of the diagonal element of one unknown once all before it are eliminated.
struct Pivot {
  int32_t nNode = -1, nUnknown = -1;  ///< the unknown counts within its node
  double dDiagonal = 0;               ///< of the matrix
  double dPivot = 0;

  /// Between 0 and 1: 1 less the squared multiple correlation with the unknowns before it.
  double Ratio() const { return dPivot / dDiagonal; }
};

enum class FactorFault {
  NotFinite,    ///< a value of the matrix, or a pivot, is not finite
  NotPositive,  ///< the matrix is not positive definite
  Dependent,  ///< up to rounding, the unknown is a linear function of those before it, or nothing tells of it
  OtherMatrix,  ///< its nodes are others than those analysed, or it has a block that the panels lack
};

struct FactorRefusal {
  FactorFault Fault = FactorFault::NotFinite;
  /// The unknown at fault; for a value of the matrix that is not finite its row, and no pivot.
  Pivot At;
};

/// P N P' = L L', left-looking over the supernodes (Ng & Peyton 1993, Block sparse Cholesky algorithms on
/// advanced uniprocessor computers). Works on the calling thread alone, so that the same build on the same
/// machine gives the same bits every time.
class SupernodalFactor {
 public:
  /// `symbolic` has to outlive this. Takes the memory of its panels.
  explicit SupernodalFactor(const SymbolicFactor& symbolic);

  /// Nothing, where the factor is there; else why not, and there is none then. Negative tolerances count as
  /// 0.
  std::optional<FactorRefusal> Factor(const NodeMatrix& matrix, double tolerance = kPivotTolerance);
  bool IsThere() const { return bIsThere; }
  const SymbolicFactor& Symbolic() const { return *pSymbolic; }

  /// x = N^-1 x for `columnNum` vectors one behind the other, in the order of the nodes. False, with x as it
  /// was, where there is no factor or x has another size.
  bool Solve(std::span<double> x, int32_t columnNum = 1) const;
  /// ln det N; nothing without a factor.
  std::optional<double> LogDeterminant() const;
  /// The pivots with the smallest ratios, smallest first, at most `count`; none without a factor. A net that
  /// lacks a datum shows there.
  std::vector<Pivot> SmallestPivots(int32_t count) const;
  /// Panel of a supernode as Supernode describes it, undefined above the diagonal.
  const double* Panel(const Supernode& supernode) const { return Values.get() + supernode.nFirstValue; }

 private:
  std::optional<FactorRefusal> Scatter(const NodeMatrix& matrix);
  void PutBlock(int32_t row, int32_t col, std::span<const double> block);
  void Update(const Supernode& target, const Supernode& source, int64_t firstRow);
  Pivot PivotAt(int64_t unknown) const;

  const SymbolicFactor* pSymbolic;
  ZeroedArray Values;
  std::vector<double> vDiagonal, vPivots;  ///< by unknown in the order of elimination
  bool bIsThere = false;
};

}  // namespace orvo::sparse
