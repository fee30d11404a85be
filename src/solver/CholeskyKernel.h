// The inner loops of the dense Cholesky factorisation N = U'U.
#pragma once

#include <cstdint>
#include <vector>

#include "base/simd/InstructionSet.h"

namespace orvo {

/// Rows that one step of the factorisation takes at once.
inline constexpr int32_t kCholeskyPanel = 192;

/// One step: rows nFirst to nFirst + nDepth become rows of U, from the diagonal on.
///
/// The columns from nFirst on are cut into strips of CholeskyKernels::nStrip, whose part of the panel is kept
/// row by row, kCholeskyPanel rows a strip, so that products read what lies together.
struct CholeskyPanel {
  double* N = nullptr;  ///< row-major; nothing below the diagonal is written
  int64_t nOrder = 0;
  int64_t nFirst = 0;  ///< first row of the panel
  int32_t nDepth = 0;  ///< kCholeskyPanel, less at the end of the matrix
  double* pStrips = nullptr;
  double* pInverse = nullptr;  ///< of the panel's diagonal elements of U
  uint8_t* pUsed = nullptr;    ///< by strip: 0 where the panel holds nothing but zeros
};

/// The loops, compiled for one instruction set.
struct CholeskyKernels {
  const char* szName;
  int32_t nStrip;  ///< columns of a strip, a divisor of kCholeskyPanel
  /// Looks at the strips firstStrip to endStrip, as far as they are not yet marked as used, and marks those
  /// that are not zero.
  void (*MarkUsed)(const CholeskyPanel& panel, int32_t firstStrip, int32_t endStrip);
  /// Turns a strip of the panel into U. The strips on the diagonal come first and in order; they give false
  /// where N is not positive definite. The used ones behind them may follow in any order.
  bool (*SolveStrip)(const CholeskyPanel& panel, int32_t strip);
  /// N(i, j) -= sum over the panel of U(k, i) U(k, j) for the columns j of `strip` and the rows i of
  /// `rowStrips`, all of them used and behind the panel, as far as they are not below the diagonal.
  void (*UpdateStrip)(const CholeskyPanel& panel, const int32_t* rowStrips, int32_t rowStripNum,
                      int32_t strip);
  /// a . b
  double (*Dot)(const double* a, const double* b, int64_t count);
  /// y -= factor a
  void (*Subtract)(double factor, const double* a, double* y, int64_t count);
  /// Both: returns a . b, and y -= factor a.
  double (*DotAndSubtract)(const double* a, const double* b, double factor, double* y, int64_t count);
};

/// Those of one set, CholeskyKernelBody.cpp.
template <InstructionSet kSet>
CholeskyKernels CholeskyKernelsOf();

/// Those that this processor can run, the fastest last. They differ by rounding, each is reproducible.
std::vector<CholeskyKernels> UsableCholeskyKernels();

}  // namespace orvo
