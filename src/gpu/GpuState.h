// What the device path keeps from one operation to the next. There is one for each run that uses a device.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "gpu/Device.h"
#include "gpu/GpuSections.h"
#include "gpu/GuardedDevice.h"
#include "gpu/HostArrays.h"

namespace orvo::gpu {

struct GpuState {
  std::unique_ptr<Device> pDevice;  ///< null: no device platform in this build
  KernelForm Form = KernelForm::Fast;
  int64_t nDeviceMemory = 0;  ///< bytes that the section plan counts on at most; 0: what the device has

  std::vector<DeviceProperties> pDeviceProps;  ///< by device number
  int32_t nDeviceNum = 0;
  int32_t nEnabledDeviceNum = 0;
  /// Grows with every section plan; the first nEnabledDeviceNum count.
  std::vector<int32_t> vEnabledDevices;
  GpuSectionTable Sections;
  GpuPara Para;
  std::array<float, 4> fThresholds{};  ///< mean and RMS of the residuals in x and y, as uploaded
  DeviceArrays Arrays;
  /// What ended the device path: its device is guarded from its first iteration on.
  DeviceFault Fault;

  // Host images on their way to the device.
  LiteralImages Literal;
  std::vector<uint32_t> FastImgIdx, FastObjIdx, FastIndex;
  std::vector<float> FastImgPt, ObjPt, Eop, Iop;
  /// Leaves the images of points to the next upload no memory.
  void ReleasePointImages();
};

}  // namespace orvo::gpu
