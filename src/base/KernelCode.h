// The mark of functions of kernels: they are compiled for the processor, and by nvcc for the device too.
#pragma once

#ifdef __CUDACC__
#define ORVO_KERNEL_CODE __host__ __device__ inline
#else
#define ORVO_KERNEL_CODE [[gnu::always_inline]] inline
#endif
