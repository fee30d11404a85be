// The cut of a point section into GPU sections that fit a device.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "gpu/Device.h"
#include "records/Records.h"

namespace orvo::gpu {

/// Ranges of object points and image points of each GPU section: first and last index, both inclusive, in the
/// arrays of the point section in memory. No object point is divided.
struct GpuSectionTable {
  int32_t nGpuSectionNum = 0;
  std::vector<int64_t> pGpuObjRanges, pGpuImgRanges;

  void Release() { *this = GpuSectionTable(); }
};

/// What takes device memory for the whole run.
struct FixedSizes {
  int32_t nUnknownNum = 0;
  int32_t nDiagUpperSize = 0;  ///< elements of the packed preconditioner
  int32_t nImageNum = 0, nCameraNum = 0;
};

/// Bytes of the arrays of the run: 524 for each unknown, 260 for each element of the preconditioner, 24 for
/// each image and 20 for each camera. The first two and the last two together are each deliberately cut to 32
/// bits.
double FixedDeviceBytes(const FixedSizes& sizes);

/// Bytes of the arrays of one GPU section.
double PointDeviceBytes(int64_t objectPoints, int64_t imagePoints);

/// The part of a device's memory that a run plans with: 64 percent.
double UsableDeviceBytes(uint64_t totalGlobalMem);

/// Devices beyond this many are not looked at.
inline constexpr size_t kMaxDeviceNum = 64;

struct EnabledDevices {
  std::vector<int32_t> vNumbers;
  double fFreeBytes = 0;  ///< what the arrays of the run leave on all of them together
};
EnabledDevices EnableDevices(std::span<const DeviceProperties> devices, const FixedSizes& sizes);

/// True when the points' measurements stand one behind the other from the first of `imagePoints` on. Their
/// number is then that of the last one's end.
bool AreContiguous(std::span<const ObjectPointRecord> points, int64_t imagePointNum);

struct GpuSectionPlan {
  bool bDone = false;
  int64_t nCut = 0;  ///< GPU sections for each device
  GpuSectionTable Table;
};

/// Each cut takes an equal share of the image points and goes on to the end of the object point there; the
/// last takes the rest. Not done when the shares don't come out even: with two devices and more, without
/// points, with more cuts than image points, and where long points use the points up before the last cut.
GpuSectionPlan PlanGpuSections(std::span<const ObjectPointRecord> points, int64_t imagePointNum,
                               const EnabledDevices& devices);

}  // namespace orvo::gpu
