// The fast kernels on the processor: the same sums as the literal ones up to rounding, organised by object
// point and by image, linear in the rays of a point. Their numbers don't depend on the number of threads, and
// a rerun repeats them bit for bit.
#pragma once

#include "gpu/Device.h"

namespace orvo::gpu {

/// Runs one kernel over arrays in the layout of FastLayout.h on up to `processors` threads.
void RunFastKernel(const KernelCall& call, int processors);

}  // namespace orvo::gpu
