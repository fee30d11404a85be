// What one more step without damping would gain on the device path.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "gpu/PackedPcg.h"
#include "solver/PredictedDecrease.h"

namespace orvo::gpu {

/// The equations of an iteration before their damping.
struct UndampedEquations {
  const PackedProduct& Product;
  const PackedInverse& Precondition;
  const std::vector<double>& vRightSide;
  /// Takes out of a vector what lies along the ways in which a free block moves as a whole.
  const std::function<void(std::vector<double>& r)>& RemoveDatum;
};

/// By how much the sum of squares falls in a step that solves what the step x leaves of the equations;
/// nothing where a product failed.
std::optional<double> PredictPackedDecrease(const UndampedEquations& equations, const std::vector<double>& x,
                                            const DecreaseLimits& limits);

}  // namespace orvo::gpu
