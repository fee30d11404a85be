// The flow around the device path.
#include "base/MemoryPurpose.h"
#include "block/GcpPoints.h"
#include "gpu/GpuBundle.h"
#include "run/BundleAdjustment.h"
#include "run/RunCourse.h"
#include "run/RunVerdict.h"
#include "solver/Prediction.h"
#include "verdict/DatumDirections.h"
#include "verdict/RunTrack.h"

namespace orvo {

int CBundleAdjustment::RunGpuAdjustment(const std::string& project, const std::string& gcp,
                                        const std::string& pos, std::string& output) {
  SetStartTick(System.TickMilliseconds());
  LogPrintf(">>Reading data...\n");
  const int counted = PreReadData(project, gcp);
  RunCourse(*this).NoteFileCounts();
  if (CheckInputs() == 0) return 0;
  if (!Gate().CountsHold() || counted == 0 || ReadProject(project, gcp) == 0 || CheckInputs() == 0) return 0;
  if (Settings.Direct_Intersection && !Gate().WholeProjectHolds()) return 0;
  if (Settings.Direct_Intersection) return GenerateResults(project, gcp, output);
  if (Settings.Resampling_Points) {
    LogPrintf(">>Reampling image point data...\n");
    ResamplePoints(Paths.szOvtPath, gcp, JoinPath(Paths.szOutputPath, "Resampled.ovt"));
    if (CheckInputs() == 0) return 0;
  }
  if (!Settings.Resampling_Points || Points.bResampledToFile) {
    if (PlanSections(Images.nImageNum, Cameras.nCameraNum, Points.nObjectPointNum, Points.nImagePointNum,
                     &Points.pPointImageCount) == 0)
      return 0;
  }
  if (!Gate().PointsHold()) return 0;
  // Normalisation changes the table, and the reader of points takes the coordinates from it.
  if (!MakeGcpTable(gcp, Points, Inputs, Log)) return 0;
  if (Limits.UsesPos()) {
    LogPrintf(">>Reading POS data...\n");
    ReadPosData(pos);
    if (CheckInputs() == 0) return 0;
  }
  RunCourse(*this).BeginPhase(report::RunPhase::Preparing);
  LogPrintf(">>Preprocessing data...\n");
  if (PrepareAdjustment() != 1) return 0;
  RunVerdict(*this).NoteStart(pos);
  ComputeNormalization();
  NormalizeData();
  RunCourse(*this).NoteCounts();
  RunCourse(*this).BeginPhase(report::RunPhase::Iterating);
  RunGpuBundle(project, gcp, output);
  FreeFixedDeviceMemory();
  return 1;
}

int CBundleAdjustment::RunGpuBundle(const std::string& project, const std::string& gcp, std::string& output) {
  const MemoryPurpose purpose("the device");
  gpu::GpuState& state = Gpu();
  if (!state.pDevice) return 0;
  state.pDevice = gpu::GuardDevice(std::move(state.pDevice), state.Fault);
  SetOutputPath(project, output);

  gpu::GpuBundleCalls calls;
  calls.ReadSection = [this](int32_t section) { return ReadSectionPoints(section) == 1; };
  calls.ReleaseSection = [this] { ReleaseSectionPoints(); };
  calls.InputsHold = [this] { return CheckInputs() != 0; };
  calls.PointsHold = [this] { return Gate().PointsHold(); };
  calls.ComputeTiePoints = [this](int32_t section) { ComputeTiePoints(section); };
  calls.WriteResiduals = [this](int32_t iteration, int32_t number, const gpu::GpuResidualTable& table) {
    WriteResidualsGpu(iteration, number, table);
  };
  calls.WriteCorrections = [this](int32_t iteration, const double* x) { WriteCorrections(iteration, x); };
  calls.UpdateUnknowns = [this](const double* x) { UpdateUnknowns(x); };
  std::optional<gpu::GpuBundleVerdict> verdict;
  if (pTrack) {
    const double least = VerdictLimits().fRmseFloor * Settings.Image_Coor_Scale;
    verdict.emplace(gpu::GpuBundleVerdict{
        least * least, 2 * DecreaseLimit(DecreaseBasisOf(Limits, Unknowns, Images, Points)) / 100,
        [this](double squareX, double squareY) { RunVerdict(*this).NoteIteration(squareX, squareY); },
        [this](double share) {
          if (share <= 0) return RunCourse(*this).BeginIteration();
          RunCourse(*this).Advance(share);
        },
        [this](const gpu::GpuStepNote& note) {
          RunCourse(*this).EndIteration(note.fLargest, note.nPcgSteps, note.fMu);
        },
        [this](std::vector<double>& r) {
          if (IsFree(Points, Limits)) RemoveDatum(Layout(), Images.Kept(), r);
        },
        pTrack->bSingular, pTrack->fPredictedShare});
  }
  const gpu::GpuBundleOutcome outcome = gpu::IterateOnDevice(
      {Settings, Frame, Images, Cameras, Points, Unknowns, Normal.pPosParams, Limits, Residuals, state, Log},
      calls, System.ProcessorCount(), verdict ? &*verdict : nullptr);
  if (!outcome.bDone) {
    if (state.Fault.IsThere())
      LogPrintf("Error!The device failed in %s. The run ends without results.\n", state.Fault.Text().c_str());
    return 0;
  }
  SetLmIterationDone(outcome.nIterationNum);
  SetEndTick(System.TickMilliseconds());
  RunCourse(*this).BeginPhase(report::RunPhase::Judging);
  RunVerdict(*this).JudgePoints();
  RestoreData();
  RunCourse(*this).BeginPhase(report::RunPhase::Writing);
  LogPrintf(">>Generating adjustment report...\n");
  WriteReport();
  if (CheckInputs() == 0) return 0;
  LogPrintf(">>Generating result file...\n");
  WriteResultFiles(project, gcp);
  if (CheckInputs() == 0) return 0;
  WriteResultOvt();
  RunVerdict(*this).JudgeRun();
  RunCourse(*this).Report();
  Outputs.bOutputsWritten = CheckInputs() == 1;
  return Outputs.bOutputsWritten ? 1 : 0;
}

}  // namespace orvo
