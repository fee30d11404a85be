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

PointPassInput InputOf(const CBundleAdjustment& run) {
  const double floor = VerdictLimits().fRmseFloor * run.Image_Coor_Scale;
  PointPassInput input;
  input.Eop = run.KeptImages();
  input.Iop = run.KeptCameras();
  // Where nearly nothing is left, what little is left is no blunder.
  input.fGrossX = run.Gross_Point_Threshold * std::max(run.fRmsResidualX, floor);
  input.fGrossY = run.Gross_Point_Threshold * std::max(run.fRmsResidualY, floor);
  return input;
}

/// Calls take(points) for the points of each section; what they measure is in pImagePoints.
template <typename Take>
void ForEachSection(CBundleAdjustment& run, const Take& take) {
  const auto pointsOf = [&run](int32_t section) {
    return std::span<const ObjectPointRecord>(run.pObjectPoints.data(),
                                              static_cast<size_t>(run.SectionPointCount(section)));
  };
  if (run.Sections.Count() == 1) return take(pointsOf(0));
  for (int32_t section = 0; section < run.Sections.Count(); ++section) {
    if (run.Sections.ObjectPoints[static_cast<size_t>(section)].Count() < 1) continue;
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
      KeptImagesOf(point, run.pImagePoints, run.KeptImages().size(), run.KeptCameras().size(), images);
      if (images.size() > 1) joiner.Count(images);
    }
  });
  track.vParts = joiner.Parts(std::lround(VerdictLimits().fLeastShared));
}

void NotePositions(CBundleAdjustment& run) {
  PosModel model;
  model.bGps = true;
  model.bImu = run.Apply_IMU_Data;
  model.bConst = run.Correct_Const_Error;
  model.bLinear = run.Correct_LinearError;
  if (!run.Apply_GPS_Data || run.nLayoutMode == LayoutIop || run.nPosSize != model.ParameterNum()) return;
  for (size_t i = 0; i < std::min(run.pImageGroup.size(), run.pPos.size()); ++i) {
    const auto first =
        static_cast<size_t>(std::max(run.pImageGroup[i], 0)) * static_cast<size_t>(run.nPosSize);
    if (i >= run.KeptImages().size() || run.pImageGroup[i] < 0 || run.pPos[i].nStatus == kPosNotObserved ||
        first + static_cast<size_t>(run.nPosSize) > run.pPosParams.size()) {
      continue;
    }
    double L[6] = {};
    if (!ComputePosMisclosure(model, run.pEop[i], run.pPos[i], &run.pPosParams[first], L)) continue;
    const auto ordinal = i < run.pImageOrdinal.size() ? static_cast<size_t>(run.pImageOrdinal[i]) : i;
    run.pTrack->vPos.push_back({ordinal < run.pImageNames.size() ? run.pImageNames[ordinal].sz : "",
                                std::hypot(L[0], L[1], L[2]) / run.dCoorScale});
  }
}

/// The tie points of a text project, one by one: a run that only intersects holds none of them in memory.
void PassOverTextProject(CBundleAdjustment& run) {
  constexpr size_t kBatch = 10000;
  TextReader file(&run.Inputs);
  if (!file.Open(run.szProjectPath)) return;
  const auto references =
      MakeImageReferences(run.pImageIndex, run.pImageCamera, run.pCameraIndex, run.nImageNum, run.nCameraNum);
  const ProjectHeader header = ReadHeader(file);
  SkipCamerasAndImages(file, header);
  std::vector<ObjectPointRecord> points;
  std::vector<ImagePointRecord> measurements;
  MeasuredPoint point;
  for (int64_t i = 0; i < header.nObjectPointNum && !file.AtEnd(); ++i) {
    const int32_t measureNum = point.ReadHead(file);
    point.ReadMeasurements(file, measureNum, references, run.Image_Coor_Scale);
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
  if (run.szGcpPath.empty() || !file.Open(run.szGcpPath)) return ground;
  // Reading counts the control points anew, and as told in the file, not as they were found usable.
  const int32_t controlNum = run.nControlPointNum;
  run.ReadGcpList(ground.Points, ground.Measurements, file);
  run.nControlPointNum = controlNum;
  return ground;
}

void JudgePoints(CBundleAdjustment& run) {
  if (!run.pTrack) return;
  RunTrack& track = *run.pTrack;
  track.Pass.emplace(InputOf(run), run.System.ProcessorCount());
  ForEachSection(
      run, [&](std::span<const ObjectPointRecord> points) { track.Pass->Add(points, run.pImagePoints); });
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
    const double height = run.pEop[i].Z - images[i].fHeights / static_cast<double>(rays);
    ++track.nCentres;
    if (height < 0) ++track.nCentresBelow;
    sum += std::fabs(height);
  }
  double focal = 0;
  for (const IopRecord& camera : run.KeptCameras()) focal += std::fabs(camera.fFocal);
  focal /= static_cast<double>(std::max<size_t>(run.KeptCameras().size(), 1)) * run.Image_Coor_Scale;
  const double gsd = sum / static_cast<double>(std::max<int64_t>(track.nCentres, 1)) / focal;
  track.fGsd = std::isfinite(gsd) ? gsd / (run.bNormalized ? run.dCoorScale : 1) : 0;
}

void JudgeSectionPoints(CBundleAdjustment& run, std::span<const ObjectPointRecord> points) {
  if (!run.pTrack || (!run.Direct_Intersection && !run.Absolute_Orientation)) return;
  RunTrack& track = *run.pTrack;
  if (!track.Pass) track.Pass.emplace(InputOf(run), run.System.ProcessorCount());
  track.Pass->Add(points, run.pImagePoints);
}

void JudgeTextPoints(CBundleAdjustment& run) {
  if (run.pTrack->Pass || !run.szOvtPath.empty()) return;
  run.pTrack->Pass.emplace(InputOf(run), run.System.ProcessorCount());
  PassOverTextProject(run);
}

}  // namespace orvo
