// What the device path asks of a device. A CUDA device and the processor answer alike, and tests put in
// made-up ones.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "gpu/kernels/KernelCall.h"

namespace orvo::gpu {

struct DeviceProperties {
  std::string szName;
  uint64_t totalGlobalMem = 0, sharedMemPerBlock = 0;  ///< bytes
  int32_t regsPerBlock = 0;
  int32_t major = 0, minor = 0;
  int32_t kernelExecTimeoutEnabled = 0;
};

/// Every operation returns 0, or the error code of the device. A failed launch shows in a later copy.
class Device {
 public:
  virtual ~Device() = default;
  virtual int GetDeviceCount(int32_t& count) = 0;
  /// The device's own words for a code; may be empty.
  virtual std::string ReasonOf(int) const { return {}; }
  virtual int GetProperties(int32_t device, DeviceProperties& properties) = 0;
  virtual int SetDevice(int32_t device) = 0;
  /// Null with a size of 0 or on failure.
  virtual int Malloc(void*& address, size_t bytes) = 0;
  /// Null is no error.
  virtual int Free(void* address) = 0;
  virtual int CopyToDevice(void* to, const void* from, size_t bytes) = 0;
  virtual int CopyToHost(void* to, const void* from, size_t bytes) = 0;
  virtual int Clear(void* address, size_t bytes) = 0;
  virtual int Launch(const KernelCall& call) = 0;
};

/// The processor as a device. `freeBytes` is what it says it has; the fast kernels take `processors` threads,
/// and their numbers don't depend on how many. Without `literal` it runs no kernel in that form.
std::unique_ptr<Device> MakeHostDevice(int64_t freeBytes, int processors, LiteralKernels literal = {});

/// The CUDA devices of the machine; null in a build without CUDA. `literal` as above.
std::unique_ptr<Device> MakeCudaDevice(LiteralKernels literal = {});

}  // namespace orvo::gpu
