// The fast kernels on the processor: the same sums as the literal ones up to rounding, organised by object
// point and by image, linear in the rays of a point. Their numbers don't depend on the number of threads nor
// on the instruction set, and a rerun repeats them bit for bit.
#pragma once

#include "base/Threads.h"
#include "gpu/kernels/KernelCall.h"
#include "gpu/kernels/fast/passes/FastPasses.h"

namespace orvo::gpu {

/// Runs one kernel over arrays in the layout of FastLayout.h. What it adds to (cupR, cupM, cupAd) must be
/// zero at first; SumMatrix takes thresholds from cupRms [2] and [3] and leaves its sums in [0..3].
/// Preconditioner does the blocks of images, in LayoutIop nothing; PreconditionerIop those of cameras.
void RunFastKernel(const KernelCall& call, WorkerPool& pool);
/// The same with given passes.
void RunFastKernel(const KernelCall& call, WorkerPool& pool, const FastPasses& passes);

}  // namespace orvo::gpu
