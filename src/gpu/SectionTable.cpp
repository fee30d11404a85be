#include "gpu/SectionTable.h"

#include <algorithm>
#include <vector>

namespace orvo::gpu {
namespace {

/// The inclusive range at `at` out of `all`; nothing where it leaves them.
template <typename T, typename Allocator>
std::span<const T> PartOf(const std::vector<T, Allocator>& all, const std::vector<int64_t>& ranges,
                          size_t at) {
  const int64_t first = ranges[at], count = ranges[at + 1] - first + 1;
  if (first < 0 || count < 0 || first + count > std::ssize(all)) return std::span(all).first(0);
  return std::span(all).subspan(static_cast<size_t>(first), static_cast<size_t>(count));
}

}  // namespace

bool ComputeGpuSections(std::span<const ObjectPointRecord> points, int64_t imagePointNum,
                        const FixedSizes& sizes, GpuState& state, RunLog& log) {
  state.nEnabledDeviceNum = 0;
  std::vector<DeviceProperties> devices = state.pDeviceProps;
  if (state.nDeviceMemory > 0) {
    const auto limit = static_cast<uint64_t>(state.nDeviceMemory);
    for (DeviceProperties& device : devices) device.totalGlobalMem = std::min(device.totalGlobalMem, limit);
  }
  const EnabledDevices enabled = EnableDevices(devices, sizes);
  state.nEnabledDeviceNum = static_cast<int32_t>(enabled.vNumbers.size());
  state.vEnabledDevices.insert(state.vEnabledDevices.end(), enabled.vNumbers.begin(), enabled.vNumbers.end());
  if (enabled.vNumbers.empty()) {
    log.Print("Available GPU device is none!\n");
    return false;
  }
  const int64_t imagePoints =
      points.empty() ? 0 : points.back().nFirstImagePoint + points.back().nImagePointNum;
  GpuSectionPlan plan;
  if (imagePoints <= imagePointNum) plan = PlanGpuSections(points, imagePoints, enabled);
  if (!plan.bDone) {
    log.Print("Error!Unexpected image point number!\n");
    return false;
  }
  log.Print("GPU sections:%d\n", static_cast<int32_t>(plan.nCut));
  state.Sections = std::move(plan.Table);
  return true;
}

SectionPoints PointsOfGpuSection(const GpuSectionTable& table, int32_t gpuSection, const PointStore& points,
                                 int32_t imageNum, int32_t cameraNum) {
  SectionPoints section;
  section.GcpTable = points.pGcpTable;
  section.nImageNum = imageNum;
  section.nCameraNum = cameraNum;
  const size_t at = 2 * static_cast<size_t>(gpuSection);
  if (gpuSection < 0 || gpuSection >= table.nGpuSectionNum || at + 1 >= table.pGpuObjRanges.size())
    return section;
  section.ObjectPoints = PartOf(points.pObjectPoints, table.pGpuObjRanges, at);
  section.ImagePoints = PartOf(points.pImagePoints, table.pGpuImgRanges, at);
  return section;
}

}  // namespace orvo::gpu
