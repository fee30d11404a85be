// The five kernels block by block, thread by thread, phase by phase: the reference for the fast ones. Each
// takes device addresses of the arrays told in DeviceArrays.h and runs 64 blocks of 256 threads one after the
// other.
#pragma once

#include "gpu/kernels/KernelCall.h"

namespace orvo::gpu {

/// This form, for a device that is to offer it.
extern const LiteralKernels kLiteralKernels;

/// Residuals, gross flags, residual sums; of each object point the inverse of its normal block and that
/// inverse times its constant vector. cupTR must be zero.
void ComputeSumMatrix(const DeviceArrays& arrays, float grossWeight);
/// The reduced constant vector, added to cupR. cuptR must be zero. After ComputeSumMatrix.
void ComputeConstVector(const DeviceArrays& arrays, float grossWeight);
/// Diagonal blocks of images (11 by 11 with the camera in LayoutMergedEopIop), added to cupM. cuptM must be
/// zero. After ComputeSumMatrix, like those below.
void ComputePreconditionerGPU(const DeviceArrays& arrays, float grossWeight);
/// Diagonal blocks of cameras, pair by pair.
void ComputePreconditionerGPU_IOP(const DeviceArrays& arrays, float grossWeight);
/// The reduced matrix times cupD, pair by pair, added to cupAd. cuptAd must be zero.
void ComputeMatrixVectorAd(const DeviceArrays& arrays, float grossWeight);

}  // namespace orvo::gpu
