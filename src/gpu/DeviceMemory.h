// Device arrays of the run and of a GPU section: allocated, filled, refreshed and freed.
//
// Cameras are all that measurements may stand on. Each failure is the device's, and shows in the last call of
// an operation: its device is guarded.
#pragma once

#include <cstdint>
#include <span>

#include "base/RunLog.h"
#include "gpu/GpuState.h"
#include "gpu/HostArrays.h"
#include "records/AdjustmentSettings.h"
#include "records/CameraTable.h"
#include "records/ImageTable.h"
#include "records/PointStore.h"
#include "records/ResidualStatistics.h"
#include "records/UnknownLayout.h"

namespace orvo::gpu {

/// What the arrays of a GPU section, and the parameters of its kernels, are made of.
struct SectionUpload {
  const AdjustmentSettings& Settings;
  const ImageTable& Images;
  const CameraTable& Cameras;
  const PointStore& Points;
  const UnknownCounts& Unknowns;
};

/// Allocates and fills the arrays of the run, and takes the thresholds of the residuals; false after a
/// message.
bool AllocFixedDeviceMemory(std::span<const EopRecord> images, std::span<const IopRecord> cameras,
                            const UnknownCounts& unknowns, const ResidualStatistics& residuals,
                            GpuState& state, RunLog& log);

/// Allocates and fills the arrays of a GPU section of the table in `state`, on up to `threads` threads, and
/// uploads the thresholds taken last; false after a message.
bool AllocPointDeviceMemory(const SectionUpload& from, int32_t gpuSection, int threads, GpuState& state,
                            RunLog& log);

/// Uploads the object points of a GPU section that is on the device already; false where it is not.
bool RefreshObjectArray(const SectionPoints& section, int threads, GpuState& state);

/// Takes the thresholds of the residuals, and uploads them and the orientations, after a step.
bool RefreshOrientationArrays(std::span<const EopRecord> images, std::span<const IopRecord> cameras,
                              const ResidualStatistics& residuals, GpuState& state);

void FreePointDeviceMemory(GpuState& state);
/// Nothing without a device.
void FreeFixedDeviceMemory(GpuState& state);

}  // namespace orvo::gpu
