// The flow around the device path.
#include "run/BundleAdjustment.h"
#include "run/InputGate.h"
#include "run/RunVerdict.h"

namespace orvo {

int CBundleAdjustment::RunGpuAdjustment(const std::string& project, const std::string& gcp,
                                        const std::string& pos, std::string& output) {
  SetStartTick(System.TickMilliseconds());
  LogPrintf(">>Reading data...\n");
  const int counted = PreReadData(project, gcp);
  if (CheckInputs() == 0) return 0;
  if (!CountsHold(*this) || counted == 0 || ReadProject(project, gcp) == 0 || CheckInputs() == 0) return 0;
  if (Settings.Direct_Intersection && !WholeProjectHolds(*this)) return 0;
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
  if (!PointsHold(*this)) return 0;
  // Normalisation changes the table, and the reader of points takes the coordinates from it.
  if (ReadGcpTable(gcp) == 0) return 0;
  if (Limits.Apply_GPS_Data || Limits.Apply_IMU_Data) {
    LogPrintf(">>Reading POS data...\n");
    ReadPosData(pos);
    if (CheckInputs() == 0) return 0;
  }
  LogPrintf(">>Preprocessing data...\n");
  if (PrepareAdjustment() != 1) return 0;
  NoteStart(*this, pos);
  ComputeNormalization();
  NormalizeData();
  RunGpuBundle(project, gcp, output);
  FreeFixedDeviceMemory();
  return 1;
}

}  // namespace orvo
