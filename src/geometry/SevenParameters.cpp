#include "geometry/SevenParameters.h"

#include <algorithm>
#include <cmath>

#include "geometry/Intersection.h"

namespace orvo {
namespace {

constexpr size_t kLeastGcpNum = 3;

template <typename Record>
Position PositionOf(const Record& record) {
  return {record.X, record.Y, record.Z};
}

bool IsFinite(const Position& p) { return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]); }

/// Pairs of which a coordinate is no number determine nothing.
bool AddPair(const Position& source, const Position& target, PositionPairs& pairs) {
  if (!IsFinite(source) || !IsFinite(target)) return false;
  pairs.vSource.push_back(source);
  pairs.vTarget.push_back(target);
  return true;
}

/// Rays of one image alone meet anywhere along their length, wherever rounding errors put it.
bool IsSeenFromTwoImages(const ObjectPointRecord& point, std::span<const ImagePointRecord> imagePoints,
                         std::span<const EopRecord> eop, std::span<const IopRecord> iop) {
  int32_t first = -1;
  for (int32_t m = 0; m < point.nImagePointNum; ++m) {
    const ImagePointRecord& measurement = imagePoints[static_cast<size_t>(point.nFirstImagePoint + m)];
    if (!IsOnKeptImage(measurement, eop, iop)) continue;
    if (first >= 0 && measurement.nImage != first) return true;
    first = measurement.nImage;
  }
  return false;
}

PositionPairs GpsPairs(const ImageTable& images, RunLog& log) {
  PositionPairs pairs;
  for (size_t i = 0; i < images.Kept().size(); ++i) {
    if (i >= images.pPos.size()) {
      log.Print("Error!=================\n");
      continue;
    }
    // All zero: an image without a line in the POS file.
    if (images.pPos[i].X == 0 && images.pPos[i].Y == 0 && images.pPos[i].Z == 0) continue;
    AddPair(PositionOf(images.pEop[i]), PositionOf(images.pPos[i]), pairs);
  }
  return pairs;
}

PositionPairs ControlPairs(std::span<const ObjectPointRecord> points,
                           std::span<const ImagePointRecord> measurements, const ImageTable& images,
                           const CameraTable& cameras) {
  PositionPairs pairs;
  for (const ObjectPointRecord& given : points) {
    if (given.nType != 1) continue;
    if (!IsSeenFromTwoImages(given, measurements, images.Kept(), cameras.Usable())) continue;
    ObjectPointRecord point = given;
    // A point that can't be intersected keeps its coordinates; these make sure that it gives no pair.
    point.X = point.Y = point.Z = std::nan("");
    IntersectPoints(1, &point, measurements, images.Kept(), cameras.Usable());
    if (AddPair(PositionOf(point), PositionOf(given), pairs)) pairs.vNames.emplace_back(given.szName);
  }
  return pairs;
}

}  // namespace

bool ComputeSevenParametersFromGps(const ImageTable& images, ObjectFrame& frame, PositionPairs& pairs,
                                   RunLog& log) {
  pairs = GpsPairs(images, log);
  double parameters[SevenParameterNum];
  if (SolveSevenParametersFromAnyKappa(pairs.vSource, pairs.vTarget, parameters) != 1) {
    log.Print("Calculate seven parameters from GPS data failed!%d\n", 0);
    return false;
  }
  std::copy_n(parameters, SevenParameterNum, frame.fSevenParam);
  return true;
}

bool ComputeSevenParametersFromGcp(const ControlMeasurements& control, const ImageTable& images,
                                   const CameraTable& cameras, ObjectFrame& frame, PositionPairs& pairs,
                                   RunLog& log) {
  if (control.Points.size() < kLeastGcpNum) {
    log.Print("Gcp number less than %d\n", static_cast<int>(kLeastGcpNum));
    return false;
  }
  log.Print("Gcp number:%d\n", static_cast<int>(control.Points.size()));
  pairs = ControlPairs(control.Points, control.Measurements, images, cameras);
  if (SolveSevenParametersFromAnyKappa(pairs.vSource, pairs.vTarget, frame.fSevenParam) != 1) {
    log.Print("Calculate seven parameters failed!%d\n", control.nControlPointNum);
    std::fill_n(frame.fSevenParam, SevenParameterNum, 0.0);
    return false;
  }
  log.Print("Calculate seven parameters successed!%d\n", control.nControlPointNum);
  return true;
}

void ApplySevenParameters(const ObjectFrame& frame, ImageTable& images) {
  // After failed starts there is nothing to apply; all-zero parameters would turn every position into
  // not-a-number.
  if (!HoldsTransform(frame.fSevenParam)) return;
  for (size_t i = 0; i < images.Kept().size(); ++i) {
    EopRecord& image = images.pEop[i];
    Position position = PositionOf(image);
    TransformPoints({&position, 1}, frame.fSevenParam, {&position, 1});
    image.X = position[0];
    image.Y = position[1];
    image.Z = position[2];
    RotateEop(frame.fSevenParam, image.fPhi, image.fOmega, image.fKappa);
  }
}

}  // namespace orvo
