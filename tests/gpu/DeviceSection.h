// A made-up section on a device, in either form, with its kernels run through the device's own interface.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "gpu/Device.h"
#include "gpu/KernelBlocks.h"

namespace orvo::test {

class DeviceSection {
 public:
  DeviceSection(gpu::Device& onDevice, const KernelBlock& block, gpu::KernelForm form,
                float grossWeight = gpu::kGrossRayWeight);
  ~DeviceSection();
  DeviceSection(const DeviceSection&) = delete;
  DeviceSection& operator=(const DeviceSection&) = delete;

  /// The kernels below need it.
  void RunSumMatrix(bool skipStatistics = false);
  std::vector<float> ConstVector();
  /// Both kernels, as the layout has them.
  std::vector<float> Preconditioner();
  std::vector<float> Product(const std::vector<float>& d);

  /// As in DeviceArrays.h, whatever the form: 12 per point.
  std::vector<float> ObjPt();
  /// vx, vy of each ray.
  std::vector<float> Residuals();
  /// gpu::RayFlag of each ray.
  std::vector<uint32_t> Flags();
  std::vector<float> Rms();
  /// The same from the rays in image order, brought into point order. Fast form only.
  std::vector<uint32_t> ImageOrderFlags();

  /// First error code of any call.
  int Status() const { return nStatus; }

 private:
  template <class T>
  T* Upload(const std::vector<T>& from);
  template <class T>
  std::vector<T> Fetch(const T* from, int64_t count);
  void Launch(gpu::Kernel which);
  void Check(int status) {
    if (nStatus == 0) nStatus = status;
  }

  gpu::Device& device;
  gpu::KernelCall call;
  std::vector<void*> vAddresses;
  int nStatus = 0;
};

}  // namespace orvo::test
