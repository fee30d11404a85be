// The flow of an adjustment on the CPU, from reading to the last output file.
#include "base/MemoryPurpose.h"
#include "block/ProjectForm.h"
#include "run/BundleAdjustment.h"
#include "run/InputGate.h"
#include "run/RunVerdict.h"

namespace orvo {

int CBundleAdjustment::RunCpuAdjustment(const std::string& project, const std::string& gcp,
                                        const std::string& pos, std::string& output) {
  const bool adjusts = !Settings.Direct_Intersection && !Settings.Absolute_Orientation;
  if (adjusts) {
    LogPrintf(">>Pre-reading data...\n");
    const int counted = PreReadData(project, gcp);
    if (!CountsHold(*this) || counted == 0) return 0;
  } else {
    Paths.szProjectPath = project;
    Paths.szGcpPath = gcp;
    Paths.szOvtPath = OvtPathOfProject(project);
  }
  LogPrintf(">>Reading eop and camera data from project file...\n");
  if (ReadProject(project, gcp) == 0 || CheckInputs() == 0) return 0;
  if (!adjusts && !WholeProjectHolds(*this)) return 0;
  if (SetOutputPath(project, output) == 0) return 0;
  SetStartTick(System.TickMilliseconds());

  if (Settings.Direct_Intersection) {
    GenerateResults(project, gcp, output);
    return 0;
  }
  if (Settings.Absolute_Orientation) {
    if (ComputeSevenParametersFromGcp(gcp) != 1) {
      LogPrintf("Error! Compute Seven Parameters with GCP failed!\n");
      return -1;
    }
    ApplySevenParameters();
    GenerateResults(project, gcp, output);
    return 0;
  }
  if (PrepareCpuPoints(gcp) == 0 || !PointsHold(*this)) return 0;
  ReadCpuPosData(pos);
  if (CheckInputs() == 0) return 0;

  LogPrintf(">>Adjustment preprocessing...\n");
  if (PrepareAdjustment() != 1) return 0;
  NoteStart(*this, pos);
  if (Limits.Coor_Normalization) {
    LogPrintf(">>Normalizing data...\n");
    ComputeNormalization();
    NormalizeData();
  }
  LogPrintf(">>Computing sub-matrix position...\n");
  if (ComputeSubMatrixPosition() == 0) return 0;
  WriteResidualsBesideTheRun();
  if (RunCpuIterations() == 0) {
    FinishResidualFiles();
    return 0;
  }
  JudgePoints(*this);

  if (Limits.Coor_Normalization) {
    LogPrintf(">>Unnormalizing data...\n");
    RestoreData();
  }
  SetEndTick(System.TickMilliseconds());
  LogPrintf(">>Out put resut file...\n");
  WriteResultFiles(project, gcp);
  LogPrintf(">>Out put adjustment report...\n");
  WriteReport();
  if (CheckInputs() == 0) {
    FinishResidualFiles();
    return 0;
  }
  // The last pass reads the sections once more and may need all of the memory for them.
  FinishResidualFiles();
  ReleaseThreadBuffers();
  ReleaseNormalEquation();
  ReleasePosData();
  ReleaseSectionPoints();
  ReleaseSubMatrixIndex();
  LogPrintf(">>Out put points data...\n");
  WriteResultOvt();
  JudgeRun(*this);
  Outputs.bOutputsWritten = CheckInputs() == 1;
  return Outputs.bOutputsWritten ? 1 : 0;
}

int CBundleAdjustment::PrepareCpuPoints(const std::string& gcp) {
  if (Settings.Resampling_Points) {
    LogPrintf(">>Reampling image point data...\n");
    if (ResamplePoints(Paths.szOvtPath, gcp, JoinPath(Paths.szOutputPath, "Resampled.ovt")) == 0) return 0;
    if (!Points.bResampledToFile) return 1;
  }
  if (PlanSections(Images.nImageNum, Cameras.nCameraNum, Points.nObjectPointNum, Points.nImagePointNum,
                   &Points.pPointImageCount) == 0)
    return 0;
  if (Points.Sections.Count() != 1) {
    // Normalisation changes the table and the reader of each section takes the coordinates from it, so the
    // table has to be there before the first section is read.
    return ReadGcpTable(gcp);
  }
  LogPrintf(">>Reading points data...\n");
  int64_t count = 0;
  if (ReadSectionPoints(0, Paths.szProjectPath, gcp, count) == 0) return 0;
  Points.nObjectPointNum = count;
  Points.Sections.ObjectPoints[0] = {0, count - 1};
  return 1;
}

void CBundleAdjustment::ReadCpuPosData(const std::string& pos) {
  if (!Limits.Apply_GPS_Data && !Limits.Apply_IMU_Data) return;
  if (pos.empty()) {
    Limits.Apply_GPS_Data = Limits.Apply_IMU_Data = false;
    return;
  }
  LogPrintf(">>Reading pos data...\n");
  // Unreadable POS data has cleared the switches, and the run goes on without.
  ReadPosData(pos);
}

int CBundleAdjustment::RunCpuIterations() {
  std::vector<int32_t> threadNumCache(static_cast<size_t>(Points.Sections.Count()), 0);
  int32_t iteration = 0;
  do {
    Residuals.nValidImagePointNum = 0;
    Residuals.fResidualSumX = Residuals.fResidualSumY = Residuals.fResidualSquareSumX =
        Residuals.fResidualSquareSumY = 0;
    MakeNormalEquation();
    for (int32_t section = 0; section < Points.Sections.Count(); ++section) {
      if (Points.Sections.ObjectPoints[static_cast<size_t>(section)].Count() < 1) continue;
      if (AddSectionToNormalEquation(iteration, section, threadNumCache) == 0) return 0;
    }
    NoteIteration(*this, Residuals.fRmsResidualX * Residuals.fRmsResidualX,
                  Residuals.fRmsResidualY * Residuals.fRmsResidualY);
    if (Limits.Apply_GPS_Data || Limits.Apply_IMU_Data) {
      LogPrintf(">>>>Building GPS normal equation %d...\n", iteration);
      BuildPosNormalEquation(iteration);
    }
    LogPrintf(">>>>Adding damping coefficients %d...\n", iteration);
    if (AddDampingCoefficients(iteration) == 0) return 0;
    LogPrintf(">>>>Solving normal equation and update unknowns %d...\n", iteration);
    if (SolveAndUpdate(iteration) == 0) return 0;
    // The solution leaves the dense matrix cleared, and its memory is kept: to get it anew from the system
    // would take longer than to clear it.
    if (Limits.Apply_PCG_Model) ReleaseNormalEquation();
    if (Progress.bConverged) break;
    ++iteration;
  } while (iteration < Settings.Max_LM_Iteration_Num);
  ReleaseNormalEquation();
  SetLmIterationDone(iteration);
  return 1;
}

int CBundleAdjustment::AddSectionToNormalEquation(int32_t iteration, int32_t section,
                                                  std::vector<int32_t>& threadNumCache) {
  const bool several = Points.Sections.Count() > 1;
  if (several) {
    LogPrintf(">>Reading points data section %d...\n", section);
    if (ReadSectionPoints(section) == 0) return 0;
  }
  LogPrintf(">>>>Computing tie point 3D coordinates %d %d...\n", iteration, section);
  ComputeTiePoints(section);
  LogPrintf(">>>>Building normal equation %d %d...\n", iteration, section);
  if (BuildNormalEquation(iteration, section, threadNumCache) == -1) {
    LogPrintf("Error!Building normal equation for section %d failed!\n", iteration);
    return 0;
  }
  if (several) ReleaseSectionPoints();
  return 1;
}

void CBundleAdjustment::MakeNormalEquation() {
  const MemoryPurpose purpose("the normal equations");
  const auto order = static_cast<size_t>(Unknowns.nUnknownNum);
  Normal.pConstVector.assign(order, 0.0);
  if (Limits.Apply_PCG_Model) {
    if (Normal.pSubMatrices.empty()) Normal.pSubMatrices.resize(static_cast<size_t>(Normal.nSubMatrixNum));
    ClearSubMatrices(Normal.pSubMatrices);
  } else if (!Normal.pDenseNormal) {
    Normal.pDenseNormal = ZeroedArray(order * order, false);
  }
}

int CBundleAdjustment::GenerateResults(const std::string& project, const std::string& gcp,
                                       const std::string& /*output*/) {
  Paths.szGcpPath = gcp;
  SetEndTick(System.TickMilliseconds());
  LogPrintf(">>Generating result file...\n");
  if (!Settings.Direct_Intersection && Settings.Absolute_Orientation) WriteResultForm(project, gcp, 0);
  WriteResultForm(project, gcp, 1);
  LogPrintf(">>Generating adjustment report...\n");
  WriteReport();
  if (CheckInputs() == 0) return 0;
  WriteResultOvt();
  JudgeRun(*this);
  Outputs.bOutputsWritten = CheckInputs() == 1;
  return Outputs.bOutputsWritten ? 1 : 0;
}

}  // namespace orvo
