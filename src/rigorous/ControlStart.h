// Control points that are gross before an adjustment begins: exchanged ones, and such as have a wrong digit.
// They would pull the block out of its frame, and then nothing fits.
#pragma once

#include <cstdint>
#include <vector>

#include "rigorous/OutControl.h"
#include "rigorous/Problem.h"

namespace orvo::rigorous {

/// Compares control with the places where its rays meet, after the robust similarity between both. What lies
/// far outside of what the others leave is set aside, and the block goes where those have it, unless GPS or
/// held images say where it is. `sigma0` is what the residuals at the start say of a value of standard
/// deviation 1. Of fewer than six points that are known in all coordinates, or where more than a third of
/// them would go, none does, and all stays bit by bit.
std::vector<OutControl> SetGrossControlAside(Problem& problem, Estimate& estimate, double sigma0);

}  // namespace orvo::rigorous
