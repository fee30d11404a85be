#include "run/RigorousResults.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "results/ResidualFiles.h"
#include "rigorous/BlockResult.h"
#include "rigorous/OutControl.h"
#include "run/BundleAdjustment.h"

namespace orvo {

using rigorous::operator+;
using rigorous::BlockProblem;
using rigorous::Estimate;
using rigorous::Vector2;
using rigorous::Vector3;

void StoreResidualStatistics(const rigorous::RayResidualSums& sums, ResidualStatistics& residuals) {
  const auto n = static_cast<double>(std::max<int64_t>(sums.nUsed, 1));
  residuals.fResidualSumX = sums.fSumX;
  residuals.fResidualSumY = sums.fSumY;
  residuals.fResidualSquareSumX = sums.fSquaresX;
  residuals.fResidualSquareSumY = sums.fSquaresY;
  residuals.fMeanResidualX = sums.fSumX / n;
  residuals.fMeanResidualY = sums.fSumY / n;
  residuals.fRmsResidualX = std::sqrt(sums.fSquaresX / n);
  residuals.fRmsResidualY = std::sqrt(sums.fSquaresY / n);
  residuals.nValidImagePointNum =
      static_cast<int32_t>(std::min<int64_t>(sums.nUsed, std::numeric_limits<int32_t>::max()));
  residuals.nGrossImagePointNum = sums.nLeftOut;
}

void StoreResult(const BlockProblem& problem, const Estimate& estimate, CBundleAdjustment& run) {
  StorePoses(problem, estimate, run.Images);
  StoreCameras(problem, estimate, run.Cameras);
  StorePoints(problem, estimate, run.Points);
  ReducePos(problem, estimate, run.Images);
  const RunLimits& limits = run.Limits;
  std::vector<double> drift = rigorous::DriftParametersOf(estimate, limits.Apply_GPS_Data,
                                                          limits.Apply_IMU_Data, limits.Correct_LinearError);
  // Empty in the layout without images, which knows no drift.
  if (drift.size() == run.Normal.pPosParams.size()) run.Normal.pPosParams = std::move(drift);
}

void WriteRigorousResiduals(int32_t iterations, const BlockProblem& problem, const Estimate& estimate,
                            CBundleAdjustment& run) {
  ResidualListing listing;
  listing.fScale = run.Settings.Image_Coor_Scale;
  listing.Figures = FiguresOf(run.Residuals, listing.fScale);
  const ScratchVector<rigorous::RayResidual> residuals = RayResidualsOf(problem, estimate, run.Points);
  ResidualPart part;
  part.Residuals.reserve(2 * residuals.size());
  part.Flags.reserve(residuals.size());
  for (const rigorous::RayResidual& one : residuals) {
    for (const double v : one.Residual) part.Residuals.push_back(static_cast<float>(v));
    part.Flags.push_back(one.bLeftOut ? -1 : 0);
  }
  part.nPointNum = std::ssize(part.Flags);
  listing.Lines.emplace<std::vector<ResidualPart>>().push_back(std::move(part));
  WriteResidualFile(ResidualFilePath(run.Paths, iterations, 0), listing, run.System.ProcessorCount(),
                    run.Outputs);
}

ScratchVector<uint8_t> LeftOutMeasurements(const BlockProblem& problem, const PointStore& points) {
  ScratchVector<uint8_t> out(points.pImagePoints.size(), 1);
  for (size_t ray = 0; ray < problem.vMeasurement.size(); ++ray) {
    if (problem.Task.vRays[ray].nImage >= 0) out[static_cast<size_t>(problem.vMeasurement[ray])] = 0;
  }
  return out;
}

std::vector<std::pair<std::string, Position>> UnobservedPlaces(
    const BlockProblem& problem, const std::vector<rigorous::ControlObservation>& stated,
    const Estimate& estimate, const PointStore& points) {
  constexpr double none = std::numeric_limits<double>::quiet_NaN();
  std::vector<std::pair<std::string, Position>> places;
  for (const rigorous::ControlObservation& control : stated) {
    const auto point = static_cast<size_t>(control.nPoint);
    const Vector3 place = estimate.vPoints[point] + problem.Origin;
    Position unobserved = {none, none, none};
    bool any = false;
    for (int k = 0; k < 3; ++k) {
      if (rigorous::IsObserved(control, k)) continue;
      unobserved[static_cast<size_t>(k)] = place[k];
      any = true;
    }
    if (!any) continue;
    const ObjectPointRecord& record = points.pObjectPoints[static_cast<size_t>(problem.vPoint[point])];
    places.emplace_back(std::string(record.szName, ::strnlen(record.szName, sizeof record.szName)),
                        unobserved);
  }
  return places;
}

ScratchVector<Vector3> TiePointPlaces(const BlockProblem& problem, const Estimate& estimate,
                                      int64_t tiePoints) {
  constexpr double none = std::numeric_limits<double>::quiet_NaN();
  ScratchVector<Vector3> places(static_cast<size_t>(std::max<int64_t>(tiePoints, 0)), {none, none, none});
  for (size_t i = 0; i < problem.vPoint.size(); ++i) {
    if (std::cmp_less(problem.vPoint[i], places.size()))
      places[problem.vPoint[i]] = estimate.vPoints[i] + problem.Origin;
  }
  return places;
}

namespace {

/// Residual of each measurement; of one that has none, 0.
void FillResiduals(const BlockProblem& problem, const Estimate& estimate, const Vector3& place,
                   const MeasuredPoint& point, std::vector<ImageResidual>& residuals) {
  for (size_t i = 0; i < point.Measurements.size(); ++i) {
    const ImagePointRecord& ray = point.Measurements[i];
    if (ray.nImage < 0 || std::cmp_greater_equal(ray.nImage, estimate.vPoses.size())) continue;
    const auto camera = static_cast<size_t>(problem.Task.vImages[ray.nImage].nCamera);
    Vector2 v{};
    ResidualOfRay(estimate.vPoses[ray.nImage], estimate.vCameras[camera].LensNow, place, {ray.x, ray.y},
                  problem.Task.Form, v);
    residuals[i] = {v[0], v[1]};
  }
}

}  // namespace

PointPlacing GroundPointPlacing(const BlockProblem& problem, const Estimate& estimate,
                                const PointStore& points) {
  ScratchVector<int64_t> placeInProblem(points.pObjectPoints.size(), -1);
  for (int64_t i = 0; i < std::ssize(problem.vPoint); ++i) placeInProblem[problem.vPoint[i]] = i;
  return [placed = std::move(placeInProblem), &problem, &estimate, &points](
             int64_t ordinal, MeasuredPoint& point, std::vector<ImageResidual>& residuals) {
    const int64_t memory = std::ssize(points.pObjectPoints) - points.nGcpFileNum + ordinal;
    if (memory < 0 || memory >= std::ssize(placed) || placed[memory] < 0) return false;
    const Vector3& off = estimate.vPoints[placed[memory]];
    const Vector3 place = off + problem.Origin;
    point.Record.X = place[0];
    point.Record.Y = place[1];
    point.Record.Z = place[2];
    FillResiduals(problem, estimate, off, point, residuals);
    return true;
  };
}

}  // namespace orvo
