// The step of the iteration.
#include <algorithm>
#include <cmath>

#include "base/MemoryPurpose.h"
#include "geometry/OrvoMatrix.h"
#include "results/CorrectionFiles.h"
#include "run/BundleAdjustment.h"
#include "run/RunCourse.h"
#include "solver/LmStep.h"
#include "solver/Prediction.h"
#include "solver/SparseSolve.h"
#include "verdict/DatumDirections.h"
#include "verdict/RunTrack.h"
#include "verdict/VerdictLimits.h"

namespace orvo {

int CBundleAdjustment::SolveAndUpdate(int32_t iteration) {
  const MemoryPurpose purpose("the solution of the normal equations");
  PredictionBasis basis;
  if (pTrack) {
    basis.IsLast = [&](std::span<const double> x) { return IsLastStep(Settings, iteration, x); };
    if (IsFree(Points, Limits)) {
      basis.RemoveDatum = [&](std::vector<double>& r) { RemoveDatum(Layout(), Images.Kept(), r); };
    }
    basis.fMu = pTrack->fMu;
    basis.fSquares = JudgedSquares(Residuals, VerdictLimits().fRmseFloor * Settings.Image_Coor_Scale);
    basis.fLimit = DecreaseLimit(DecreaseBasisOf(Limits, Unknowns, Images, Points));
    basis.Diagonal = pTrack->vDiagonal;
  }
  const StepLayout layout{Layout().Positions(Unknowns.nBlockRowNum), Unknowns.nUnknownNum,
                          System.ProcessorCount()};
  const PcgLimits limits{Limits.Max_PCG_Iteration_Num, Limits.PCG_IGN_Converge_Threshold};
  const PredictionBasis* prediction = pTrack ? &basis : nullptr;
  const auto stepDone = [&](int32_t number) {
    const int32_t most = std::max(limits.nMaxIterationNum, 1);
    RunCourse(*this).Advance(kShareOfSums + (1 - kShareOfSums) * number / most);
  };
  const LmStep step = Limits.Apply_PCG_Model
                          ? SolveSparseStep(layout, limits, prediction, Normal, Log, stepDone)
                          : SolveDenseStep(layout, prediction, Normal);
  const bool isStep = step.IsStep();
  if (pTrack) pTrack->bSingular = !isStep;
  if (step.fPredictedShare) pTrack->fPredictedShare = step.fPredictedShare;
  if (step.bSolved && !Limits.Apply_PCG_Model) WriteRemainderFile(iteration, step.Remainder, Paths, Outputs);
  if (step.bSolved) WriteCorrections(iteration, step.x.data());
  // Without a step to take the unknowns stay as they are and the iteration ends. Metres, radians and camera
  // units stand in one figure: a single threshold serves them all.
  const double largest = isStep ? MaxMagnitude(step.x.data(), Unknowns.nUnknownNum, 1) : 0.0;
  if (!isStep || Settings.LM_Converge_Threshold > std::fabs(largest)) Progress.bConverged = true;
  if (isStep) UpdateUnknowns(step.x.data());
  LogPrintf(">>%lf\t%lf\t%lf\n", largest, Residuals.fRmsResidualX, Residuals.fRmsResidualY);
  RunCourse(*this).EndIteration(isStep ? std::fabs(largest) : std::nan(""), step.nPcgSteps,
                                pTrack ? pTrack->fMu : 0);
  return 1;
}

int CBundleAdjustment::UpdateUnknowns(const double* x) {
  if (!x) {
    LogPrintf("Error!Unknown vector pointer is null!\n");
    return 0;
  }
  AddStep(x, Settings, Unknowns.nLayoutMode, Images, Cameras,
          Limits.UsesPos() ? std::span<double>(Normal.pPosParams) : std::span<double>());
  return 1;
}

int CBundleAdjustment::SolveByPcg(double* x) {
  const std::vector<int32_t> positions = Layout().Positions(Unknowns.nBlockRowNum);
  SolveSparse({Normal.pSubMatrices, positions, Unknowns.nUnknownNum, System.ProcessorCount()},
              Normal.pConstVector, {Limits.Max_PCG_Iteration_Num, Limits.PCG_IGN_Converge_Threshold}, Log, x);
  return 1;
}

int CBundleAdjustment::MultiplyNormalMatrix(int32_t subMatrixNum, std::span<const SubMatrix> subMatrices,
                                            int32_t n, const double* v, double* out) const {
  if (subMatrices.empty() || v == nullptr || out == nullptr) return 0;
  const std::vector<int32_t> positions = Layout().Positions(Unknowns.nBlockRowNum);
  const size_t count = std::min(subMatrices.size(), static_cast<size_t>(std::max(subMatrixNum, 0)));
  MultiplySparse({subMatrices.first(count), positions, n, System.ProcessorCount()}, v, out);
  return 1;
}

int CBundleAdjustment::ApplyPreconditioner(int32_t blockRowNum, std::span<const SubMatrix> subMatrices,
                                           int32_t n, const double* r, double* out) {
  if (subMatrices.empty() || r == nullptr || out == nullptr) return 0;
  const std::vector<int32_t> positions = Layout().Positions(blockRowNum);
  if (PreconditionSparse({subMatrices, positions, n, System.ProcessorCount()}, r, out)) return 1;
  LogPrintf("Error!Preconditioner invalid!\n");
  return 0;
}

}  // namespace orvo
