// Which devices a run may use.
#pragma once

#include <cstdint>

#include "gpu/Device.h"

namespace orvo::gpu {

/// The figures of a device that count, in whole units.
struct DeviceFigures {
  int32_t nGlobalGigabytes = 0;
  int32_t nSharedKilobytes = 0;    ///< per block
  int32_t nRegisterKilobytes = 0;  ///< thousands of 1024 registers per block
};

DeviceFigures FiguresOf(const DeviceProperties& properties);

/// Enough memory and registers for the kernels.
bool HasRoomForKernels(const DeviceFigures& figures);

/// Discovery ends at a device that qualifies and has a watchdog on its kernels, and accepts none then.
enum class DeviceVerdict { TooSmall, HasWatchdog, Qualifies };
DeviceVerdict JudgeDevice(const DeviceProperties& properties);

/// A device that qualifies also counts as one that can do the work from version 2 on.
inline bool IsCapable(const DeviceProperties& properties) { return properties.major > 1; }

/// Why no device of `device` can be used.
enum class DeviceLack { None, NoDevice, TooSmall, Watchdog };
/// What discovery will find, without a word.
DeviceLack FindDeviceLack(Device& device);

}  // namespace orvo::gpu
