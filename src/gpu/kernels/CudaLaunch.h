// Launches of the kernels on the current CUDA device, on its default stream.
#pragma once

#include <cstdint>

#include "gpu/kernels/KernelCall.h"

namespace orvo::gpu {

/// Most blocks of one launch.
inline constexpr int64_t kMaxLaunchBlocks = 0x7fffffff;

/// 0, or the code of the launch that was refused; what fails while it runs shows in a later call.
int LaunchLiteralKernel(const KernelCall& call);
/// The same for the fast form: several launches, which stop at the first that is refused.
int LaunchFastKernel(const KernelCall& call);
/// Its product.
int LaunchFastProduct(const KernelCall& call);

}  // namespace orvo::gpu
