#include "prepared/PreparedBlock.h"

#include <cstdio>

namespace orvo::bench {

bool PrepareBlock(CBundleAdjustment& block, const std::string& project, const std::string& gcp,
                  const std::string& settings, PreparedUnits units) {
  const auto fail = [](const char* step) {
    std::fprintf(stderr, "preparing a block: %s failed\n", step);
    return false;
  };
  // The dense normal matrix would be allocated in vain.
  if (block.ReadSettings(settings) == 0) return fail("reading the settings");
  block.Limits.Apply_PCG_Model = true;
  if (units == PreparedUnits::OfFiles) block.Limits.Coor_Normalization = false;
  block.Paths.szGcpPath = gcp;
  if (block.Settings.Resampling_Points || block.Limits.Apply_GPS_Data || block.Limits.Apply_IMU_Data)
    return fail("leaving out thinning and POS data");
  if (block.PreReadData(project, gcp) == 0) return fail("counting the points");
  if (block.ReadProject(project, gcp) != 1) return fail("reading the project");
  if (block.PlanSections(block.Images.nImageNum, block.Cameras.nCameraNum, block.Points.nObjectPointNum,
                         block.Points.nImagePointNum, &block.Points.pPointImageCount) == 0 ||
      block.Points.Sections.Count() != 1)
    return fail("taking all points at once");
  int64_t count = 0;
  if (block.ReadSectionPoints(0, project, gcp, count) == 0) return fail("reading the points");
  block.Points.nObjectPointNum = count;
  block.Points.Sections.ObjectPoints[0] = {0, count - 1};
  if (block.PrepareAdjustment() != 1) return fail("preparing the adjustment");
  if (block.Limits.Coor_Normalization) {
    block.ComputeNormalization();
    block.NormalizeData();
  }
  block.ComputeTiePoints(0);
  return true;
}

}  // namespace orvo::bench
