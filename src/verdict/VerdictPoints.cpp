// The last pass over the points of a guarded run.
#include <algorithm>
#include <cmath>

#include "block/ProjectText.h"
#include "normal/PosObservation.h"
#include "results/MeasuredPoint.h"
#include "run/BundleAdjustment.h"
#include "verdict/GroundPoints.h"
#include "verdict/RunTrack.h"
#include "verdict/VerdictOfRun.h"

namespace orvo {
namespace {

/// `unit`: of the statistics, in working image units.
PointPassInput InputOf(const CBundleAdjustment& run, double unit = 1) {
  const double floor = VerdictLimits().fRmseFloor * run.Settings.Image_Coor_Scale;
  PointPassInput input;
  input.Eop = run.Images.Kept();
  input.Iop = run.Cameras.Usable();
  // Where nearly nothing is left, what little is left is no blunder.
  input.fGrossX = run.Settings.Gross_Point_Threshold * std::max(run.Residuals.fRmsResidualX / unit, floor);
  input.fGrossY = run.Settings.Gross_Point_Threshold * std::max(run.Residuals.fRmsResidualY / unit, floor);
  return input;
}

/// A run without adjustment leaves nothing out: its limits are the figures in file units, far beyond any
/// residual.
PointPassInput InputWithoutAdjustment(const CBundleAdjustment& run) {
  return InputOf(run, run.Settings.Image_Coor_Scale);
}

/// Calls take(points) for the points of each section; what they measure is in pImagePoints.
template <typename Take>
void ForEachSection(CBundleAdjustment& run, const Take& take) {
  const auto pointsOf = [&run](int32_t section) {
    return std::span<const ObjectPointRecord>(run.Points.pObjectPoints.data(),
                                              static_cast<size_t>(run.SectionPointCount(section)));
  };
  if (run.Points.Sections.Count() == 1) return take(pointsOf(0));
  for (int32_t section = 0; section < run.Points.Sections.Count(); ++section) {
    if (run.Points.Sections.ObjectPoints[static_cast<size_t>(section)].Count() < 1) continue;
    run.ReadSectionPoints(section);
    take(pointsOf(section));
    run.ReleaseSectionPoints();
  }
}

void CountParts(CBundleAdjustment& run) {
  RunTrack& track = *run.pTrack;
  CellJoiner joiner(track.Pass->Sums().Sets.Cells());
  track.bPartsKnown = true;
  if (joiner.IsOne()) return;
  std::vector<int32_t> images;
  ForEachSection(run, [&](std::span<const ObjectPointRecord> points) {
    for (const ObjectPointRecord& point : points) {
      KeptImagesOf(point, run.Points.pImagePoints, run.Images.Kept().size(), run.Cameras.Usable().size(),
                   images);
      if (images.size() > 1) joiner.Count(images);
    }
  });
  track.vParts = joiner.Parts(std::lround(VerdictLimits().fLeastShared));
}

void NotePositions(CBundleAdjustment& run) {
  PosModel model;
  model.bGps = true;
  model.bImu = run.Limits.Apply_IMU_Data;
  model.bConst = run.Limits.Correct_Const_Error;
  model.bLinear = run.Limits.Correct_LinearError;
  if (!run.Limits.Apply_GPS_Data || run.Unknowns.nLayoutMode == LayoutIop ||
      run.Unknowns.nPosSize != model.ParameterNum())
    return;
  for (size_t i = 0; i < std::min(run.Images.pImageGroup.size(), run.Images.pPos.size()); ++i) {
    const auto first = static_cast<size_t>(std::max(run.Images.pImageGroup[i], 0)) *
                       static_cast<size_t>(run.Unknowns.nPosSize);
    if (i >= run.Images.Kept().size() || run.Images.pImageGroup[i] < 0 ||
        run.Images.pPos[i].nStatus == kPosNotObserved ||
        first + static_cast<size_t>(run.Unknowns.nPosSize) > run.Normal.pPosParams.size()) {
      continue;
    }
    double L[6] = {};
    if (!ComputePosMisclosure(model, run.Images.pEop[i], run.Images.pPos[i], &run.Normal.pPosParams[first],
                              L))
      continue;
    const auto ordinal =
        i < run.Images.pImageOrdinal.size() ? static_cast<size_t>(run.Images.pImageOrdinal[i]) : i;
    run.pTrack->vPos.push_back(
        {ordinal < run.Images.pImageNames.size() ? run.Images.pImageNames[ordinal].sz : "",
         std::hypot(L[0], L[1], L[2]) / run.Frame.dCoorScale});
  }
}

/// The tie points of a text project, one by one: a run that only intersects holds none of them in memory.
void PassOverTextProject(CBundleAdjustment& run) {
  constexpr size_t kBatch = 10000;
  TextReader file(&run.Inputs);
  if (!file.Open(run.Paths.szProjectPath)) return;
  const auto references =
      MakeImageReferences(run.Images.pImageIndex, run.Images.pImageCamera, run.Cameras.pCameraIndex,
                          run.Images.nImageNum, run.Cameras.nCameraNum);
  const ProjectHeader header = ReadHeader(file);
  SkipCamerasAndImages(file, header);
  std::vector<ObjectPointRecord> points;
  std::vector<ImagePointRecord> measurements;
  MeasuredPoint point;
  for (int64_t i = 0; i < header.nObjectPointNum && !file.AtEnd(); ++i) {
    const int32_t measureNum = point.ReadHead(file);
    point.ReadMeasurements(file, measureNum, references, run.Settings.Image_Coor_Scale);
    point.Record.nFirstImagePoint = std::ssize(measurements);
    points.push_back(point.Record);
    measurements.insert(measurements.end(), point.Measurements.begin(), point.Measurements.end());
    if (points.size() < kBatch) continue;
    run.pTrack->Pass->Add(points, measurements);
    points.clear();
    measurements.clear();
  }
  run.pTrack->Pass->Add(points, measurements);
}

}  // namespace

GroundPoints ReadGroundPoints(CBundleAdjustment& run) {
  GroundPoints ground;
  TextReader file(&run.Inputs);
  if (run.Paths.szGcpPath.empty() || !file.Open(run.Paths.szGcpPath)) return ground;
  // Reading counts the control points anew, and as told in the file, not as they were found usable.
  const int32_t controlNum = run.Points.nControlPointNum;
  run.ReadGcpList(ground.Points, ground.Measurements, file);
  run.Points.nControlPointNum = controlNum;
  return ground;
}

void JudgePoints(CBundleAdjustment& run) {
  if (!run.pTrack) return;
  RunTrack& track = *run.pTrack;
  track.Pass.emplace(InputOf(run), run.System.ProcessorCount());
  ForEachSection(run, [&](std::span<const ObjectPointRecord> points) {
    track.Pass->Add(points, run.Points.pImagePoints);
  });
  NoteHeights(run);
  CountParts(run);
  NotePositions(run);
}

void NoteHeights(CBundleAdjustment& run) {
  RunTrack& track = *run.pTrack;
  if (!track.Pass || track.nCentres > 0) return;
  const auto& images = track.Pass->Sums().vImages;
  double sum = 0;
  for (size_t i = 0; i < images.size(); ++i) {
    const int64_t rays = images[i].nUsed + images[i].nGross;
    if (rays == 0) continue;
    const double height = run.Images.pEop[i].Z - images[i].fHeights / static_cast<double>(rays);
    ++track.nCentres;
    if (height < 0) ++track.nCentresBelow;
    sum += std::fabs(height);
  }
  double focal = 0;
  for (const IopRecord& camera : run.Cameras.Usable()) focal += std::fabs(camera.fFocal);
  focal /=
      static_cast<double>(std::max<size_t>(run.Cameras.Usable().size(), 1)) * run.Settings.Image_Coor_Scale;
  const double gsd = sum / static_cast<double>(std::max<int64_t>(track.nCentres, 1)) / focal;
  track.fGsd = std::isfinite(gsd) ? gsd / (run.Frame.bNormalized ? run.Frame.dCoorScale : 1) : 0;
}

void JudgeSectionPoints(CBundleAdjustment& run, std::span<const ObjectPointRecord> points) {
  if (!run.pTrack || (!run.Settings.Direct_Intersection && !run.Settings.Absolute_Orientation)) return;
  RunTrack& track = *run.pTrack;
  if (!track.Pass) track.Pass.emplace(InputWithoutAdjustment(run), run.System.ProcessorCount());
  track.Pass->Add(points, run.Points.pImagePoints);
}

void JudgeTextPoints(CBundleAdjustment& run) {
  if (run.pTrack->Pass || !run.Paths.szOvtPath.empty()) return;
  run.pTrack->Pass.emplace(InputWithoutAdjustment(run), run.System.ProcessorCount());
  PassOverTextProject(run);
}

}  // namespace orvo
