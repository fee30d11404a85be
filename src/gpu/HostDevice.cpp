#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>

#include "gpu/Device.h"
#include "gpu/kernels/FastKernels.h"
#include "gpu/kernels/LiteralKernels.h"

namespace orvo::gpu {
namespace {

// The codes of the CUDA runtime for the same failures, so that messages read alike.
constexpr int kDone = 0;
constexpr int kInvalidValue = 1;
constexpr int kOutOfMemory = 2;
constexpr int kInvalidDevice = 101;

// The fast kernels read rows of 32 and 64 bytes; where these cross cache lines, each costs two.
constexpr size_t kAlignment = 64;

class HostDevice final : public Device {
 public:
  HostDevice(int64_t freeBytes, int processors) : nFreeBytes(freeBytes), nProcessors(processors) {}

  int GetDeviceCount(int32_t& count) override {
    count = 1;
    return kDone;
  }

  int GetProperties(int32_t device, DeviceProperties& properties) override {
    if (device != 0) return kInvalidDevice;
    properties.szName = "Host device";
    properties.totalGlobalMem = nFreeBytes > 0 ? static_cast<uint64_t>(nFreeBytes) : 0;
    properties.sharedMemPerBlock = 49152;
    properties.regsPerBlock = 65536;
    properties.major = 7;
    properties.minor = 5;
    properties.kernelExecTimeoutEnabled = 0;
    return kDone;
  }

  int SetDevice(int32_t device) override { return device == 0 ? kDone : kInvalidDevice; }

  int Malloc(void*& address, size_t bytes) override {
    address = nullptr;
    if (bytes == 0) return kDone;
    // Pages that no kernel touches are never taken from the system.
    if (bytes > SIZE_MAX - 2 * kAlignment) return kOutOfMemory;
    void* block = std::calloc(bytes + 2 * kAlignment, 1);
    if (block == nullptr) return kOutOfMemory;
    const auto start = reinterpret_cast<uintptr_t>(block);
    const size_t gap = 2 * kAlignment - start % kAlignment;
    char* const aligned = static_cast<char*>(block) + gap;
    ::new (aligned - sizeof(void*)) void*(block);
    address = aligned;
    return kDone;
  }

  int Free(void* address) override {
    if (address == nullptr) return kDone;
    std::free(*std::launder(reinterpret_cast<void**>(static_cast<char*>(address) - sizeof(void*))));
    return kDone;
  }

  int CopyToDevice(void* to, const void* from, size_t bytes) override { return Copy(to, from, bytes); }
  int CopyToHost(void* to, const void* from, size_t bytes) override { return Copy(to, from, bytes); }

  int Clear(void* address, size_t bytes) override {
    if (bytes == 0) return kDone;
    if (address == nullptr) return kInvalidValue;
    std::memset(address, 0, bytes);
    return kDone;
  }

  int Launch(const KernelCall& call) override {
    if (call.Form == KernelForm::Fast) {
      if (!Pool) Pool.emplace(nProcessors);
      RunFastKernel(call, *Pool);
      return kDone;
    }
    switch (call.Which) {
      case Kernel::SumMatrix:
        ComputeSumMatrix(call.Arrays, call.fGrossWeight);
        break;
      case Kernel::ConstVector:
        ComputeConstVector(call.Arrays, call.fGrossWeight);
        break;
      case Kernel::Preconditioner:
        ComputePreconditionerGPU(call.Arrays, call.fGrossWeight);
        break;
      case Kernel::PreconditionerIop:
        ComputePreconditionerGPU_IOP(call.Arrays, call.fGrossWeight);
        break;
      case Kernel::MatrixVectorAd:
        ComputeMatrixVectorAd(call.Arrays, call.fGrossWeight);
        break;
    }
    return kDone;
  }

 private:
  static int Copy(void* to, const void* from, size_t bytes) {
    if (bytes == 0) return kDone;
    if (to == nullptr || from == nullptr) return kInvalidValue;
    std::memcpy(to, from, bytes);
    return kDone;
  }

  int64_t nFreeBytes;
  int nProcessors;
  std::optional<WorkerPool> Pool;
};

}  // namespace

std::unique_ptr<Device> MakeHostDevice(int64_t freeBytes, int processors) {
  return std::make_unique<HostDevice>(freeBytes, processors);
}

}  // namespace orvo::gpu
