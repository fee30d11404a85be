// What a guarded run notes for its verdict.
#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "base/TextReader.h"
#include "block/Measurement.h"
#include "block/ProjectText.h"
#include "geometry/TiePoints.h"
#include "results/MeasuredPoint.h"
#include "run/BundleAdjustment.h"
#include "run/RunCourse.h"
#include "run/RunVerdict.h"
#include "verdict/VerdictNotes.h"
#include "verdict/VerdictOfRun.h"
#include "verdict/VerdictPoints.h"

namespace orvo {

namespace {

/// What stands in the file for a coordinate that is not observed says nothing of the point.
void PlaceUnobserved(const std::vector<std::pair<std::string, Position>>& unobserved,
                     ObjectPointArray& points) {
  for (ObjectPointRecord& point : points) {
    if (point.nType != 1) continue;
    const auto found = std::ranges::find(unobserved, point.szName, &std::pair<std::string, Position>::first);
    if (found == unobserved.end()) continue;
    double* const coordinates[] = {&point.X, &point.Y, &point.Z};
    for (size_t k = 0; k < 3; ++k) {
      if (std::isfinite(found->second[k])) *coordinates[k] = found->second[k];
    }
  }
}

}  // namespace

/// The counts of the run stay as they are.
GroundPoints RunVerdict::ReadGroundPoints() {
  GroundPoints ground;
  TextReader file(&run.Inputs);
  if (run.Paths.szGcpPath.empty() || !file.Open(run.Paths.szGcpPath)) return ground;
  // Reading counts the control points anew, and as told in the file, not as they were found usable.
  const int32_t controlNum = run.Points.nControlPointNum;
  run.ReadGcpList(ground.Points, ground.Measurements, file);
  run.Points.nControlPointNum = controlNum;
  if (run.pTrack) PlaceUnobserved(run.pTrack->vUnobserved, ground.Points);
  return ground;
}

EverySection RunVerdict::SectionsOf() {
  return [this](const std::function<void(PointSpan, MeasurementSpan)>& take) {
    const auto takeSection = [&](int32_t section) {
      take(run.Points.InMemory(section), run.Points.pImagePoints);
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
PointPass& RunVerdict::PassWithoutAdjustment() {
  if (!run.pTrack->Pass) {
    run.pTrack->Pass.emplace(
        PassInputOf(run.Settings, run.Images, run.Cameras, run.Residuals, run.Settings.Image_Coor_Scale),
        run.System.ProcessorCount());
    RunCourse(run).BeginPass(run.Settings.Image_Coor_Scale);
  }
  return *run.pTrack->Pass;
}

/// The tie points of a text project, one by one: a run that only intersects holds none of them in memory.
void RunVerdict::PassOverTextProject() {
  constexpr size_t kBatch = 10000;
  PointPass& pass = PassWithoutAdjustment();
  TextReader file(&run.Inputs);
  if (!file.Open(run.Paths.szProjectPath)) return;
  const auto references = MakeImageReferences(run.Images, run.Cameras);
  const ProjectHeader header = ReadHeader(file);
  SkipCamerasAndImages(file, header);
  ObjectPointArray points;
  std::vector<ImagePointRecord> measurements;
  MeasuredPoint point;
  const auto takeBatch = [&] {
    pass.Add(points, measurements);
    RunCourse(run).PassOver(points, measurements);
    points.clear();
    measurements.clear();
  };
  for (int64_t i = 0; i < header.nObjectPointNum && !file.AtEnd(); ++i) {
    const int32_t measureNum = point.ReadHead(file);
    point.ReadMeasurements(file, measureNum, references, run.Settings.Image_Coor_Scale);
    point.Record.nFirstImagePoint = std::ssize(measurements);
    points.push_back(point.Record);
    measurements.insert(measurements.end(), point.Measurements.begin(), point.Measurements.end());
    if (points.size() < kBatch) continue;
    takeBatch();
  }
  takeBatch();
}

void RunVerdict::NoteHeights() {
  orvo::NoteHeights(run.Images, run.Cameras, run.Settings.Image_Coor_Scale, run.Frame, *run.pTrack);
}

void RunVerdict::NoteSimilarity(bool fromGps, std::span<const Position> source,
                                std::span<const Position> target, std::vector<std::string> names) {
  if (run.pTrack) orvo::NoteSimilarity(fromGps, source, target, std::move(names), *run.pTrack);
}

void RunVerdict::NoteViews(bool applied) {
  if (run.pTrack) orvo::NoteViews(applied, run.Images.Kept(), *run.pTrack);
}

void RunVerdict::NoteStart(const std::string& pos) {
  if (!run.pTrack) return;
  orvo::NoteStart(pos, run.Limits.Apply_IMU_Data, run.Images, run.Cameras, *run.pTrack);
  if (run.Points.nControlPointNum > 0 && !run.pTrack->bTransformApplied)
    NoteStartMiss(ReadGroundPoints(), run.Images, run.Cameras, *run.pTrack);
}

void RunVerdict::NoteIteration(double meanSquareX, double meanSquareY) {
  if (run.pTrack) orvo::NoteIteration(meanSquareX, meanSquareY, *run.pTrack);
}

void RunVerdict::JudgePoints() {
  if (!run.pTrack) return;
  const EverySection sections = SectionsOf();
  RunCourse(run).BeginPass(1);
  // Points in several sections are read for both passes at once.
  const EverySection sectionsOfBoth = [&](const std::function<void(PointSpan, MeasurementSpan)>& take) {
    sections([&](PointSpan points, MeasurementSpan measurements) {
      take(points, measurements);
      RunCourse(run).PassOver(points, measurements);
    });
  };
  PointPassInput input = PassInputOf(run.Settings, run.Images, run.Cameras, run.Residuals);
  input.LeftOut = run.pTrack->vLeftOut;
  orvo::JudgePoints(input, run.System.ProcessorCount(), sectionsOfBoth, *run.pTrack);
  NoteHeights();
  CountParts(sections, run.Images, run.Cameras, *run.pTrack);
  NotePositions({run.Limits, run.Unknowns, run.Images, run.Normal.pPosParams, run.Frame.dCoorScale},
                *run.pTrack);
  RunCourse(run).EndPass();
}

void RunVerdict::JudgeSectionPoints(std::span<const ObjectPointRecord> points) {
  if (!run.pTrack || (!run.Settings.Direct_Intersection && !run.Settings.Absolute_Orientation)) return;
  PassWithoutAdjustment().Add(points, run.Points.pImagePoints);
  RunCourse(run).PassOver(points, run.Points.pImagePoints);
}

void RunVerdict::JudgeRun() {
  if (!run.pTrack) return;
  const bool adjusted = !run.Settings.Direct_Intersection && !run.Settings.Absolute_Orientation;
  if (!adjusted && !run.pTrack->Pass && run.Paths.szOvtPath.empty()) PassOverTextProject();
  NoteHeights();
  run.pTrack->Judgement = orvo::JudgeRun({run.Settings, run.Limits, run.Paths, run.Images, run.Cameras,
                                          run.Points, run.Unknowns, run.Normal.pPosParams, *run.pTrack},
                                         ReadGroundPoints());
  WriteVerdictFile(run.pTrack->Judgement, run.Paths, run.Outputs);
}

void RunVerdict::JudgeFailure() {
  if (!run.pTrack || run.pTrack->nIterations > 0 || run.pTrack->vSource.empty()) return;
  run.pTrack->bTransformApplied = true;
  run.pTrack->Judgement = orvo::JudgeFailure(*run.pTrack, run.Paths.szGcpPath);
}

}  // namespace orvo
