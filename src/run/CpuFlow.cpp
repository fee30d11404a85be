// The flow of an adjustment on the CPU, from reading to the last output file.
#include "block/GcpPoints.h"
#include "block/ProjectForm.h"
#include "normal/UnknownStorage.h"
#include "run/BundleAdjustment.h"
#include "run/RunCourse.h"
#include "run/RunVerdict.h"

namespace orvo {
namespace {

/// The stages in their order; each returns 1, or 0 where the run ends.
class CpuFlow {
 public:
  CpuFlow(CBundleAdjustment& run, const std::string& project, const std::string& gcp, const std::string& pos)
      : Run(run), szProject(project), szGcp(gcp), szPos(pos) {}

  int Read(std::string& output);
  int Transform(std::string& output);
  int Prepare();
  int Iterate();
  int Finish();

 private:
  int PreparePoints();
  void ReadPosData();
  int AddSection(int32_t iteration, int32_t section);

  CBundleAdjustment& Run;
  const std::string &szProject, &szGcp, &szPos;
  std::vector<int32_t> vThreadNumCache;
};

int CpuFlow::Read(std::string& output) {
  const bool adjusts = !Run.Settings.Direct_Intersection && !Run.Settings.Absolute_Orientation;
  if (adjusts) {
    Run.LogPrintf(">>Pre-reading data...\n");
    const int counted = Run.PreReadData(szProject, szGcp);
    RunCourse(Run).NoteFileCounts();
    if (!Run.Gate().CountsHold() || counted == 0) return 0;
  } else {
    NameProjectFiles(szProject, szGcp, Run.Paths);
  }
  Run.LogPrintf(">>Reading eop and camera data from project file...\n");
  if (Run.ReadProject(szProject, szGcp) == 0 || Run.CheckInputs() == 0) return 0;
  if (!adjusts && !Run.Gate().WholeProjectHolds()) return 0;
  if (Run.SetOutputPath(szProject, output) == 0) return 0;
  Run.SetStartTick(Run.System.TickMilliseconds());
  return 1;
}

/// The run modes without adjustment.
int CpuFlow::Transform(std::string& output) {
  if (!Run.Settings.Direct_Intersection) {
    if (Run.ComputeSevenParametersFromGcp(szGcp) != 1) {
      Run.LogPrintf("Error! Compute Seven Parameters with GCP failed!\n");
      return -1;
    }
    Run.ApplySevenParameters();
  }
  Run.GenerateResults(szProject, szGcp, output);
  return 0;
}

int CpuFlow::Prepare() {
  if (PreparePoints() == 0 || !Run.Gate().PointsHold()) return 0;
  ReadPosData();
  if (Run.CheckInputs() == 0) return 0;
  RunCourse(Run).BeginPhase(report::RunPhase::Preparing);

  Run.LogPrintf(">>Adjustment preprocessing...\n");
  if (Run.PrepareAdjustment() != 1) return 0;
  RunVerdict(Run).NoteStart(szPos);
  if (Run.Limits.Coor_Normalization) {
    Run.LogPrintf(">>Normalizing data...\n");
    Run.ComputeNormalization();
    Run.NormalizeData();
  }
  Run.LogPrintf(">>Computing sub-matrix position...\n");
  if (Run.ComputeSubMatrixPosition() == 0) return 0;
  RunCourse(Run).NoteCounts();
  RunCourse(Run).BeginPhase(report::RunPhase::Iterating);
  return 1;
}

int CpuFlow::PreparePoints() {
  if (Run.Settings.Resampling_Points) {
    Run.LogPrintf(">>Reampling image point data...\n");
    if (Run.ResamplePoints(Run.Paths.szOvtPath, szGcp, JoinPath(Run.Paths.szOutputPath, "Resampled.ovt")) ==
        0) {
      return 0;
    }
    if (!Run.Points.bResampledToFile) return 1;
  }
  if (Run.PlanSections(Run.Images.nImageNum, Run.Cameras.nCameraNum, Run.Points.nObjectPointNum,
                       Run.Points.nImagePointNum, &Run.Points.pPointImageCount) == 0) {
    return 0;
  }
  if (Run.Points.Sections.Count() != 1) {
    // Normalisation changes the table and the reader of each section takes the coordinates from it, so the
    // table has to be there before the first section is read.
    return MakeGcpTable(szGcp, Run.Points, Run.Inputs, Run.Log) ? 1 : 0;
  }
  Run.LogPrintf(">>Reading points data...\n");
  int64_t count = 0;
  if (Run.ReadSectionPoints(0, Run.Paths.szProjectPath, szGcp, count) == 0) return 0;
  Run.Points.nObjectPointNum = count;
  Run.Points.Sections.ObjectPoints[0] = {0, count - 1};
  return 1;
}

void CpuFlow::ReadPosData() {
  if (!Run.Limits.UsesPos()) return;
  if (szPos.empty()) {
    Run.Limits.Apply_GPS_Data = Run.Limits.Apply_IMU_Data = false;
    return;
  }
  Run.LogPrintf(">>Reading pos data...\n");
  // Unreadable POS data has cleared the switches, and the run goes on without.
  Run.ReadPosData(szPos);
}

int CpuFlow::Iterate() {
  ResidualStatistics& residuals = Run.Residuals;
  vThreadNumCache.assign(static_cast<size_t>(Run.Points.Sections.Count()), 0);
  int32_t iteration = 0;
  do {
    residuals.nValidImagePointNum = 0;
    residuals.nGrossImagePointNum = 0;
    RunCourse(Run).BeginIteration();
    residuals.fResidualSumX = residuals.fResidualSumY = 0;
    residuals.fResidualSquareSumX = residuals.fResidualSquareSumY = 0;
    MakeEquations(Run.Normal, Run.Unknowns.nUnknownNum, Run.Limits.Apply_PCG_Model);
    for (int32_t section = 0; section < Run.Points.Sections.Count(); ++section) {
      if (Run.Points.Sections.ObjectPoints[static_cast<size_t>(section)].Count() < 1) continue;
      if (AddSection(iteration, section) == 0) return 0;
    }
    RunVerdict(Run).NoteIteration(residuals.fRmsResidualX * residuals.fRmsResidualX,
                                  residuals.fRmsResidualY * residuals.fRmsResidualY);
    if (Run.Limits.UsesPos()) {
      Run.LogPrintf(">>>>Building GPS normal equation %d...\n", iteration);
      Run.BuildPosNormalEquation(iteration);
    }
    Run.LogPrintf(">>>>Adding damping coefficients %d...\n", iteration);
    if (Run.AddDampingCoefficients(iteration) == 0) return 0;
    Run.LogPrintf(">>>>Solving normal equation and update unknowns %d...\n", iteration);
    if (Run.SolveAndUpdate(iteration) == 0) return 0;
    // The solution leaves the dense matrix cleared, and its memory is kept: to get it anew from the system
    // would take longer than to clear it.
    if (Run.Limits.Apply_PCG_Model) Run.ReleaseNormalEquation();
    if (Run.Progress.bConverged) break;
    ++iteration;
  } while (iteration < Run.Settings.Max_LM_Iteration_Num);
  Run.ReleaseNormalEquation();
  Run.SetLmIterationDone(iteration);
  return 1;
}

int CpuFlow::AddSection(int32_t iteration, int32_t section) {
  const bool several = Run.Points.Sections.Count() > 1;
  if (several) {
    Run.LogPrintf(">>Reading points data section %d...\n", section);
    if (Run.ReadSectionPoints(section) == 0) return 0;
  }
  Run.LogPrintf(">>>>Computing tie point 3D coordinates %d %d...\n", iteration, section);
  Run.ComputeTiePoints(section);
  Run.LogPrintf(">>>>Building normal equation %d %d...\n", iteration, section);
  if (Run.BuildNormalEquation(iteration, section, vThreadNumCache) == -1) {
    Run.LogPrintf("Error!Building normal equation for section %d failed!\n", iteration);
    return 0;
  }
  RunCourse(Run).Advance(kShareOfSums * (section + 1) / Run.Points.Sections.Count());
  if (several) Run.ReleaseSectionPoints();
  return 1;
}

int CpuFlow::Finish() {
  RunCourse(Run).BeginPhase(report::RunPhase::Writing);
  if (Run.Limits.Coor_Normalization) {
    Run.LogPrintf(">>Unnormalizing data...\n");
    Run.RestoreData();
  }
  Run.SetEndTick(Run.System.TickMilliseconds());
  Run.LogPrintf(">>Out put resut file...\n");
  Run.WriteResultFiles(szProject, szGcp);
  Run.LogPrintf(">>Out put adjustment report...\n");
  Run.WriteReport();
  if (Run.CheckInputs() == 0) {
    Run.FinishResidualFiles();
    return 0;
  }
  // The last pass reads the sections once more and may need all of the memory for them.
  Run.FinishResidualFiles();
  Run.ReleaseThreadBuffers();
  Run.ReleaseNormalEquation();
  Run.ReleasePosData();
  Run.ReleaseSectionPoints();
  Run.ReleaseSubMatrixIndex();
  Run.LogPrintf(">>Out put points data...\n");
  Run.WriteResultOvt();
  RunVerdict(Run).JudgeRun();
  RunCourse(Run).Report();
  Run.Outputs.bOutputsWritten = Run.CheckInputs() == 1;
  return Run.Outputs.bOutputsWritten ? 1 : 0;
}

}  // namespace

int CBundleAdjustment::RunCpuAdjustment(const std::string& project, const std::string& gcp,
                                        const std::string& pos, std::string& output) {
  CpuFlow flow(*this, project, gcp, pos);
  if (flow.Read(output) == 0) return 0;
  if (Settings.Direct_Intersection || Settings.Absolute_Orientation) return flow.Transform(output);
  if (flow.Prepare() == 0) return 0;
  WriteResidualsBesideTheRun();
  if (flow.Iterate() == 0) {
    FinishResidualFiles();
    return 0;
  }
  ListLastResiduals();
  RunCourse(*this).BeginPhase(report::RunPhase::Judging);
  RunVerdict(*this).JudgePoints();
  return flow.Finish();
}

int CBundleAdjustment::GenerateResults(const std::string& project, const std::string& gcp,
                                       const std::string& /*output*/) {
  Paths.szGcpPath = gcp;
  SetEndTick(System.TickMilliseconds());
  RunCourse(*this).BeginPhase(report::RunPhase::Writing);
  LogPrintf(">>Generating result file...\n");
  if (!Settings.Direct_Intersection && Settings.Absolute_Orientation) WriteResultForm(project, gcp, 0);
  WriteResultForm(project, gcp, 1);
  LogPrintf(">>Generating adjustment report...\n");
  WriteReport();
  if (CheckInputs() == 0) return 0;
  WriteResultOvt();
  RunVerdict(*this).JudgeRun();
  RunCourse(*this).Report();
  Outputs.bOutputsWritten = CheckInputs() == 1;
  return Outputs.bOutputsWritten ? 1 : 0;
}

}  // namespace orvo
