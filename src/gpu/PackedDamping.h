// The damping of the device path: in the packed preconditioner, and beside the product.
#pragma once

#include <cstdint>
#include <vector>

#include "gpu/PackedBlocks.h"
#include "normal/Damping.h"
#include "records/AdjustmentSettings.h"
#include "records/RunLimits.h"

namespace orvo::gpu {

/// The factor mu of iteration k on the device path: the coefficient alone while k does not exceed the free
/// iterations; after that it is multiplied by 0.1 fBase to the power k where control points oriented the
/// block, otherwise by 1000 fBase to the power k.
double PackedDampingFactor(const DampingSchedule& schedule, int32_t iteration);

/// The factor of the iteration's damping. Writes the limits of its iterative solution, whatever the settings
/// say of them.
double ChoosePackedDamping(const AdjustmentSettings& settings, bool sevenParamApplied, int32_t iteration,
                           RunLimits& limits);

/// damp[k] = mu d and d += damp[k] for the diagonal element d of every unknown k.
void AddPackedDamping(const PackedBlocks& blocks, double mu, std::vector<double>& M,
                      std::vector<double>& damp);

/// out[k] += damp[k] v[k] over the unknowns of images and cameras. Those of POS groups are deliberately left
/// out.
void AddDampingProduct(const PackedBlocks& blocks, const std::vector<double>& damp,
                       const std::vector<double>& v, std::vector<double>& out);

}  // namespace orvo::gpu
