// What a guarded run notes for its verdict.
#include "base/TextReader.h"
#include "block/Measurement.h"
#include "block/ProjectText.h"
#include "geometry/TiePoints.h"
#include "results/MeasuredPoint.h"
#include "run/BundleAdjustment.h"
#include "run/RunVerdict.h"
#include "verdict/VerdictNotes.h"
#include "verdict/VerdictOfRun.h"
#include "verdict/VerdictPoints.h"

namespace orvo {
namespace {

/// The counts of the run stay as they are.
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

EverySection SectionsOf(CBundleAdjustment& run) {
  return [&run](const std::function<void(PointSpan, MeasurementSpan)>& take) {
    const auto takeSection = [&](int32_t section) {
      const auto count = static_cast<size_t>(SectionPointCount(run.Points, section));
      take({run.Points.pObjectPoints.data(), count}, run.Points.pImagePoints);
    };
    if (run.Points.Sections.Count() == 1) return takeSection(0);
    for (int32_t section = 0; section < run.Points.Sections.Count(); ++section) {
      if (run.Points.Sections.ObjectPoints[static_cast<size_t>(section)].Count() < 1) continue;
      run.ReadSectionPoints(section);
      takeSection(section);
      run.ReleaseSectionPoints();
    }
  };
}

/// The pass of a run without adjustment. It leaves nothing out: its limits are the statistics in file units,
/// far beyond any residual.
PointPass& PassWithoutAdjustment(CBundleAdjustment& run) {
  if (!run.pTrack->Pass) {
    run.pTrack->Pass.emplace(
        PassInputOf(run.Settings, run.Images, run.Cameras, run.Residuals, run.Settings.Image_Coor_Scale),
        run.System.ProcessorCount());
  }
  return *run.pTrack->Pass;
}

/// The tie points of a text project, one by one: a run that only intersects holds none of them in memory.
void PassOverTextProject(CBundleAdjustment& run) {
  constexpr size_t kBatch = 10000;
  PointPass& pass = PassWithoutAdjustment(run);
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
    pass.Add(points, measurements);
    points.clear();
    measurements.clear();
  }
  pass.Add(points, measurements);
}

void NoteHeights(CBundleAdjustment& run) {
  NoteHeights(run.Images, run.Cameras, run.Settings.Image_Coor_Scale, run.Frame, *run.pTrack);
}

}  // namespace

void NoteSimilarity(CBundleAdjustment& run, bool fromGps, std::span<const Position> source,
                    std::span<const Position> target, std::vector<std::string> names) {
  if (run.pTrack) NoteSimilarity(fromGps, source, target, std::move(names), *run.pTrack);
}

void NoteViews(CBundleAdjustment& run, bool applied) {
  if (run.pTrack) NoteViews(applied, run.Images.Kept(), *run.pTrack);
}

void NoteStart(CBundleAdjustment& run, const std::string& pos) {
  if (!run.pTrack) return;
  NoteStart(pos, run.Limits.Apply_IMU_Data, run.Images, run.Cameras, *run.pTrack);
  if (run.Points.nControlPointNum > 0 && !run.pTrack->bTransformApplied)
    NoteStartMiss(ReadGroundPoints(run), run.Images, run.Cameras, *run.pTrack);
}

void NoteIteration(CBundleAdjustment& run, double meanSquareX, double meanSquareY) {
  if (run.pTrack) NoteIteration(meanSquareX, meanSquareY, *run.pTrack);
}

void JudgePoints(CBundleAdjustment& run) {
  if (!run.pTrack) return;
  const EverySection sections = SectionsOf(run);
  JudgePoints(PassInputOf(run.Settings, run.Images, run.Cameras, run.Residuals), run.System.ProcessorCount(),
              sections, *run.pTrack);
  NoteHeights(run);
  CountParts(sections, run.Images, run.Cameras, *run.pTrack);
  NotePositions({run.Limits, run.Unknowns, run.Images, run.Normal.pPosParams, run.Frame.dCoorScale},
                *run.pTrack);
}

void JudgeSectionPoints(CBundleAdjustment& run, std::span<const ObjectPointRecord> points) {
  if (!run.pTrack || (!run.Settings.Direct_Intersection && !run.Settings.Absolute_Orientation)) return;
  PassWithoutAdjustment(run).Add(points, run.Points.pImagePoints);
}

void JudgeRun(CBundleAdjustment& run) {
  if (!run.pTrack) return;
  const bool adjusted = !run.Settings.Direct_Intersection && !run.Settings.Absolute_Orientation;
  if (!adjusted && !run.pTrack->Pass && run.Paths.szOvtPath.empty()) PassOverTextProject(run);
  NoteHeights(run);
  run.pTrack->Judgement = JudgeRun({run.Settings, run.Limits, run.Paths, run.Images, run.Cameras, run.Points,
                                    run.Unknowns, run.Normal.pPosParams, *run.pTrack},
                                   ReadGroundPoints(run));
  WriteVerdictFile(run.pTrack->Judgement, run.Paths, run.Outputs);
}

void JudgeFailure(CBundleAdjustment& run) {
  if (!run.pTrack || run.pTrack->nIterations > 0 || run.pTrack->vSource.empty()) return;
  run.pTrack->bTransformApplied = true;
  run.pTrack->Judgement = JudgeFailure(*run.pTrack, run.Paths.szGcpPath);
}

}  // namespace orvo
