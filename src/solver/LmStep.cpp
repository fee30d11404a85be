#include "solver/LmStep.h"

#include <algorithm>
#include <cmath>

#include "geometry/OrvoMatrix.h"
#include "solver/DenseSolve.h"
#include "solver/SparseSolve.h"

namespace orvo {
namespace {

void AddToImage(const double*& x, EopRecord& eop) {
  eop.X += *x++;
  eop.Y += *x++;
  eop.Z += *x++;
  eop.fPhi += *x++;
  eop.fOmega += *x++;
  eop.fKappa += *x++;
}

void AddToCamera(const double*& x, IopRecord& iop) {
  iop.fFocal += *x++;
  iop.fPrincipalX += *x++;
  iop.fPrincipalY += *x++;
  iop.fK1 += *x++;
  iop.fK2 += *x++;
}

}  // namespace

bool AllFinite(std::span<const double> x) {
  return std::ranges::all_of(x, [](double element) { return std::isfinite(element); });
}

bool LmStep::IsStep() const { return bSolved && AllFinite(x); }

LmStep SolveDenseStep(const StepLayout& layout, const PredictionBasis* prediction, NormalEquations& normal) {
  LmStep step;
  step.x.resize(static_cast<size_t>(layout.nOrder));
  step.Remainder.resize(step.x.size());
  DenseLook look;
  if (prediction) {
    look = [&](const DenseSystem& system) {
      if (!prediction->IsLast(step.x)) return;
      step.fPredictedShare = PredictDense(system, normal, layout.vRowPosition, step.x, *prediction);
    };
  }
  step.bSolved =
      SolveDense(normal.pDenseNormal.get(), layout.nOrder, normal.pConstVector.data(), step.x.data(),
                 step.Remainder.data(), layout.nProcessors, look) != DenseSolution::Singular;
  return step;
}

LmStep SolveSparseStep(const StepLayout& layout, const PcgLimits& limits, const PredictionBasis* prediction,
                       NormalEquations& normal, RunLog& log, const std::function<void(int32_t)>& stepDone) {
  LmStep step;
  step.x.resize(static_cast<size_t>(layout.nOrder));
  const SparseSystem system{normal.pSubMatrices, layout.vRowPosition, layout.nOrder, layout.nProcessors};
  step.nPcgSteps = SolveSparse(system, normal.pConstVector, limits, log, step.x.data(), stepDone);
  if (prediction && AllFinite(step.x) && prediction->IsLast(step.x)) {
    TakeOffDamping(static_cast<int32_t>(layout.vRowPosition.size()), prediction->fMu, normal);
    step.fPredictedShare = PredictSparse(system, normal.pConstVector, step.x, *prediction);
  }
  return step;
}

bool IsLastStep(const AdjustmentSettings& settings, int32_t iteration, std::span<const double> x) {
  return iteration + 1 >= settings.Max_LM_Iteration_Num ||
         settings.LM_Converge_Threshold >
             std::fabs(MaxMagnitude(x.data(), static_cast<int32_t>(x.size()), 1));
}

void AddStep(const double* x, const AdjustmentSettings& settings, int32_t layoutMode, ImageTable& images,
             CameraTable& cameras, std::span<double> posParams) {
  const bool merged = layoutMode == LayoutMergedEopIop;
  if (settings.Set_EOP_Unknown) {
    for (int32_t image = 0; image < images.nImageNum; ++image) {
      EopRecord& eop = images.pEop[static_cast<size_t>(image)];
      // Deliberate: an image left out does not use up its place in x.
      if (eop.nStatus == 1) continue;
      AddToImage(x, eop);
      if (merged) AddToCamera(x, cameras.pIop[static_cast<size_t>(image)]);
    }
  }
  if (settings.Set_IOP_Unknown && !merged) {
    for (int32_t camera = 0; camera < cameras.nCameraNum; ++camera) {
      AddToCamera(x, cameras.pIop[static_cast<size_t>(camera)]);
    }
  }
  for (double& parameter : posParams) parameter += *x++;
}

}  // namespace orvo
