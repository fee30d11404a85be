#include "report/FiguresOfRun.h"

#include <algorithm>

#include "report/FigureParts.h"
#include "verdict/VerdictPoints.h"

namespace orvo::report {
namespace {

bool IsAdjusted(const AdjustmentSettings& settings) {
  return !settings.Direct_Intersection && !settings.Absolute_Orientation;
}

int32_t PosImageNum(const ImageTable& images) {
  int32_t count = 0;
  for (size_t i = 0; i < std::min({images.Kept().size(), images.pPos.size(), images.pImageGroup.size()});
       ++i) {
    if (images.pImageGroup[i] >= 0 && images.pPos[i].nStatus != kPosNotObserved) ++count;
  }
  return count;
}

ResidualFigure ListedOf(const FigureSources& from) {
  // Without an adjustment the report lists what the statistics begin with.
  if (!IsAdjusted(from.Settings)) return FigureOf(PlainSums{});
  const double scale = from.Settings.Image_Coor_Scale;
  const ResidualStatistics& residuals = from.Residuals;
  return {from.Limits.Apply_GPU ? kUnknownCount : residuals.nValidImagePointNum,
          {residuals.fRmsResidualX / scale, residuals.fRmsResidualY / scale},
          {residuals.fMeanResidualX / scale, residuals.fMeanResidualY / scale}};
}

/// Without adjustment nothing was counted before the last pass, which goes through the tie points.
void CountAtEnd(RunFigures& figures) {
  BlockCounts& counts = figures.Counts;
  counts.nTiePoints = figures.Points.nPoints;
  counts.nTiePointsInFile = std::max(counts.nTiePointsInFile, counts.nTiePoints);
  counts.nMeasurements = figures.Residuals.nMeasurements;
  const auto& points = figures.Ground.vPoints;
  counts.nControl =
      static_cast<int32_t>(std::ranges::count_if(points, [](const auto& point) { return point.bControl; }));
  counts.nCheck = static_cast<int32_t>(std::ssize(points)) - counts.nControl;
  for (const GroundPointFigure& point : points) counts.nMeasurements += point.nRays;
}

}  // namespace

FigurePassInput FigurePassInputOf(const FigureSources& from, double unit) {
  FigurePassInput input;
  input.Pass = PassInputOf(from.Settings, from.Images, from.Cameras, from.Residuals, unit);
  input.fImageScale = from.Settings.Image_Coor_Scale;
  input.Frame = from.Frame;
  // A run without adjustment has no residuals before the pass.
  if (IsAdjusted(from.Settings)) input.Rmse = ListedOf(from).Rmse;
  input.vCameraImages.resize(from.Cameras.Usable().size());
  for (const int32_t row : CameraRowsOf(from.Images, from.Cameras)) {
    if (row >= 0) ++input.vCameraImages[static_cast<size_t>(row)];
  }
  return input;
}

void FillFromPass(const FigureSources& from, const FigurePass& pass, RunFigures& figures) {
  const FigureSums sums = pass.Sums();
  FillStrictResiduals(pass, sums, figures.Residuals);
  figures.vImages = ImageFiguresOf(from, sums);
  figures.vCameras = CameraFiguresOf(from, pass, sums);
  figures.Points = PointFiguresOf(sums, from.Track.fGsd);
  figures.Pos = PosFiguresOf(from, figures.Residuals.StrictKept.Rmse);
}

void FillFromEnd(const FigureSources& from, const GroundPoints& ground, RunFigures& figures) {
  if (figures.Counts.nImages < 1) FillCounts(from, figures.Counts);
  figures.Residuals.Listed = ListedOf(from);
  figures.Ground = GroundFiguresOf(from, ground);
  if (!IsAdjusted(from.Settings)) CountAtEnd(figures);
}

void FillCounts(const FigureSources& from, BlockCounts& counts) {
  const bool adjusted = IsAdjusted(from.Settings);
  counts.nImages = from.Images.nImageNum;
  counts.nImagesInFile = from.Images.nImageFileNum;
  counts.nCameras = from.Cameras.nCameraNum;
  counts.nCamerasInFile = from.Cameras.nCameraFileNum;
  counts.nTiePoints = from.Points.nTiePointNum;
  counts.nTiePointsInFile = std::max(counts.nTiePointsInFile, counts.nTiePoints);
  counts.nMeasurements = from.Points.nImagePointNum;
  counts.nControl = from.Points.nControlPointNum;
  counts.nCheck = from.Points.nCheckPointNum;
  counts.nSections = from.Points.Sections.Count();
  counts.bImagesUnknown = adjusted && from.Settings.Set_EOP_Unknown;
  counts.bCamerasUnknown = adjusted && AdjustsCameras(from.Settings, from.Limits);
  counts.nStrips = from.Limits.UsesPos() ? from.Images.nGroupNum : 0;
  counts.nPosImages = from.Limits.UsesPos() ? PosImageNum(from.Images) : 0;
  if (!adjusted) return;
  counts.nUnknowns = from.Unknowns.nUnknownNum;
  if (counts.nUnknowns < 1) return;
  const int64_t posRows = (from.Limits.Apply_GPS_Data ? 3 : 0) + (from.Limits.Apply_IMU_Data ? 3 : 0);
  // Control points have no unknowns.
  counts.nRedundancy = 2 * counts.nMeasurements + posRows * counts.nPosImages -
                       3 * (from.Points.nObjectPointNum - counts.nControl) - counts.nUnknowns;
}

}  // namespace orvo::report
