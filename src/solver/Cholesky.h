// Cholesky factorisation of a dense symmetric matrix, spread over threads.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/Threads.h"
#include "solver/CholeskyKernel.h"

namespace orvo {

/// Columns of a matrix, the last one not included.
struct ColumnRun {
  int64_t nFirst = 0, nEnd = 0;
};

/// N = U'U for a symmetric, row-major N. U takes the place of N's upper triangle; the strict lower triangle
/// is neither read nor written.
///
/// Panels of rows from the top: each is solved, then its products are taken off what lies below it. A strip
/// of columns that is zero in a panel takes no part in it, so that zeros above the first element of a column
/// cost next to nothing. Strips and panels do not depend on the number of threads, and neither do the
/// numbers.
class Cholesky {
 public:
  /// `matrix` has to outlive this.
  explicit Cholesky(double* matrix, int32_t order,
                    const CholeskyKernels& kernels = UsableCholeskyKernels().back());

  /// False where N is not positive definite, with the upper triangle partly overwritten.
  bool Factor(WorkerPool& pool);
  /// x = N^-1 x, after Factor.
  void Solve(double* x) const;
  /// remainder = b - N x, with the strict lower triangle for N and the diagonal as given; also where Factor
  /// failed.
  void Remainder(const double* diagonal, const double* b, const double* x, double* remainder) const;
  /// Makes the matrix zero, in both triangles, without touching what is zero already.
  void Clear();

 private:
  int32_t FirstRow(int32_t panel) const { return panel * kCholeskyPanel; }
  int32_t EndRow(int32_t panel) const;
  uint8_t* Used(int32_t panel) { return vUsed.data() + static_cast<ptrdiff_t>(panel) * nStripNum; }
  std::span<const ColumnRun> Runs(int32_t panel) const;
  /// For as long as nothing better is known.
  void UseAll();
  bool SolveDiagonal(const CholeskyPanel& panel) const;
  /// Lists the strips that the panel uses.
  void FindUsed(const CholeskyPanel& panel, WorkerPool& pool);
  void SolveBehind(const CholeskyPanel& panel, WorkerPool& pool) const;
  void Update(const CholeskyPanel& panel, WorkerPool& pool) const;

  double* N;
  int32_t nOrder, nPanelNum, nStripNum;
  CholeskyKernels Kernels;
  std::vector<uint8_t> vUsed;    ///< by panel and strip
  std::vector<int32_t> vBehind;  ///< used strips behind the panel in hand, counted from its first column
  std::vector<ColumnRun> vRuns;  ///< used columns of the panels, from the diagonal on
  std::vector<size_t> vFirstRun;
};

}  // namespace orvo
