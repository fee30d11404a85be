// What a device's memory can do: the measure of kernels that wait for it.
#pragma once

namespace orvo::bench {

/// Bytes read and written a second by a large copy within the memory of the processor, on so many threads.
double HostCopyBandwidth(int processors);
/// The same of the current CUDA device; 0 without one.
double CudaCopyBandwidth();

}  // namespace orvo::bench
