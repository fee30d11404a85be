// The residuals of a GPU section as a listing takes them, from what was fetched from the device.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "records/Records.h"
#include "results/GpuResidualLines.h"

namespace orvo::gpu {

// What a table is made from outlives it.

/// From the arrays of the literal kernels: 4 words and 4 floats an image point.
GpuResidualTable LiteralResidualTable(const std::vector<uint32_t>& imgIdx, const std::vector<float>& imgPt);

/// From those of the fast kernels: image and flag of each ray, and its residual as 2 floats. All else comes
/// from the records; the section begins at object point `firstPoint` of the points in memory.
GpuResidualTable FastResidualTable(std::span<const ImagePointRecord> imagePoints, int32_t firstPoint,
                                   const std::vector<uint32_t>& rayImage,
                                   const std::vector<float>& residuals);

}  // namespace orvo::gpu
