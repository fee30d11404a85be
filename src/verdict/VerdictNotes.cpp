// What a guarded run notes on its way.
#include <algorithm>
#include <cmath>
#include <numbers>

#include "base/TextReader.h"
#include "geometry/Intersection.h"
#include "run/BundleAdjustment.h"
#include "verdict/GroundPoints.h"
#include "verdict/RunTrack.h"
#include "verdict/VerdictOfRun.h"

namespace orvo {
namespace {

double Median(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
  std::ranges::nth_element(values, middle);
  return *middle;
}

/// Root mean square distance from the centroid.
double SizeOf(std::span<const Position> points) {
  const auto n = static_cast<double>(points.size());
  double squares = 0;
  for (size_t k = 0; k < 3; ++k) {
    double sum = 0;
    for (const Position& p : points) sum += p[k];
    for (const Position& p : points) squares += (p[k] - sum / n) * (p[k] - sum / n);
  }
  return std::sqrt(squares / n);
}

/// Taken as radians, the numbers in the POS file fit the start; taken as the degrees that they ought to be,
/// they don't.
bool AnglesLookLikeRadians(const CBundleAdjustment& run) {
  constexpr double kFits = 0.1, kDegrees = 180 / std::numbers::pi;
  constexpr double kTurn = 2 * std::numbers::pi;
  std::vector<double> asDegrees, asRadians;
  for (size_t i = 0; i < std::min(run.Images.Kept().size(), run.Images.pPos.size()); ++i) {
    const PosRecord& pos = run.Images.pPos[i];
    if (pos.nStatus == kPosNotObserved || !std::isfinite(pos.fKappa)) continue;
    asDegrees.push_back(std::fabs(std::remainder(pos.fKappa - run.Images.pEop[i].fKappa, kTurn)));
    asRadians.push_back(std::fabs(std::remainder(pos.fKappa * kDegrees - run.Images.pEop[i].fKappa, kTurn)));
  }
  return !asDegrees.empty() && Median(asRadians) < kFits && Median(asDegrees) > kFits;
}

/// How far control points are off at the start, over their distance from the camera: the median. 0 where none
/// can be intersected.
double StartMiss(CBundleAdjustment& run) {
  std::vector<double> misses;
  const GroundPoints ground = ReadGroundPoints(run);
  for (const ObjectPointRecord& given : ground.Points) {
    if (given.nType != 1) continue;
    ObjectPointRecord point = given;
    point.X = std::nan("");
    IntersectPoints(1, &point, ground.Measurements, run.Images.Kept(), run.Cameras.Usable());
    if (!std::isfinite(point.X)) continue;
    for (const ImagePointRecord& ray : MeasurementsOf(given, ground.Measurements)) {
      if (!IsOnKeptImage(ray, run.Images.Kept(), run.Cameras.Usable())) continue;
      const EopRecord& image = run.Images.pEop[static_cast<size_t>(ray.nImage)];
      misses.push_back(std::hypot(point.X - given.X, point.Y - given.Y, point.Z - given.Z) /
                       std::hypot(point.X - image.X, point.Y - image.Y, point.Z - image.Z));
      break;
    }
  }
  return misses.empty() ? 0 : Median(misses);
}

}  // namespace

void NoteSimilarity(CBundleAdjustment& run, bool fromGps, std::span<const Position> source,
                    std::span<const Position> target, std::vector<std::string> names) {
  if (!run.pTrack) return;
  RunTrack& track = *run.pTrack;
  track.bFromGps = fromGps;
  track.vSource.assign(source.begin(), source.end());
  track.vTarget.assign(target.begin(), target.end());
  track.vPairNames = std::move(names);
  if (source.empty()) return;
  track.fTargetSize = SizeOf(target);
  track.fTransformScale = track.fTargetSize / SizeOf(source);
}

void NoteViews(CBundleAdjustment& run, bool applied) {
  if (!run.pTrack) return;
  (applied ? run.pTrack->After : run.pTrack->Before) = ViewOf(run.Images.Kept());
  run.pTrack->bTransformApplied = applied;
}

void NoteStart(CBundleAdjustment& run, const std::string& pos) {
  if (!run.pTrack) return;
  RunTrack& track = *run.pTrack;
  track.szPosFile = pos;
  track.vStartCameras.assign(run.Cameras.Usable().begin(), run.Cameras.Usable().end());
  if (run.Limits.Apply_IMU_Data) track.bPosAnglesInRadians = AnglesLookLikeRadians(run);
  if (run.Points.nControlPointNum > 0 && !track.bTransformApplied) track.fStartMiss = StartMiss(run);
}

void NoteIteration(CBundleAdjustment& run, double meanSquareX, double meanSquareY) {
  if (!run.pTrack) return;
  RunTrack& track = *run.pTrack;
  track.fLastSquares = meanSquareX + meanSquareY;
  if (track.nIterations++ == 0) track.fStartSquares = track.fLastSquares;
}

}  // namespace orvo
