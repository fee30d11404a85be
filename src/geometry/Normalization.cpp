#include "geometry/Normalization.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <span>

namespace orvo {
namespace {

/// Length of the longest side of the box of projection centres, in normalised units.
constexpr double kNormalizedExtent = 1000.0;

/// POS records from this one on are restored with an error line each.
constexpr size_t kPosRecordLimit = 49345;

struct Normalization {
  const double* mean;
  double scale;

  template <typename Record>
  void Apply(Record& record) const {
    record.X = (record.X - mean[0]) * scale;
    record.Y = (record.Y - mean[1]) * scale;
    record.Z = (record.Z - mean[2]) * scale;
  }
  template <typename Record>
  void Undo(Record& record) const {
    record.X = record.X / scale + mean[0];
    record.Y = record.Y / scale + mean[1];
    record.Z = record.Z / scale + mean[2];
  }
};

bool HasSameName(const ObjectPointRecord& a, const ObjectPointRecord& b) {
  return std::strncmp(a.szName, b.szName, sizeof a.szName) == 0;
}

/// Control and check points in memory take their coordinates from the normalised table, which holds those of
/// the GCP file in the same order. One that stands in the project itself is in no table and is normalised
/// here.
void NormalizeGcpInMemory(std::span<ObjectPointRecord> points, std::span<const ObjectPointRecord> table,
                          const Normalization& normalization) {
  for (ObjectPointRecord& point : points) {
    if (point.nType == 0) continue;
    while (!table.empty() && table.front().nType == 0) table = table.subspan(1);
    if (table.empty() || !HasSameName(point, table.front())) {
      normalization.Apply(point);
      continue;
    }
    point.X = table.front().X;
    point.Y = table.front().Y;
    point.Z = table.front().Z;
    table = table.subspan(1);
  }
}

}  // namespace

void ComputeNormalization(const ImageTable& images, ObjectFrame& frame) {
  double least[3] = {1e308, 1e308, 1e308}, greatest[3] = {-1e308, -1e308, -1e308};
  for (const EopRecord& eop : images.Kept()) {
    const double position[3] = {eop.X, eop.Y, eop.Z};
    for (int i = 0; i < 3; ++i) {
      frame.dCoorMean[i] += position[i];
      if (position[i] > greatest[i]) greatest[i] = position[i];
      if (position[i] < least[i]) least[i] = position[i];
    }
  }
  double extent = greatest[0] - least[0];
  for (int i = 1; i < 3; ++i) {
    if (greatest[i] - least[i] > extent) extent = greatest[i] - least[i];
  }
  // A block without extent is shifted only; nothing could be divided by its size.
  const double scale = kNormalizedExtent / extent;
  frame.dCoorScale = extent > 0.0 && std::isfinite(extent) && std::isfinite(scale) ? scale : 1.0;
  for (double& mean : frame.dCoorMean) {
    mean /= images.nImageNum;
    if (!std::isfinite(mean)) mean = 0.0;
  }
}

bool NormalizeData(const RunLimits& limits, ImageTable& images, PointStore& points, ObjectFrame& frame) {
  if (!limits.Coor_Normalization) return false;
  if (frame.dCoorScale > 0.9 && std::fabs(frame.dCoorMean[0]) < 1e-5 &&
      std::fabs(frame.dCoorMean[1]) < 1e-5 && std::fabs(frame.dCoorMean[2]) < 1e-5) {
    // The data stands for normalised as it is. What is divided by the scale later must not change it either.
    frame.dCoorScale = 1.0;
    std::fill_n(frame.dCoorMean, 3, 0.0);
    return false;
  }
  const Normalization normalization{frame.dCoorMean, frame.dCoorScale};
  frame.bNormalized = true;
  for (int32_t i = 0; i < images.nImageNum; ++i) normalization.Apply(images.pEop[static_cast<size_t>(i)]);
  for (ObjectPointRecord& point : points.pGcpTable) normalization.Apply(point);
  const auto inMemory = static_cast<size_t>(
      std::clamp<int64_t>(points.nObjectPointNum, 0, static_cast<int64_t>(points.pObjectPoints.size())));
  NormalizeGcpInMemory(std::span(points.pObjectPoints).first(inMemory), points.pGcpTable, normalization);
  if (limits.Apply_GPS_Data) {
    for (PosRecord& pos : images.pPos) normalization.Apply(pos);
  }
  return true;
}

void NormalizeProjectControl(const ObjectFrame& frame, PointStore& points) {
  if (!frame.bNormalized) return;
  const Normalization normalization{frame.dCoorMean, frame.dCoorScale};
  for (ObjectPointRecord& point : points.pObjectPoints) {
    if (point.nType != 0) normalization.Apply(point);
  }
}

bool RestoreData(const RunLimits& limits, ImageTable& images, ObjectFrame& frame, RunLog& log) {
  if (!limits.Coor_Normalization) return false;
  const Normalization normalization{frame.dCoorMean, frame.dCoorScale};
  frame.bNormalized = false;
  for (int32_t i = 0; i < images.nImageNum; ++i) normalization.Undo(images.pEop[static_cast<size_t>(i)]);
  if (!limits.Apply_GPS_Data) return true;
  for (size_t i = 0; i < images.pPos.size(); ++i) {
    // Nothing is wrong with these records; the line is part of the log all the same. Deliberate.
    if (i >= kPosRecordLimit) log.Print("Error!===================\n");
    normalization.Undo(images.pPos[i]);
  }
  return true;
}

}  // namespace orvo
