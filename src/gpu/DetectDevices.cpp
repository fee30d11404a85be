#include "gpu/DetectDevices.h"

#include <algorithm>

#include "gpu/DeviceRules.h"

namespace orvo::gpu {

bool DetectCudaDevices(GpuState& state, RunLog& log) {
  log.PrintToConsole(">>Detecting available cuda device...\n");
  if (!state.pDevice) state.pDevice = MakeCudaDevice();
  int32_t count = 0;
  if (state.pDevice && state.pDevice->GetDeviceCount(count) != 0) count = 0;
  count = std::max(count, 0);
  log.PrintToConsole(">>%d device(s) are found:\n", count);
  state.pDeviceProps.assign(static_cast<size_t>(count), {});
  state.nEnabledDeviceNum = 0;
  state.nDeviceNum = count;
  bool capable = false;
  for (int32_t i = 0; i < count; ++i) {
    DeviceProperties& properties = state.pDeviceProps[static_cast<size_t>(i)];
    if (state.pDevice->GetProperties(i, properties) != 0) continue;
    const DeviceVerdict verdict = JudgeDevice(properties);
    if (verdict == DeviceVerdict::TooSmall) continue;
    if (verdict == DeviceVerdict::HasWatchdog) {
      log.PrintToConsole("WDDM is enabled!\n");
      log.PrintToConsole(
          "To use GPU mode, please manually change the register key 'TdrLevel' to be 0 and then reboot "
          "windows!\n");
      return false;
    }
    ++state.nEnabledDeviceNum;
    const DeviceFigures figures = FiguresOf(properties);
    log.PrintToConsole(
        ">>%d:%s  GlobalMemory(GB):%d  SharedMemory(KB):%d  RegisterPerMS(KB):%d  Version:%d.%d\n", i,
        properties.szName.c_str(), figures.nGlobalGigabytes, figures.nSharedKilobytes,
        figures.nRegisterKilobytes, properties.major, properties.minor);
    capable = capable || IsCapable(properties);
  }
  if (!capable) return false;
  state.nEnabledDeviceNum = 1;
  log.PrintToConsole(">>CUDA initialized\n\n");
  return true;
}

}  // namespace orvo::gpu
