#include <algorithm>

#include "base/Threads.h"
#include "run/BundleAdjustment.h"
#include "solver/BlockOperator.h"
#include "solver/PcgLoop.h"
#include "solver/SolverThreads.h"

namespace orvo {
int CBundleAdjustment::SolveByPcg(double* x) {
  if (x == nullptr || Normal.pConstVector.size() < static_cast<size_t>(std::max(Unknowns.nUnknownNum, 0)))
    return 1;
  std::vector<int32_t> rowPosition(static_cast<size_t>(std::max(Unknowns.nBlockRowNum, 0)));
  for (int32_t row = 0; row < Unknowns.nBlockRowNum; ++row) {
    int32_t column = 0;
    GetUnknownPosition(row, row, rowPosition[static_cast<size_t>(row)], column);
  }
  WorkerPool pool(SolverThreadNum(System.ProcessorCount(), Normal.pSubMatrices));
  BlockOperator matrix(Normal.pSubMatrices, rowPosition, Unknowns.nUnknownNum);
  const BlockPreconditioner preconditioner(matrix, pool);

  // The message stands once for each time that the preconditioner is applied.
  const auto complain = [&] {
    if (!preconditioner.IsValid()) LogPrintf("Error!Preconditioner invalid!\n");
  };
  complain();
  const PcgLimits limits{Limits.Max_PCG_Iteration_Num, Limits.PCG_IGN_Converge_Threshold};
  const PcgOutcome outcome =
      SolvePcg(matrix, preconditioner, Normal.pConstVector.data(), x, limits, pool,
               [&](const PcgIteration& iteration) {
                 complain();
                 LogPrintf(">>Matrix vector R %.9lf\t %.9lf\t %.9lf\t %.9lf\t %.9lf\t %.9lf\n",
                           iteration.fResidualNorm, iteration.fDirectionNorm, iteration.fConjugacyLoss,
                           iteration.fAlpha, iteration.fBeta, iteration.fEta);
               });
  if (outcome.bExhausted) LogPrintf(">>Get the smallest forcing sequence coef:%lf\n", outcome.fBestEta);
  LogPrintf(">>PCG Iteration times:%d\n", outcome.nIterationNum);
  return 1;
}

}  // namespace orvo
