#include "run/RigorousFlow.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "base/ScratchMemory.h"
#include "block/GcpSigmas.h"
#include "block/PosSigmas.h"
#include "block/ProjectForm.h"
#include "block/SectionPlan.h"
#include "rigorous/DatumObservations.h"
#include "rigorous/MemoryPlan.h"
#include "rigorous/RobustAdjust.h"
#include "rigorous/VarianceEstimation.h"
#include "run/BlunderOutput.h"
#include "run/BundleAdjustment.h"
#include "run/MountingOutput.h"
#include "run/PrecisionOutput.h"
#include "run/ReliabilityOutput.h"
#include "run/ResultSections.h"
#include "run/RigorousResults.h"
#include "run/RunCourse.h"
#include "run/RunVerdict.h"
#include "run/VarianceOutput.h"
#include "verdict/RunTrack.h"

namespace orvo {
namespace {

const char* TextOf(rigorous::AdjustEnd end) {
  using rigorous::AdjustEnd;
  switch (end) {
    case AdjustEnd::Converged:
      return "converged";
    case AdjustEnd::Stalled:
      return "no step lowers the cost any more";
    case AdjustEnd::Limit:
      return "as many iterations as are allowed";
    case AdjustEnd::NotFinite:
      return "the start gives no finite residuals";
    case AdjustEnd::NoRedundancy:
      return "fewer observations than unknowns";
    case AdjustEnd::NotSolvable:
      return "the normal equations can't be solved";
    case AdjustEnd::Cancelled:
      return "cancelled";
  }
  return "";
}

/// Ends that leave something to write.
bool HasResult(rigorous::AdjustEnd end) {
  using rigorous::AdjustEnd;
  return end == AdjustEnd::Converged || end == AdjustEnd::Stalled || end == AdjustEnd::Limit;
}

/// The stages in their order; each returns 1, or 0 where the run ends.
class RigorousFlow {
 public:
  RigorousFlow(CBundleAdjustment& run, const std::string& project, const std::string& gcp,
               const std::string& pos)
      : Run(run), szProject(project), szGcp(gcp), szPos(pos) {}

  int Read(std::string& output);
  int Prepare();
  int Iterate();
  int Finish();
  bool RefuseScratch(const std::string& what);

 private:
  bool Refuse(const std::string& file, std::string what, std::string remedy, int64_t line = 0);
  bool CanBeDone();
  bool HasDatum();
  bool HasStatedCameras();
  void SettleLimits();
  void PlanMemory(const BlockSize& size);
  int ReadPoints();
  int ReadPosData();
  void MakeProblem();
  rigorous::RobustOptions Options() const;
  bool EndIteration(const rigorous::AdjustIteration& line);
  void TellResult();
  void EstimateDeviations();
  OvtSections PlacedSections(const ScratchVector<rigorous::Vector3>& places);
  int WriteFiles();

