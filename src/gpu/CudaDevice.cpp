#include <cuda_runtime.h>

#include "gpu/Device.h"
#include "gpu/kernels/CudaLaunch.h"

namespace orvo::gpu {
namespace {

/// The runtime keeps the error of a failed call for the next that asks; here each call answers for itself.
int Status(cudaError_t error) {
  if (error != cudaSuccess) cudaGetLastError();
  return static_cast<int>(error);
}

class CudaDevice final : public Device {
 public:
  explicit CudaDevice(LiteralKernels literal) : Literal(literal) {}

  /// Without a driver or a device this is an error and a count of 0.
  int GetDeviceCount(int32_t& count) override {
    int number = 0;
    const int status = Status(cudaGetDeviceCount(&number));
    count = status == cudaSuccess ? number : 0;
    return status;
  }

  std::string ReasonOf(int code) const override {
    const char* reason = cudaGetErrorString(static_cast<cudaError_t>(code));
    return reason != nullptr ? reason : "";
  }

  int GetProperties(int32_t device, DeviceProperties& properties) override {
    cudaDeviceProp all{};
    int status = Status(cudaGetDeviceProperties(&all, device));
    if (status != cudaSuccess) return status;
    int watchdog = 0;
    status = Status(cudaDeviceGetAttribute(&watchdog, cudaDevAttrKernelExecTimeout, device));
    if (status != cudaSuccess) return status;
    properties.szName = all.name;
    properties.totalGlobalMem = all.totalGlobalMem;
    properties.sharedMemPerBlock = all.sharedMemPerBlock;
    properties.regsPerBlock = all.regsPerBlock;
    properties.major = all.major;
    properties.minor = all.minor;
    properties.kernelExecTimeoutEnabled = watchdog;
    return status;
  }

  int SetDevice(int32_t device) override { return Status(cudaSetDevice(device)); }

  int Malloc(void*& address, size_t bytes) override {
    address = nullptr;
    if (bytes == 0) return cudaSuccess;
    const int status = Status(cudaMalloc(&address, bytes));
    if (status != cudaSuccess) address = nullptr;
    return status;
  }

  int Free(void* address) override { return Status(cudaFree(address)); }

  int CopyToDevice(void* to, const void* from, size_t bytes) override {
    return Copy(to, from, bytes, cudaMemcpyHostToDevice);
  }

  int CopyToHost(void* to, const void* from, size_t bytes) override {
    return Copy(to, from, bytes, cudaMemcpyDeviceToHost);
  }

  int Clear(void* address, size_t bytes) override {
    if (bytes == 0) return cudaSuccess;
    if (address == nullptr) return cudaErrorInvalidValue;
    return Status(cudaMemset(address, 0, bytes));
  }

  int Launch(const KernelCall& call) override {
    const int status = call.Form == KernelForm::Literal ? LaunchLiteral(call) : LaunchFastKernel(call);
    if (nLaunchStatus == cudaSuccess) nLaunchStatus = status;
    return status;
  }

 private:
  int LaunchLiteral(const KernelCall& call) const {
    return Literal.OnCuda != nullptr ? Literal.OnCuda(call) : static_cast<int>(cudaErrorNotSupported);
  }

  // A launch that was refused leaves no trace in the runtime once it was read, so it is kept for the copies:
  // nothing that is fetched after it can be trusted.
  int Copy(void* to, const void* from, size_t bytes, cudaMemcpyKind kind) {
    if (bytes != 0) {
      if (to == nullptr || from == nullptr) return cudaErrorInvalidValue;
      const int status = Status(cudaMemcpy(to, from, bytes, kind));
      if (status != cudaSuccess) return status;
    }
    return nLaunchStatus;
  }

  LiteralKernels Literal;
  int nLaunchStatus = cudaSuccess;
};

}  // namespace

std::unique_ptr<Device> MakeCudaDevice(LiteralKernels literal) {
  return std::make_unique<CudaDevice>(literal);
}

}  // namespace orvo::gpu
