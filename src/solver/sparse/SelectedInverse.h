// The part of the inverse of a sparse symmetric matrix that lies on the pattern of its factor.
#pragma once

#include <cstdint>
#include <optional>

#include "base/ZeroedArray.h"
#include "solver/sparse/SupernodalFactor.h"

namespace orvo::sparse {

/// Block (i, j) of an inverse, as long as this exists; rows of node i, columns of node j.
struct InverseBlock {
  const double* pValues = nullptr;
  int32_t nRows = 0, nCols = 0;
  int64_t nRowStride = 0, nColStride = 0;

  double operator()(int32_t row, int32_t col) const { return pValues[row * nRowStride + col * nColStride]; }
};

/// All blocks of N^-1 that are blocks of L: those of the diagonal, those of the pattern, and those filled in.
class SelectedInverse {
 public:
  const SymbolicFactor& Symbolic() const { return *pSymbolic; }
  /// The block of two nodes in either order; nothing where it is not on the pattern of L, or a node does not
  /// exist. (i, j) is the transpose of (j, i), bit by bit. Valid as long as this.
  std::optional<InverseBlock> Block(int32_t i, int32_t j) const;

 private:
  friend std::optional<SelectedInverse> InvertSelected(const SupernodalFactor& factor);
  explicit SelectedInverse(const SymbolicFactor& symbolic);
  void GatherBehind(const Supernode& supernode, double* square) const;
  void Invert(const Supernode& supernode, const double* panel, double* square);

  const SymbolicFactor* pSymbolic;
  ZeroedArray Values;  ///< panels as those of L, their squares complete
};

/// Z = N^-1 from the last supernode to the first, with J its columns and R its rows below:
///   Y = L_RJ L_JJ^-1,  Z_RJ = -Z_RR Y,  Z_JJ = L_JJ^-T L_JJ^-1 - Y' Z_RJ
/// where Z_RR is known, because R is a clique of the factor (Takahashi, Fagan & Chen 1973, Formation of a
/// sparse bus impedance matrix; Erisman & Tinney 1975, On computing certain elements of the inverse of a
/// sparse matrix).
///
/// Nothing without a factor. Takes as much memory as it again, and the square of the most rows that a
/// supernode has below. Works on the calling thread alone. The symbolic factor has to outlive the result; the
/// factor need not.
std::optional<SelectedInverse> InvertSelected(const SupernodalFactor& factor);

}  // namespace orvo::sparse
