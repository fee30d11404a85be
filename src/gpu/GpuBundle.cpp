#include "gpu/GpuBundle.h"

#include <algorithm>
#include <cmath>

#include "base/MemoryPurpose.h"
#include "geometry/OrvoMatrix.h"
#include "run/RunVerdict.h"
#include "solver/PredictedDecrease.h"
#include "verdict/DatumDirections.h"
#include "verdict/RunTrack.h"

namespace orvo {
namespace gpu {
namespace {

/// Iterations that are done whatever the corrections are.
constexpr int32_t kLeastIterationNum = 3;

/// Products of the prediction at most; each reads the points anew where they are in several sections.
constexpr int32_t kPredictionSteps = 10, kPredictionStepsInSections = 4;

int32_t PosGroupNum(const CBundleAdjustment& block) {
  const bool pos = block.Limits.Apply_GPS_Data || block.Limits.Apply_IMU_Data;
  return pos && block.Unknowns.nLayoutMode != LayoutIop ? block.Images.nGroupNum : 0;
}

}  // namespace

GpuBundle::GpuBundle(CBundleAdjustment& block)
    : Block(block),
      State(block.Gpu()),
      Target(*State.pDevice),
      Blocks(MakePackedBlocks(block.Layout(), PosGroupNum(block))) {
  const auto n = static_cast<size_t>(block.Unknowns.nUnknownNum),
             diagonal = static_cast<size_t>(block.Unknowns.nDiagSize);
  for (std::vector<double>* vector : {&x, &r, &z, &Ad, &damp}) vector->assign(n, 0.0);
  M.assign(diagonal, 0.0);
  d.assign(n, 0.0f);
}

bool GpuBundle::Iterate() {
  do {
    if (!ComputeSums()) return false;
    AddPosAndDamping();
    if (!SolvePcg() || !Predict()) return false;
    const bool finite = Step();
    if (HasFault()) return false;
    if (!finite) return true;
  } while (
      !Block.Settings.Direct_Intersection && nIteration < Block.Settings.Max_LM_Iteration_Num &&
      (nIteration < kLeastIterationNum || std::fabs(fMaxCorrection) > Block.Settings.LM_Converge_Threshold));
  return true;
}

void GpuBundle::AddPosAndDamping() {
  Block.UpdatePosConstVector(r);
  Block.UpdatePosPreconditioner(M);
  if (Block.pTrack) {
    vUndamped = M;
    vRightSide = r;
  }
  Block.LogPrintf(">>>>Adding damping coefficients....\n");
  AddPackedDamping(Blocks, Block.ChoosePackedDamping(nIteration), M, damp);
}

/// For the verdict: the gain of one more step without damping, from the equations of the last iteration.
bool GpuBundle::Predict() {
  const bool finite = std::all_of(x.begin(), x.end(), [](double element) { return std::isfinite(element); });
  if (!Block.pTrack) return true;
  Block.pTrack->bSingular = !finite;
  const bool last = nIteration + 1 >= Block.Settings.Max_LM_Iteration_Num ||
                    (nIteration + 1 >= kLeastIterationNum &&
                     std::fabs(MaxMagnitude(x.data(), Block.Unknowns.nUnknownNum, 1)) <=
                         Block.Settings.LM_Converge_Threshold);
  if (!finite || !last) return true;
  const PackedPreconditioner preconditioner(Blocks, vUndamped, Block.System.ProcessorCount());
  bool done = true;
  // The product takes the direction d from the device and leaves Ad.
  const auto multiply = [&](const double* p, double* q) {
    std::transform(p, p + d.size(), d.begin(), [](double value) { return static_cast<float>(value); });
    Target.CopyToDevice(State.Arrays.cupD, d.data(), d.size() * sizeof(float));
    done = done && Multiply();
    Block.UpdatePosNormalEquation(d, Ad);
    std::copy(Ad.begin(), Ad.end(), q);
  };
  std::vector<double> remainder(x.size());
  multiply(x.data(), remainder.data());
  for (size_t i = 0; i < remainder.size(); ++i) remainder[i] = vRightSide[i] - remainder[i];
  if (Block.IsFree()) RemoveDatum(Block.Layout(), Block.Images.Kept(), remainder);
  const double n = static_cast<double>(std::max<int64_t>(Block.Points.nImagePointNum, 1));
  const double floor = VerdictLimits().fRmseFloor * Block.Settings.Image_Coor_Scale;
  const double squares = n * std::max(Block.pTrack->fLastSquares, floor * floor);
  DecreaseLimits limits;
  limits.fEnough = 2 * DecreaseLimit(DecreaseBasisOf(Block)) / 100 * squares;
  limits.nMaxStepNum = HasSeveralSections() ? kPredictionStepsInSections : kPredictionSteps;
  std::vector<double> own(x.size());
  Block.pTrack->fPredictedShare = PredictedDecrease(std::move(remainder), limits, multiply,
                                                    [&](const double* from, double* to) {
                                                      own.assign(from, from + own.size());
                                                      std::fill(z.begin(), z.end(), 0.0);
                                                      preconditioner.Apply(own, z);
                                                      std::copy(z.begin(), z.end(), to);
                                                    }) /
                                  squares;
  return done;
}

/// Applies the correction; false where it is no number, which ends the iteration with the unknowns as they
/// were.
bool GpuBundle::Step() {
  const bool finite = std::all_of(x.begin(), x.end(), [](double element) { return std::isfinite(element); });
  fMaxCorrection = finite ? MaxMagnitude(x.data(), Block.Unknowns.nUnknownNum, 1) : std::nan("");
  Block.WriteCorrections(nIteration, x.data());
  Block.LogPrintf(">>>>PCG iteration times:%d\n", nPcgDone);
  Block.LogPrintf(">>>>Max correction value:%12.6lf\n\n", fMaxCorrection);
  if (finite) Block.UpdateUnknowns(x.data());
  Block.RefreshOrientationArrays();
  ++nIteration;
  return finite;
}

bool GpuBundle::ReleaseResident() {
  if (bResident) Block.FreePointDeviceMemory();
  return !HasFault();
}

int32_t GpuBundle::GroupNum() const {
  return State.nEnabledDeviceNum > 0 ? State.Sections.nGpuSectionNum / State.nEnabledDeviceNum : 0;
}

void GpuBundle::Launch(Kernel kernel) {
  KernelCall call;
  call.Form = State.Form;
  call.Which = kernel;
  call.Arrays = State.Arrays;
  call.Para = State.Para;
  call.nImageNum = Block.Images.nImageNum;
  // A failure shows in the next copy: the device is guarded.
  Target.Launch(call);
}

void GpuBundle::ForgetPointSection() {
  if (!HasSeveralSections()) return;
  Block.ReleaseSectionPoints();
  State.Sections.Release();
}

}  // namespace gpu

double CBundleAdjustment::ChoosePackedDamping(int32_t iteration) {
  constexpr int32_t kRoughIterations = 2;
  // Deliberate: the settings of these two never reach the solution.
  Limits.PCG_IGN_Converge_Threshold = 0.1;
  Limits.Max_PCG_Iteration_Num = iteration <= kRoughIterations ? 30 : 10;
  const DampingSchedule schedule{Frame.bSevenParamApplied, Settings.Free_LM_Iteration_Num,
                                 Settings.GCP_LM_Iteration_Num, Settings.Damping_Coefficient,
                                 Settings.fDampingBase};
  return gpu::PackedDampingFactor(schedule, iteration);
}

int CBundleAdjustment::RunGpuBundle(const std::string& project, const std::string& gcp, std::string& output) {
  const MemoryPurpose purpose("the device");
  gpu::GpuState& state = Gpu();
  if (!state.pDevice) return 0;
  state.pDevice = gpu::GuardDevice(std::move(state.pDevice), state.Fault);
  gpu::GpuBundle bundle(*this);
  SetOutputPath(project, output);
  if (!bundle.Iterate() || !bundle.ReleaseResident()) {
    if (state.Fault.IsThere())
      LogPrintf("Error!The device failed in %s. The run ends without results.\n", state.Fault.Text().c_str());
    return 0;
  }
  SetLmIterationDone(bundle.IterationNum());
  SetEndTick(System.TickMilliseconds());
  JudgePoints(*this);
  RestoreData();
  LogPrintf(">>Generating adjustment report...\n");
  WriteReport();
  if (CheckInputs() == 0) return 0;
  LogPrintf(">>Generating result file...\n");
  WriteResultFiles(project, gcp);
  if (CheckInputs() == 0) return 0;
  WriteResultOvt();
  JudgeRun(*this);
  Outputs.bOutputsWritten = CheckInputs() == 1;
  return Outputs.bOutputsWritten ? 1 : 0;
}

}  // namespace orvo
