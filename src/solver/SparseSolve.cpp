#include "solver/SparseSolve.h"

#include <algorithm>

#include "base/Threads.h"
#include "solver/BlockOperator.h"
#include "solver/SolverThreads.h"

namespace orvo {

int32_t SolveSparse(const SparseSystem& system, std::span<const double> b, const PcgLimits& limits,
                    RunLog& log, double* x, const std::function<void(int32_t)>& stepDone) {
  if (x == nullptr || b.size() < static_cast<size_t>(std::max(system.nOrder, 0))) return 0;
  WorkerPool pool(SolverThreadNum(system.nProcessors, system.Blocks));
  BlockOperator matrix(system.Blocks, system.RowPosition, system.nOrder);
  const BlockPreconditioner preconditioner(matrix, pool);

  // The message stands once for each time that the preconditioner is applied.
  const auto complain = [&] {
    if (!preconditioner.IsValid()) log.Print("Error!Preconditioner invalid!\n");
  };
  complain();
  int32_t done = 0;
  const PcgOutcome outcome =
      SolvePcg(matrix, preconditioner, b.data(), x, limits, pool, [&](const PcgIteration& iteration) {
        complain();
        log.Print(">>Matrix vector R %.9lf\t %.9lf\t %.9lf\t %.9lf\t %.9lf\t %.9lf\n",
                  iteration.fResidualNorm, iteration.fDirectionNorm, iteration.fConjugacyLoss,
                  iteration.fAlpha, iteration.fBeta, iteration.fEta);
        if (stepDone) stepDone(++done);
      });
  if (outcome.bExhausted) log.Print(">>Get the smallest forcing sequence coef:%lf\n", outcome.fBestEta);
  log.Print(">>PCG Iteration times:%d\n", outcome.nIterationNum);
  return outcome.nIterationNum;
}

void MultiplySparse(const SparseSystem& system, const double* v, double* out) {
  WorkerPool pool(SolverThreadNum(system.nProcessors, system.Blocks));
  BlockOperator matrix(system.Blocks, system.RowPosition, system.nOrder);
  matrix.Multiply(v, out, pool);
}

bool PreconditionSparse(const SparseSystem& system, const double* r, double* out) {
  WorkerPool pool(SolverThreadNum(system.nProcessors, system.Blocks));
  const BlockOperator matrix(system.Blocks, system.RowPosition, system.nOrder);
  const BlockPreconditioner preconditioner(matrix, pool);
  for (int32_t panel = 0; panel < matrix.PanelNum(); ++panel) preconditioner.Apply(panel, r, out);
  return preconditioner.IsValid();
}

int MultiplyRowsByVector(const double* matrix, int32_t rows, int32_t cols, const double* vector,
                         int32_t vectorLength, double* out) {
  if (matrix == nullptr || vector == nullptr || out == nullptr || cols != vectorLength) return 0;
  for (int32_t row = 0; row < rows; ++row) {
    const double* elements = matrix + static_cast<ptrdiff_t>(row) * cols;
    double sum = 0;
    for (int32_t col = 0; col < cols; ++col) sum += elements[col] * vector[col];
    out[row] = sum;
  }
  return 1;
}

}  // namespace orvo
