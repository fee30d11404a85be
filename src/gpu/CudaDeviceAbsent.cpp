#include "gpu/Device.h"

namespace orvo::gpu {

std::unique_ptr<Device> MakeCudaDevice(LiteralKernels) { return nullptr; }

}  // namespace orvo::gpu
