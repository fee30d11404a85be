// Inverse of one diagonal block.
#pragma once

#include <cstdint>

namespace orvo {

/// A pivot or multiplier of a diagonal block below this counts as zero. Absolute.
inline constexpr double kBlockPivotTolerance = 1e-24;

/// Inverts the row-major order x order block in place: InvertGaussJordan with kBlockPivotTolerance, which
/// does not allocate for any block of the layouts. Returns 1, or -1 for a null or singular block, which is
/// then partly overwritten.
int InvertBlockInPlace(double* block, int32_t order);

}  // namespace orvo
