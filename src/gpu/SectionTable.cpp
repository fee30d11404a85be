// The GPU sections of the point section in memory.
#include <algorithm>

#include "gpu/GpuState.h"
#include "run/BundleAdjustment.h"

namespace orvo {

int CBundleAdjustment::ComputeGpuSections(int32_t section) {
  gpu::GpuState& state = Gpu();
  state.nEnabledDeviceNum = 0;
  std::vector<gpu::DeviceProperties> devices = state.pDeviceProps;
  if (state.nDeviceMemory > 0) {
    const auto limit = static_cast<uint64_t>(state.nDeviceMemory);
    for (gpu::DeviceProperties& device : devices)
      device.totalGlobalMem = std::min(device.totalGlobalMem, limit);
  }
  const gpu::EnabledDevices enabled = gpu::EnableDevices(
      devices, {Unknowns.nUnknownNum, Unknowns.nDiagUpperSize, Images.nImageNum, Cameras.UsableNum()});
  state.nEnabledDeviceNum = static_cast<int32_t>(enabled.vNumbers.size());
  state.vEnabledDevices.insert(state.vEnabledDevices.end(), enabled.vNumbers.begin(), enabled.vNumbers.end());
  if (enabled.vNumbers.empty()) {
    LogPrintf("Available GPU device is none!\n");
    return 0;
  }
  const auto points = std::span<const ObjectPointRecord>(Points.pObjectPoints)
                          .first(static_cast<size_t>(SectionPointCount(section)));
  const int64_t imagePoints =
      points.empty() ? 0 : points.back().nFirstImagePoint + points.back().nImagePointNum;
  gpu::GpuSectionPlan plan;
  if (imagePoints <= std::ssize(Points.pImagePoints))
    plan = gpu::PlanGpuSections(points, imagePoints, enabled);
  if (!plan.bDone) {
    LogPrintf("Error!Unexpected image point number!\n");
    return 0;
  }
  LogPrintf("GPU sections:%d\n", static_cast<int32_t>(plan.nCut));
  state.Sections = std::move(plan.Table);
  return 1;
}

}  // namespace orvo
