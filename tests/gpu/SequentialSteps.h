// A device that takes the steps of the fast kernels one block after the other, lane by lane: it shows their
// indexing, their barriers and their sums where no CUDA device is.
#pragma once

#include <memory>

#include "gpu/Device.h"

namespace orvo::test {

/// The order of blocks and lanes, which must not show in results.
enum class LaneOrder { Forward, Backward };

std::unique_ptr<gpu::Device> MakeSequentialDevice(LaneOrder order);

}  // namespace orvo::test
