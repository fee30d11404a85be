// The mark of functions that are compiled for the processor and for the device.
#pragma once

#ifdef __CUDACC__
#define ORVO_HOST_DEVICE __host__ __device__ inline
#else
#define ORVO_HOST_DEVICE [[gnu::always_inline]] inline
#endif
