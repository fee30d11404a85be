// How seldom a value is as large without a gross error.
#pragma once

#include <cstdint>

namespace orvo::rigorous {

/// Probability that a normally distributed number is above `critical`, or below the same with the other sign.
double TwoSidedProbability(double critical);

/// What it exceeds with the given probability; 0 to 40.
double TwoSidedCritical(double probability);

/// The root of a chi-square sum over one to three directions, scaled so that it is above `critical` as seldom
/// as a normally distributed number is. Unscaled where `critical` is not finite.
double AsNormal(double square, int32_t directions, double critical);

}  // namespace orvo::rigorous
