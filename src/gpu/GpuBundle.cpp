#include "gpu/GpuBundle.h"

#include <algorithm>
#include <cmath>

#include "geometry/OrvoMatrix.h"
#include "gpu/GpuIteration.h"
#include "gpu/PackedDamping.h"
#include "gpu/PackedPrediction.h"
#include "gpu/SectionTable.h"
#include "records/BlockLayout.h"
#include "solver/LmStep.h"

namespace orvo::gpu {
namespace {

/// Iterations that are done whatever the corrections are.
constexpr int32_t kLeastIterationNum = 3;

/// Of the time of an iteration, as a rule; the solution takes the rest.
constexpr double kShareOfSums = 0.3;

/// Products of the prediction at most; each reads the points anew where they are in several sections.
constexpr int32_t kPredictionSteps = 10, kPredictionStepsInSections = 4;

PackedBlocks BlocksOf(const GpuBundleParts& parts) {
  const bool hasGroups = parts.Limits.UsesPos() && parts.Unknowns.nLayoutMode != LayoutIop;
  return MakePackedBlocks(LayoutOf(parts.Unknowns, parts.Images, parts.Cameras),
                          hasGroups ? parts.Images.nGroupNum : 0);
}

double LargestOf(const std::vector<double>& x) {
  return MaxMagnitude(x.data(), static_cast<int32_t>(x.size()), 1);
}

}  // namespace

GpuIteration::GpuIteration(const GpuBundleParts& parts, const GpuBundleCalls& calls, int threads,
                           const GpuBundleVerdict* verdict)
    : Parts(parts),
      Calls(calls),
      pVerdict(verdict),
      State(parts.State),
      Log(parts.Log),
      Target(*parts.State.pDevice),
      nThreads(threads),
      Blocks(BlocksOf(parts)) {
  const auto n = static_cast<size_t>(parts.Unknowns.nUnknownNum);
  for (std::vector<double>* vector : {&x, &r, &damp}) vector->assign(n, 0.0);
  M.assign(static_cast<size_t>(parts.Unknowns.nDiagSize), 0.0);
}

bool GpuIteration::Iterate() {
  const AdjustmentSettings& settings = Parts.Settings;
  do {
    Advance(0);
    if (!ComputeSums()) return false;
    AddPosAndDamping();
    if (!SolvePcg() || !Predict()) return false;
    const bool finite = Step();
    if (HasFault()) return false;
    if (!finite) return true;
  } while (!settings.Direct_Intersection && nIteration < settings.Max_LM_Iteration_Num &&
           (nIteration < kLeastIterationNum || std::fabs(fMaxCorrection) > settings.LM_Converge_Threshold));
  return true;
}

void GpuIteration::AddPosAndDamping() {
  UpdatePosConstVector(Pos(), Log, r);
  UpdatePosPreconditioner(Pos(), Log, M);
  if (pVerdict != nullptr) {
    vUndamped = M;
    vRightSide = r;
  }
  Log.Print(">>>>Adding damping coefficients....\n");
  fMu = ChoosePackedDamping(Parts.Settings, Parts.Frame.bSevenParamApplied, nIteration, Parts.Limits);
  AddPackedDamping(Blocks, fMu, M, damp);
}

bool GpuIteration::SolvePcg() {
  // The blocks stay the same through all steps.
  const PackedPreconditioner preconditioner(Blocks, M, nThreads);
  Log.Print(">>>>Start PCG iteration %d\n", nIteration);
  int32_t done = 0;
  const PackedPcgOutcome outcome = SolvePackedPcg(
      Product(),
      [&](const std::vector<double>& from, std::vector<double>& z) { preconditioner.Apply(from, z); },
      [&](const std::vector<double>& v, std::vector<double>& out) {
        AddDampingProduct(Blocks, damp, v, out);
      },
      r, x, {Parts.Limits.Max_PCG_Iteration_Num, Parts.Limits.PCG_IGN_Converge_Threshold},
      [&](const PackedPcgStep& step) {
        Log.Print(">>>>>>Forcing sequence: %.9lf\t %.9lf\t %.9lf\t %.9lf\t %.9lf\n", step.fResidualNorm,
                  step.fDirectionProduct, step.fAlpha, step.fBeta, step.fEta);
        ++done;
        Advance(kShareOfSums + (1 - kShareOfSums) * done / std::max(Parts.Limits.Max_PCG_Iteration_Num, 1));
      });
  if (!outcome.bDone) return false;
  nPcgDone = outcome.nStepNum;
  if (outcome.bExhausted) {
    Log.Print(">>Get the smallest forcing sequence coef:%lf\n", outcome.fBestEta);
  }
  return !HasFault();
}

void GpuIteration::Advance(double share) const {
  if (pVerdict != nullptr && pVerdict->Advance) pVerdict->Advance(share);
}

bool GpuIteration::IsLastStep() const {
  return nIteration + 1 >= Parts.Settings.Max_LM_Iteration_Num ||
         (nIteration + 1 >= kLeastIterationNum &&
          std::fabs(LargestOf(x)) <= Parts.Settings.LM_Converge_Threshold);
}

/// For the verdict: the gain of one more step without damping, from the equations of the last iteration.
bool GpuIteration::Predict() {
  if (pVerdict == nullptr) return true;
  pVerdict->bSingular = !AllFinite(x);
  if (pVerdict->bSingular || !IsLastStep()) return true;
  const double n = static_cast<double>(std::max<int64_t>(Parts.Points.nImagePointNum, 1));
  const double squares = n * std::max(fMeanSquares, pVerdict->fLeastMeanSquare);
  DecreaseLimits limits;
  limits.fEnough = pVerdict->fEnoughShare * squares;
  limits.nMaxStepNum = HasSeveralSections() ? kPredictionStepsInSections : kPredictionSteps;
  const PackedPreconditioner preconditioner(Blocks, vUndamped, nThreads);
  const PackedInverse inverse = [&](const std::vector<double>& from, std::vector<double>& z) {
    preconditioner.Apply(from, z);
  };
  const PackedProduct product = Product();
  const std::optional<double> decrease =
      PredictPackedDecrease({product, inverse, vRightSide, pVerdict->RemoveDatum}, x, limits);
  if (!decrease) return false;
  pVerdict->fPredictedShare = *decrease / squares;
  return true;
}

/// Applies the correction; false where it is no number, which ends the iteration with the unknowns as they
/// were.
bool GpuIteration::Step() {
  const bool finite = AllFinite(x);
  fMaxCorrection = finite ? LargestOf(x) : std::nan("");
  Calls.WriteCorrections(nIteration, x.data());
  Log.Print(">>>>PCG iteration times:%d\n", nPcgDone);
  Log.Print(">>>>Max correction value:%12.6lf\n\n", fMaxCorrection);
  if (finite) Calls.UpdateUnknowns(x.data());
  if (pVerdict != nullptr && pVerdict->NoteStep)
    pVerdict->NoteStep({std::fabs(fMaxCorrection), nPcgDone, fMu});
  RefreshOrientationArrays(Parts.Images.Kept(), Parts.Cameras.Usable(), Parts.Residuals, State);
  ++nIteration;
  return finite;
}

bool GpuIteration::ReleaseResident() {
  if (bResident) FreePointDeviceMemory(State);
  return !HasFault();
}

bool GpuIteration::CutIntoGpuSections(int32_t section) {
  const PointStore& points = Parts.Points;
  if (ComputeGpuSections(points.InMemory(section), std::ssize(points.pImagePoints),
                         {Parts.Unknowns.nUnknownNum, Parts.Unknowns.nDiagUpperSize, Parts.Images.nImageNum,
                          Parts.Cameras.UsableNum()},
                         State, Log))
    return true;
  Log.Print("Compute GPU section info failed!\n");
  return false;
}

bool GpuIteration::Upload(int32_t gpuSection) {
  return AllocPointDeviceMemory({Parts.Settings, Parts.Images, Parts.Cameras, Parts.Points, Parts.Unknowns},
                                gpuSection, nThreads, State, Log);
}

SectionPoints GpuIteration::PointsOf(int32_t gpuSection) const {
  return PointsOfGpuSection(State.Sections, gpuSection, Parts.Points, Parts.Images.nImageNum,
                            Parts.Cameras.UsableNum());
}

void GpuIteration::Launch(Kernel kernel) {
  KernelCall call;
  call.Form = State.Form;
  call.Which = kernel;
  call.Arrays = State.Arrays;
  call.Para = State.Para;
  call.nImageNum = Parts.Images.nImageNum;
  // A failure shows in the next copy: the device is guarded.
  Target.Launch(call);
}

/// Adds `count` floats of the device; false with the device's code.
bool GpuIteration::DownloadVector(const float* from, int64_t count, std::vector<double>& sum, int& code) {
  fStaging.resize(static_cast<size_t>(count));
  code = Target.CopyToHost(fStaging.data(), from, fStaging.size() * sizeof(float));
  if (code != 0) return false;
  const size_t end = std::min(fStaging.size(), sum.size());
  for (size_t k = 0; k < end; ++k) sum[k] += static_cast<double>(fStaging[k]);
  return true;
}

void GpuIteration::ForgetPointSection() {
  if (!HasSeveralSections()) return;
  Calls.ReleaseSection();
  State.Sections.Release();
}

int32_t GpuIteration::GroupNum() const {
  return State.nEnabledDeviceNum > 0 ? State.Sections.nGpuSectionNum / State.nEnabledDeviceNum : 0;
}

PosSource GpuIteration::Pos() const {
  return {Parts.Limits,   Parts.Images,     Parts.Cameras,
          Parts.Unknowns, Parts.pPosParams, Parts.Settings.Set_IOP_Unknown};
}

GpuBundleOutcome IterateOnDevice(const GpuBundleParts& parts, const GpuBundleCalls& calls, int threads,
                                 const GpuBundleVerdict* verdict) {
  GpuIteration iteration(parts, calls, threads, verdict);
  const bool done = iteration.Iterate() && iteration.ReleaseResident();
  return {done, iteration.IterationNum()};
}

}  // namespace orvo::gpu
