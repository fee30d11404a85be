// Shift and scale of all object coordinates to numbers of a fixed size, and back.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "run/BundleAdjustment.h"

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

int CBundleAdjustment::ComputeNormalization() {
  double least[3] = {1e308, 1e308, 1e308}, greatest[3] = {-1e308, -1e308, -1e308};
  for (const EopRecord& eop : Images.Kept()) {
    const double position[3] = {eop.X, eop.Y, eop.Z};
    for (int i = 0; i < 3; ++i) {
      Frame.dCoorMean[i] += position[i];
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
  Frame.dCoorScale = extent > 0.0 && std::isfinite(extent) && std::isfinite(scale) ? scale : 1.0;
  for (double& mean : Frame.dCoorMean) {
    mean /= Images.nImageNum;
    if (!std::isfinite(mean)) mean = 0.0;
  }
  return 1;
}

int CBundleAdjustment::NormalizeData() {
  if (!Limits.Coor_Normalization) return 0;
  if (Frame.dCoorScale > 0.9 && std::fabs(Frame.dCoorMean[0]) < 1e-5 &&
      std::fabs(Frame.dCoorMean[1]) < 1e-5 && std::fabs(Frame.dCoorMean[2]) < 1e-5) {
    // The data stands for normalised as it is. What is divided by the scale later must not change it either.
    Frame.dCoorScale = 1.0;
    std::fill_n(Frame.dCoorMean, 3, 0.0);
    return 0;
  }
  const Normalization normalization{Frame.dCoorMean, Frame.dCoorScale};
  Frame.bNormalized = true;
  for (int32_t i = 0; i < Images.nImageNum; ++i) normalization.Apply(Images.pEop[static_cast<size_t>(i)]);
  for (ObjectPointRecord& point : Points.pGcpTable) normalization.Apply(point);
  const auto inMemory = static_cast<size_t>(
      std::clamp<int64_t>(Points.nObjectPointNum, 0, static_cast<int64_t>(Points.pObjectPoints.size())));
  NormalizeGcpInMemory(std::span(Points.pObjectPoints).first(inMemory), Points.pGcpTable, normalization);
  if (Limits.Apply_GPS_Data) {
    for (PosRecord& pos : Images.pPos) normalization.Apply(pos);
  }
  return 1;
}

void CBundleAdjustment::NormalizeProjectControl() {
  if (!Frame.bNormalized) return;
  const Normalization normalization{Frame.dCoorMean, Frame.dCoorScale};
  for (ObjectPointRecord& point : Points.pObjectPoints) {
    if (point.nType != 0) normalization.Apply(point);
  }
}

int CBundleAdjustment::RestoreData() {
  if (!Limits.Coor_Normalization) return 0;
  const Normalization normalization{Frame.dCoorMean, Frame.dCoorScale};
  Frame.bNormalized = false;
  for (int32_t i = 0; i < Images.nImageNum; ++i) normalization.Undo(Images.pEop[static_cast<size_t>(i)]);
  if (!Limits.Apply_GPS_Data) return 1;
  for (size_t i = 0; i < Images.pPos.size(); ++i) {
    // Nothing is wrong with these records; the line is part of the log all the same. Deliberate.
    if (i >= kPosRecordLimit) LogPrintf("Error!===================\n");
    normalization.Undo(Images.pPos[i]);
  }
  return 1;
}

}  // namespace orvo