  CBundleAdjustment& Run;
  const std::string &szProject, &szGcp, &szPos;
  std::optional<ScratchMemory> Scratch;  ///< before what lies in it
  rigorous::BlockProblem Problem;
  rigorous::Estimate Now;
  rigorous::RayResidualSums Sums;  ///< of Now
  rigorous::PrecisionFigures Figures;
  rigorous::RobustResult Result;
  std::vector<GcpSigma> vSigmas;                          ///< of the GCP file
  std::vector<PosSigma> vPosSigmas;                       ///< of the POS file
  std::vector<rigorous::ControlObservation> vStated;      ///< control as it was given
  std::optional<rigorous::VarianceEstimation> Variances;  ///< where they were estimated and taken
};

/// False, with the reason told.
bool RigorousFlow::Refuse(const std::string& file, std::string what, std::string remedy, int64_t line) {
  const std::string told = (line > 0 ? file + ":" + std::to_string(line) + ": " : "") + what;
  Run.LogPrintf("Error!The rigorous method can't take it: %s!\n", told.c_str());
  Run.Guard.Refusals.push_back({Severity::Error, file, line, -1, std::move(what), std::move(remedy)});
  return false;
}

bool RigorousFlow::RefuseScratch(const std::string& what) {
  return Refuse(
      Run.Paths.szOutputPath, what,
      "Free room on the disk, name another folder with --out, or count on more memory with --memory");
}

/// What the method has no answer to.
bool RigorousFlow::CanBeDone() {
  const AdjustmentSettings& settings = Run.Settings;
  if (settings.Direct_Intersection || settings.Absolute_Orientation)
    return Refuse(szProject, "Direct_Intersection and Absolute_Orientation adjust nothing",
                  "Set both false, or leave --method rigorous away");
  return true;
}

/// The method takes every point, in the units of the files, and knows sparse equations alone.
void RigorousFlow::SettleLimits() {
  RunLimits& limits = Run.Limits;
  if (limits.Apply_GPU) Run.LogPrintf(">>The rigorous method computes on the processor.\n");
  limits.Apply_GPU = false;
  limits.Apply_PCG_Model = true;
  limits.Coor_Normalization = false;
  limits.Point_Thinned_Interval = 1;
  // Without drift its parameters stay 0; without places for them the differences would not be told.
  limits.Correct_Const_Error = true;
  limits.Correct_LinearError = Run.Chosen.Settings.Drift == DriftForm::Linear;
}

bool RigorousFlow::HasStatedCameras() {
  for (const CameraSigma& stated : Run.Chosen.Settings.Sigma_Image_Cameras) {
    if (stated.nCamera < Run.Cameras.nCameraFileNum) continue;
    return Refuse(szProject,
                  "Sigma_Image_Cameras names camera " + std::to_string(stated.nCamera) +
                      ", and the project has " + std::to_string(Run.Cameras.nCameraFileNum),
                  "Name cameras by their places in the project, the first of them 0");
  }
  return true;
}

int RigorousFlow::Read(std::string& output) {
  if (!CanBeDone()) return 0;
  SettleLimits();
  Run.LogPrintf(">>Pre-reading data...\n");
  const int counted = Run.PreReadData(szProject, szGcp);
  RunCourse(Run).NoteFileCounts();
  if (!Run.Gate().CountsHold() || counted == 0) return 0;
  Run.LogPrintf(">>Reading eop and camera data from project file...\n");
  if (Run.ReadProject(szProject, szGcp) == 0 || Run.CheckInputs() == 0) return 0;
  for (IopRecord& camera : Run.Cameras.pIop) camera.bStrict = true;
  if (!HasStatedCameras()) return 0;
  if (Run.SetOutputPath(szProject, output) == 0) return 0;
  Run.SetStartTick(Run.System.TickMilliseconds());
  return 1;
}

/// Points that do not fit into the memory go where the results go.
void RigorousFlow::PlanMemory(const BlockSize& size) {
  const rigorous::MemoryPlan plan =
      rigorous::PlanMemory({size.nImageNum, size.nObjectPointNum, size.nImagePointNum},
                           Run.Chosen.Settings.Precision, Run.System.FreePhysicalBytes());
  if (plan.bFits) return;
  constexpr int64_t kMegabyte = 1000000;
  Run.LogPrintf(">>The points do not fit into memory: about %lld MB lie on the disk in %s\n",
                static_cast<long long>(plan.nPointBytes / kMegabyte), Run.Paths.szOutputPath.c_str());
  Scratch.emplace(Run.Paths.szOutputPath, plan.nResidentBytes);
}

int RigorousFlow::ReadPoints() {
  const BlockSize size = {Run.Images.nImageNum, Run.Cameras.nCameraNum, Run.Points.nObjectPointNum,
                          Run.Points.nImagePointNum};
  PlanMemory(size);
  // One section: what does not fit into memory lies in the scratch memory.
  Run.Points.Sections =
      PlanPointSections(size, &Run.Points.pPointImageCount, std::numeric_limits<int64_t>::max(), Run.Log);
  Run.LogPrintf(">>Reading points data...\n");
  int64_t count = 0;
  if (Run.ReadSectionPoints(0, Run.Paths.szProjectPath, szGcp, count) == 0) return 0;
  Run.Points.nObjectPointNum = count;
  Run.Points.Sections.ObjectPoints[0] = {0, count - 1};
  return 1;
}

int RigorousFlow::ReadPosData() {
  if (!Run.Limits.UsesPos()) return 1;
  if (szPos.empty()) {
    Run.Limits.Apply_GPS_Data = Run.Limits.Apply_IMU_Data = false;
    return 1;
  }
  Run.LogPrintf(">>Reading pos data...\n");
  Run.ReadPosData(szPos);
  PosSigmas sigmas = ReadPosSigmas(szPos, Run.Images, Run.Inputs);
  vPosSigmas = std::move(sigmas.vByImage);
  for (const PosSigmaFault& fault : sigmas.vFaults) {
    Refuse(
        szPos, fault.szWhat,
        "Behind the strip stand no columns, three or six: standard deviations above 0, below 0 for what is "
        "not observed",
        fault.nLine);
  }
  return sigmas.vFaults.empty() ? 1 : 0;
}

/// What the settings want to hold the block has to be there.
bool RigorousFlow::HasDatum() {
  const DatumChoice datum = Run.Chosen.Settings.Datum;
  if (datum == DatumChoice::Control && Run.Points.nControlPointNum < 1)
    return Refuse(szProject, "Datum is control, and there are no control points",
                  "Give them with --gcp, or set Datum auto");
  if (datum == DatumChoice::Gps && !Run.Limits.Apply_GPS_Data)
    return Refuse(szProject, "Datum is gps, and no GPS positions are used",
                  "Give them with --pos and set Apply_GPS_Data true, or set Datum auto");
  return true;
}

int RigorousFlow::Prepare() {
  if (ReadPoints() == 0 || !Run.Gate().PointsHold()) return 0;
  if (ReadPosData() == 0 || !HasDatum()) return 0;
  if (Run.CheckInputs() == 0) return 0;
  RunCourse(Run).BeginPhase(report::RunPhase::Preparing);
  Run.LogPrintf(">>Adjustment preprocessing...\n");
  if (Run.PrepareAdjustment() != 1) return 0;
  RunVerdict(Run).NoteStart(szPos);
  Run.LogPrintf(">>Computing tie point 3D coordinates...\n");
  Run.ComputeTiePoints(0);
  MakeProblem();
  RunCourse(Run).NoteCounts();
  RunCourse(Run).BeginPhase(report::RunPhase::Iterating);
  return 1;
}

void RigorousFlow::MakeProblem() {
  const RigorousSettings& settings = Run.Chosen.Settings;
  vSigmas = ReadGcpSigmas(szGcp, Run.Inputs);
  Problem = rigorous::MakeBlockProblem(
      {Run.Settings, Run.Limits, settings, Run.Images, Run.Cameras, Run.Points, vSigmas, vPosSigmas});
  Now = std::move(Problem.Start);
  vStated = Problem.Task.vControl;
  rigorous::LeaveDatumTo(settings.Datum, Problem.Task);
  Run.LogPrintf(">>Points in the adjustment:%lld, left out:%lld\n",
                static_cast<long long>(Problem.Task.PointNum()), static_cast<long long>(Problem.nLeftOut));
  const int64_t unknowns = rigorous::PlanUnknowns(Problem.Task).UnknownNum();
  Run.Unknowns.nUnknownNum = static_cast<int32_t>(std::min<int64_t>(unknowns, INT32_MAX));
  // The reports think in weights.
  const double image = settings.Sigma_Image * std::abs(Run.Settings.Image_Coor_Scale);
  Run.Limits.GPS_WeightXY = std::pow(image / settings.Sigma_GPS_XY, 2);
  Run.Limits.GPS_WeightZ = std::pow(image / settings.Sigma_GPS_Z, 2);
}

rigorous::RobustOptions RigorousFlow::Options() const {
  rigorous::RobustOptions options;
  options.Steps.nMaxIterations = Run.Chosen.Settings.Max_Iterations;
  options.Steps.nThreads = Run.System.ProcessorCount();
  options.Form = Run.Chosen.Settings.Robust;
  options.fCritical = Run.Chosen.Settings.Snooping_Critical;
  return options;
}

/// Tells what the iteration began with and did.
bool RigorousFlow::EndIteration(const rigorous::AdjustIteration& line) {
  const double n = static_cast<double>(std::max<int64_t>(Sums.nUsed, 1));
  StoreResidualStatistics(Sums, Run.Residuals);
  RunVerdict(Run).NoteIteration(Sums.fSquaresX / n, Sums.fSquaresY / n);
  RunCourse(Run).EndIteration(line.fStep, line.nSolverSteps, line.fDamping);
  Run.LogPrintf(">>>>Iteration %d: cost %.9e, step %.3e, damping %.1e%s\n", line.nIteration, line.fCost,
                line.fStep, line.fDamping, line.bAccepted ? "" : ", rejected");
  if (line.bAccepted) Sums = SumsOfPass(line.Points, std::ssize(Problem.Task.vRays));
  RunCourse(Run).BeginIteration();
  return true;
}

void RigorousFlow::TellResult() {
  const rigorous::AdjustResult& last = Result.Last;
  Run.LogPrintf(">>End of the iterations: %s\n", TextOf(last.End));
  Run.LogPrintf(">>Observations:%lld, unknowns:%lld, redundancy:%lld\n",
                static_cast<long long>(last.nObservations), static_cast<long long>(last.nUnknowns),
                static_cast<long long>(last.Redundancy()));
  Run.LogPrintf(">>Sigma0:%.9lf\n", last.fSigma0);
  TellMountings(Problem, Now, Run);
  TellBlunders(Problem, Result, Run);
}

/// Adjusts what is left with standard deviations that its own residuals tell.
void RigorousFlow::EstimateDeviations() {
  Run.LogPrintf(">>Estimating standard deviations...\n");
  const rigorous::AdjustOptions options = Options().Steps;
  int32_t iterations = static_cast<int32_t>(std::ssize(Result.vIterations));
  const auto observe = [&](rigorous::AdjustIteration line) {
    line.nIteration = ++iterations;
    Result.vIterations.push_back(line);
    return EndIteration(line);
  };
  const rigorous::Estimate before = Now;
  const rigorous::VarianceEstimation made = EstimateVariances(Problem.Task, options, {}, Now, observe);
  TellVariances(made, Run);
  if (HasResult(made.Last.End)) {
    Result.Last = made.Last;
    Variances = made;
    return;
  }
  Now = before;
  std::vector<double> back = made.vScales;
  for (double& scale : back) scale = 1 / scale;
  if (!back.empty()) ScaleDeviations(back, Problem.Task);
}

int RigorousFlow::Iterate() {
  RunCourse(Run).BeginIteration();
  Sums = SumRayResiduals(Problem.Task, Now, Run.System.ProcessorCount());
  Result = AdjustRobustly(Problem.Task, Options(), Now,
                          [this](const rigorous::AdjustIteration& line) { return EndIteration(line); });
  if (HasResult(Result.Last.End) && Run.Chosen.Settings.Estimate_Variances) EstimateDeviations();
  if (!HasResult(Result.Last.End)) {
    Run.LogPrintf("Error!The adjustment failed: %s!\n", TextOf(Result.Last.End));
    return 0;
  }
  TellResult();
  RunCourse(Run).NoteRedundancy(Result.Last.Redundancy());
  const auto iterations = static_cast<int32_t>(std::ssize(Result.vIterations));
  Run.Progress.bConverged = Result.Last.End == rigorous::AdjustEnd::Converged;
  if (Run.pTrack) {
    Run.pTrack->bReachedEnd = Run.Progress.bConverged;
    Run.pTrack->vLeftOut = LeftOutMeasurements(Problem, Run.Points);
    Run.pTrack->vUnobserved = UnobservedPlaces(Problem, vStated, Now, Run.Points);
  }
  Run.SetLmIterationDone(iterations);
  Sums = SumRayResiduals(Problem.Task, Now, Run.System.ProcessorCount());
  StoreResidualStatistics(Sums, Run.Residuals);
  StoreResult(Problem, Now, Run);
  if (Run.Limits.Residuals != ResidualExtent::None) WriteRigorousResiduals(iterations, Problem, Now, Run);
  Run.LogPrintf(">>Computing the precision...\n");
  Figures = PrecisionOfRun(Problem, Now, Result.Last, CheckPointsOfRun(Problem, vSigmas, Run), Run);
  TellPrecision(Figures, std::ssize(Result.vOut), Run);
  NoteReliability(Problem, Result, Figures, Variances, Run);
  return 1;
}

/// Those of the run, with the points at their places in the adjustment; the others stay intersected.
OvtSections RigorousFlow::PlacedSections(const ScratchVector<rigorous::Vector3>& places) {
  OvtSections sections = SectionsOfRun(Run);
  sections.Intersect = [this, &places, intersect = sections.Intersect](int32_t section, int64_t count) {
    intersect(section, count);
    const int64_t first = Run.Points.Sections.ObjectPoints[section].nFirst;
    for (int64_t i = 0; i < count && first + i < std::ssize(places); ++i) {
      const rigorous::Vector3& place = places[first + i];
      ObjectPointRecord& point = Run.Points.pObjectPoints[i];
      if (!std::isfinite(place[0])) continue;
      point.X = place[0];
      point.Y = place[1];
      point.Z = place[2];
    }
  };
  return sections;
}

int RigorousFlow::WriteFiles() {
  Run.LogPrintf(">>Out put resut file...\n");
  ResultSources sources{szProject, szGcp, Run.Settings, Run.Images, Run.Cameras, Run.Inputs};
  sources.PlaceGroundPoint = GroundPointPlacing(Problem, Now, Run.Points);
  WriteResultFiles(sources, Run.Paths, Run.Residuals, Run.Outputs, Run.Log);
  Run.LogPrintf(">>Out put adjustment report...\n");
  Run.WriteReport();
  WritePrecisionTable(Problem, Now, Figures, Run);
  WriteBlunderTable(Problem, Result, Run);
  if (Run.CheckInputs() == 0) return 0;
  const ScratchVector<rigorous::Vector3> places = TiePointPlaces(Problem, Now, Run.Points.nTiePointNum);
  Run.ReleasePosData();
  Run.ReleaseSectionPoints();
  Run.LogPrintf(">>Out put points data...\n");
  WriteResultOvt(PlacedSections(places), Run.Paths, Run.Points, Run.Inputs, Run.Outputs, Run.Log);
  return 1;
}

int RigorousFlow::Finish() {
  RunCourse(Run).BeginPhase(report::RunPhase::Judging);
  RunVerdict(Run).JudgePoints();
  RunCourse(Run).BeginPhase(report::RunPhase::Writing);
  Run.SetEndTick(Run.System.TickMilliseconds());
  if (WriteFiles() == 0) return 0;
  RunVerdict(Run).JudgeRun();
  RunCourse(Run).Report();
  Run.Outputs.bOutputsWritten = Run.CheckInputs() == 1;
  return Run.Outputs.bOutputsWritten ? 1 : 0;
}

}  // namespace

int RunRigorousAdjustment(CBundleAdjustment& run, const std::string& project, const std::string& gcp,
                          const std::string& pos, std::string& output) {
  RigorousFlow flow(run, project, gcp, pos);
  try {
    return flow.Read(output) == 1 && flow.Prepare() == 1 && flow.Iterate() == 1 && flow.Finish() == 1 ? 1 : 0;
  } catch (const ScratchFault& fault) {
    return flow.RefuseScratch(fault.what());
  }
}

}  // namespace orvo
