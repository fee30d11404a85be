#include "verdict/VerdictNotes.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "geometry/Intersection.h"
#include "records/UnknownLayout.h"

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
bool AnglesLookLikeRadians(const ImageTable& images) {
  constexpr double kFits = 0.1, kDegrees = 180 / std::numbers::pi;
  constexpr double kTurn = 2 * std::numbers::pi;
  std::vector<double> asDegrees, asRadians;
  for (size_t i = 0; i < std::min(images.Kept().size(), images.pPos.size()); ++i) {
    const PosRecord& pos = images.pPos[i];
    if (pos.nStatus == kPosNotObserved || !std::isfinite(pos.fKappa)) continue;
    asDegrees.push_back(std::fabs(std::remainder(pos.fKappa - images.pEop[i].fKappa, kTurn)));
    asRadians.push_back(std::fabs(std::remainder(pos.fKappa * kDegrees - images.pEop[i].fKappa, kTurn)));
  }
  return !asDegrees.empty() && Median(asRadians) < kFits && Median(asDegrees) > kFits;
}

/// How far control points are off at the start, over their distance from the camera: the median. 0 where none
/// can be intersected.
double StartMiss(const GroundPoints& ground, const ImageTable& images, const CameraTable& cameras) {
  std::vector<double> misses;
  for (const ObjectPointRecord& given : ground.Points) {
    if (given.nType != 1) continue;
    ObjectPointRecord point = given;
    point.X = std::nan("");
    IntersectPoints(1, &point, ground.Measurements, images.Kept(), cameras.Usable());
    if (!std::isfinite(point.X)) continue;
    for (const ImagePointRecord& ray : MeasurementsOf(given, ground.Measurements)) {
      if (!IsOnKeptImage(ray, images.Kept(), cameras.Usable())) continue;
      const EopRecord& image = images.pEop[static_cast<size_t>(ray.nImage)];
      misses.push_back(std::hypot(point.X - given.X, point.Y - given.Y, point.Z - given.Z) /
                       std::hypot(point.X - image.X, point.Y - image.Y, point.Z - image.Z));
      break;
    }
  }
  return misses.empty() ? 0 : Median(misses);
}

}  // namespace

void NoteSimilarity(bool fromGps, std::span<const Position> source, std::span<const Position> target,
                    std::vector<std::string> names, RunTrack& track) {
  track.bFromGps = fromGps;
  track.vSource.assign(source.begin(), source.end());
  track.vTarget.assign(target.begin(), target.end());
  track.vPairNames = std::move(names);
  if (source.empty()) return;
  track.fTargetSize = SizeOf(target);
  track.fTransformScale = track.fTargetSize / SizeOf(source);
}

void NoteViews(bool applied, std::span<const EopRecord> images, RunTrack& track) {
  (applied ? track.After : track.Before) = ViewOf(images);
  track.bTransformApplied = applied;
}

void NoteStart(const std::string& pos, bool imu, const ImageTable& images, const CameraTable& cameras,
               RunTrack& track) {
  track.szPosFile = pos;
  track.vStartCameras.assign(cameras.Usable().begin(), cameras.Usable().end());
  if (imu) track.bPosAnglesInRadians = AnglesLookLikeRadians(images);
}

void NoteStartMiss(const GroundPoints& ground, const ImageTable& images, const CameraTable& cameras,
                   RunTrack& track) {
  track.fStartMiss = StartMiss(ground, images, cameras);
}

void NoteIteration(double meanSquareX, double meanSquareY, RunTrack& track) {
  track.fLastSquares = meanSquareX + meanSquareY;
  if (track.nIterations++ == 0) track.fStartSquares = track.fLastSquares;
}

}  // namespace orvo
