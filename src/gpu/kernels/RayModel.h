// The observation model of the device path: the camera's form for it, and what a ray weighs.
#pragma once

#include <cstdint>

#include "base/KernelCode.h"
#include "geometry/camera/DeviceRay.h"

namespace orvo::gpu {

/// Flags of a ray in the device's tables.
enum RayFlag : uint32_t {
  kRayCounts = 0,
  kRayIsGross = 1,
  kRayIsLeftOut = 2  ///< on a deleted image: weight 0 in every sum, never looked at
};

/// Weight of a ray on a point of the given type; control points bear the control weight. `grossWeight` is
/// kGrossRayWeight but in tests, where a larger one shows how often it enters.
ORVO_KERNEL_CODE float RayWeight(uint32_t flag, uint32_t type, float controlWeight, float grossWeight) {
  if (flag == kRayIsLeftOut) return 0.0f;
  if (flag == kRayIsGross) return grossWeight;
  return type == 1 ? controlWeight : 1.0f;
}

/// Weight of the other ray of a pair: never the control weight.
ORVO_KERNEL_CODE float PairWeight(uint32_t flag, float grossWeight) {
  if (flag == kRayIsLeftOut) return 0.0f;
  return flag == kRayIsGross ? grossWeight : 1.0f;
}

}  // namespace orvo::gpu
