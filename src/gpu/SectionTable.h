// The GPU sections of the point section in memory.
#pragma once

#include <cstdint>
#include <span>

#include "base/RunLog.h"
#include "gpu/GpuState.h"
#include "gpu/HostArrays.h"
#include "records/PointStore.h"

namespace orvo::gpu {

/// Divides the points of one point section among the devices of `state` with room for them; `imagePointNum`
/// image points are in memory. Writes the table of the GPU sections, and the enabled devices, whose list
/// grows with every call. False after a message.
bool ComputeGpuSections(std::span<const ObjectPointRecord> points, int64_t imagePointNum,
                        const FixedSizes& sizes, GpuState& state, RunLog& log);

/// The points of one GPU section; none for a section that is not there. Kept images and usable cameras are
/// counted by the last two.
SectionPoints PointsOfGpuSection(const GpuSectionTable& table, int32_t gpuSection, const PointStore& points,
                                 int32_t imageNum, int32_t cameraNum);

}  // namespace orvo::gpu
