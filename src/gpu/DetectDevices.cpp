// Which devices there are, and whether one can be used.
#include <algorithm>

#include "gpu/DeviceRules.h"
#include "gpu/GpuState.h"
#include "run/BundleAdjustment.h"

namespace orvo {

gpu::GpuState& CBundleAdjustment::Gpu() {
  if (!pGpu) pGpu = std::make_unique<gpu::GpuState>();
  return *pGpu;
}

int CBundleAdjustment::DetectCudaDevices() {
  gpu::GpuState& state = Gpu();
  ConsolePrintf(">>Detecting available cuda device...\n");
  if (!state.pDevice) state.pDevice = gpu::MakeCudaDevice();
  int32_t count = 0;
  if (state.pDevice && state.pDevice->GetDeviceCount(count) != 0) count = 0;
  count = std::max(count, 0);
  ConsolePrintf(">>%d device(s) are found:\n", count);
  state.pDeviceProps.assign(static_cast<size_t>(count), {});
  state.nEnabledDeviceNum = 0;
  state.nDeviceNum = count;
  bool capable = false;
  for (int32_t i = 0; i < count; ++i) {
    gpu::DeviceProperties& properties = state.pDeviceProps[static_cast<size_t>(i)];
    if (state.pDevice->GetProperties(i, properties) != 0) continue;
    const gpu::DeviceVerdict verdict = gpu::JudgeDevice(properties);
    if (verdict == gpu::DeviceVerdict::TooSmall) continue;
    if (verdict == gpu::DeviceVerdict::HasWatchdog) {
      ConsolePrintf("WDDM is enabled!\n");
      ConsolePrintf(
          "To use GPU mode, please manually change the register key 'TdrLevel' to be 0 and then reboot "
          "windows!\n");
      return 0;
    }
    ++state.nEnabledDeviceNum;
    const gpu::DeviceFigures figures = gpu::FiguresOf(properties);
    ConsolePrintf(">>%d:%s  GlobalMemory(GB):%d  SharedMemory(KB):%d  RegisterPerMS(KB):%d  Version:%d.%d\n",
                  i, properties.szName.c_str(), figures.nGlobalGigabytes, figures.nSharedKilobytes,
                  figures.nRegisterKilobytes, properties.major, properties.minor);
    capable = capable || gpu::IsCapable(properties);
  }
  if (!capable) return 0;
  state.nEnabledDeviceNum = 1;
  ConsolePrintf(">>CUDA initialized\n\n");
  return 1;
}

}  // namespace orvo
