// Where antenna and IMU sit, as a rigorous run found it, in the log.
#pragma once

#include "rigorous/BlockProblem.h"

namespace orvo {

class CBundleAdjustment;

/// A line each for the lever arm (object units, axes of the camera) and the boresight (phi, omega, kappa in
/// degrees) of every camera where they are unknowns.
void TellMountings(const rigorous::BlockProblem& problem, const rigorous::Estimate& estimate,
                   CBundleAdjustment& run);

}  // namespace orvo
