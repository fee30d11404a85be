// Which devices there are, and whether one can be used.
#pragma once

#include "base/RunLog.h"
#include "gpu/GpuState.h"

namespace orvo::gpu {

/// True when the device platform of `state` has a usable device. Without a platform it takes that of CUDA.
/// Writes properties and number of the devices. Tells the console alone.
bool DetectCudaDevices(GpuState& state, RunLog& log);

}  // namespace orvo::gpu
