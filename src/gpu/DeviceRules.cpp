#include "gpu/DeviceRules.h"

#include <algorithm>
#include <limits>

namespace orvo::gpu {
namespace {

constexpr uint64_t kKilo = 1024;
constexpr int32_t kLeastSharedKilobytes = 48;
constexpr int32_t kLeastRegisterKilobytes = 48;
constexpr int32_t kLeastGlobalGigabytes = 1;

int32_t Whole(uint64_t value) {
  return static_cast<int32_t>(std::min<uint64_t>(value, std::numeric_limits<int32_t>::max()));
}

}  // namespace

DeviceFigures FiguresOf(const DeviceProperties& properties) {
  DeviceFigures figures;
  figures.nGlobalGigabytes = Whole(properties.totalGlobalMem / kKilo / kKilo / kKilo);
  figures.nSharedKilobytes = Whole(properties.sharedMemPerBlock / kKilo);
  figures.nRegisterKilobytes = properties.regsPerBlock / static_cast<int32_t>(kKilo);
  return figures;
}

bool HasRoomForKernels(const DeviceFigures& figures) {
  return figures.nSharedKilobytes >= kLeastSharedKilobytes &&
         figures.nRegisterKilobytes >= kLeastRegisterKilobytes;
}

DeviceVerdict JudgeDevice(const DeviceProperties& properties) {
  const DeviceFigures figures = FiguresOf(properties);
  if (!HasRoomForKernels(figures) || figures.nGlobalGigabytes < kLeastGlobalGigabytes)
    return DeviceVerdict::TooSmall;
  return properties.kernelExecTimeoutEnabled != 0 ? DeviceVerdict::HasWatchdog : DeviceVerdict::Qualifies;
}

DeviceLack FindDeviceLack(Device& device) {
  int32_t count = 0;
  if (device.GetDeviceCount(count) != 0 || count < 1) return DeviceLack::NoDevice;
  DeviceLack lack = DeviceLack::TooSmall;
  for (int32_t i = 0; i < count; ++i) {
    DeviceProperties properties;
    if (device.GetProperties(i, properties) != 0) continue;
    switch (JudgeDevice(properties)) {
      case DeviceVerdict::TooSmall:
        break;
      case DeviceVerdict::HasWatchdog:
        return DeviceLack::Watchdog;
      case DeviceVerdict::Qualifies:
        if (IsCapable(properties)) lack = DeviceLack::None;
    }
  }
  return lack;
}

}  // namespace orvo::gpu
