#include "gpu/GpuSections.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "gpu/DeviceRules.h"

namespace orvo::gpu {
namespace {

constexpr int64_t kUnknownBytes = 524;         // cupR, cupD, cupAd and the copies of cupR and cupAd
constexpr int64_t kPreconditionerBytes = 260;  // cupM and its copies
constexpr int64_t kImageBytes = 24;
constexpr int64_t kCameraBytes = 20;
constexpr int64_t kObjectPointBytes = 64;
constexpr int64_t kImagePointBytes = 32;

/// The object point that holds an image point of contiguous points.
int64_t PointOfImagePoint(std::span<const ObjectPointRecord> points, int64_t imagePoint) {
  const auto behind = std::upper_bound(
      points.begin(), points.end(), imagePoint,
      [](int64_t index, const ObjectPointRecord& point) { return index < point.nFirstImagePoint; });
  return behind - points.begin() - 1;
}

}  // namespace

double FixedDeviceBytes(const FixedSizes& sizes) {
  const int64_t vectors = kUnknownBytes * sizes.nUnknownNum + kPreconditionerBytes * sizes.nDiagUpperSize;
  const int64_t orientations = kImageBytes * sizes.nImageNum + kCameraBytes * sizes.nCameraNum;
  return static_cast<double>(static_cast<int32_t>(vectors)) +
         static_cast<double>(static_cast<int32_t>(orientations));
}

double PointDeviceBytes(int64_t objectPoints, int64_t imagePoints) {
  const auto tails = TailFloats(imagePoints) * static_cast<int64_t>(sizeof(float));
  return static_cast<double>(kObjectPointBytes * objectPoints + kImagePointBytes * imagePoints + tails);
}

// The factor stands twice in the plan.
double UsableDeviceBytes(uint64_t totalGlobalMem) { return static_cast<double>(totalGlobalMem) * 0.8 * 0.8; }

EnabledDevices EnableDevices(std::span<const DeviceProperties> devices, const FixedSizes& sizes) {
  EnabledDevices enabled;
  const double fixed = FixedDeviceBytes(sizes);
  for (size_t k = 0; k < std::min(devices.size(), kMaxDeviceNum); ++k) {
    const double usable = UsableDeviceBytes(devices[k].totalGlobalMem);
    if (fixed > usable || !HasRoomForKernels(FiguresOf(devices[k]))) continue;
    enabled.fFreeBytes += usable - fixed;
    enabled.vNumbers.push_back(static_cast<int32_t>(k));
  }
  return enabled;
}

bool AreContiguous(std::span<const ObjectPointRecord> points, int64_t imagePointNum) {
  int64_t next = 0;
  for (const ObjectPointRecord& point : points) {
    if (point.nFirstImagePoint != next || point.nImagePointNum < 0) return false;
    next += point.nImagePointNum;
    if (next > imagePointNum) return false;
  }
  return next == imagePointNum;
}

GpuSectionPlan PlanGpuSections(std::span<const ObjectPointRecord> points, int64_t imagePointNum,
                               const EnabledDevices& devices) {
  GpuSectionPlan plan;
  if (imagePointNum < 1 || !AreContiguous(points, imagePointNum)) return plan;
  const double cuts = PointDeviceBytes(std::ssize(points), imagePointNum) / devices.fFreeBytes + 1.0;
  if (!(cuts < static_cast<double>(imagePointNum) + 1.0)) return plan;
  if (cuts * static_cast<double>(devices.vNumbers.size()) > std::numeric_limits<int32_t>::max()) return plan;
  plan.nCut = static_cast<int64_t>(cuts);

  std::vector<int64_t> images{0}, objects{0};
  int64_t share = imagePointNum / plan.nCut;
  for (int64_t cut = 0; cut < plan.nCut; ++cut) {
    if (cut == plan.nCut - 1) share = imagePointNum - images.back();
    for (size_t device = 0; device < devices.vNumbers.size(); ++device) {
      const int64_t end = std::min(images.back() + share, imagePointNum);
      const int64_t object = PointOfImagePoint(points, std::max<int64_t>(end - 1, 0));
      const ObjectPointRecord& point = points[static_cast<size_t>(object)];
      const int64_t last = point.nFirstImagePoint + point.nImagePointNum - 1;
      images.push_back(last);
      objects.push_back(object);
      if (last >= imagePointNum - 1) continue;
      images.push_back(last + 1);
      objects.push_back(object + 1);
    }
  }
  // Deliberate: the cuts are not yet multiplied by the devices here, so that two of them never pass.
  if (std::ssize(images) != 2 * plan.nCut) return plan;
  plan.bDone = true;
  plan.Table.nGpuSectionNum = static_cast<int32_t>(plan.nCut * std::ssize(devices.vNumbers));
  plan.Table.pGpuImgRanges = std::move(images);
  plan.Table.pGpuObjRanges = std::move(objects);
  return plan;
}

}  // namespace orvo::gpu
