// A device that takes no failure for success: the first one is kept, and ends all that would build on it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "gpu/Device.h"

namespace orvo::gpu {

/// The first operation of a device that failed.
struct DeviceFault {
  int nCode = 0;         ///< of the device; 0: none failed
  std::string szCall;    ///< what was asked for: "copying 1040 bytes to the device"
  std::string szReason;  ///< the device's own words for the code; may be empty

  bool IsThere() const { return nCode != 0; }
  /// "copying 1040 bytes to the device: invalid argument (1)"
  std::string Text() const;
};

/// Answers for `device`. The first failing allocation, copy, clear, launch, release or choice of a device is
/// written to `fault`, which outlives this. From then on all of them answer with its code, and nothing but
/// releases is passed on. Questions after the devices of the machine may fail; they are no fault.
std::unique_ptr<Device> GuardDevice(std::unique_ptr<Device> device, DeviceFault& fault);

}  // namespace orvo::gpu
