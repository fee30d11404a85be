// Which control points contradict the others: data snooping of whole points, with the precision of
// everything. Of gross errors one at a time, the point whose misfit is the largest is the wrong one, as every
// other one has but a part of it: Baarda, A testing procedure for use in geodetic networks (1968). After it
// went, the block is adjusted again and asked whether that was right: against the rest it has to be as far
// off, and farther than control is as a rule, for stated standard deviations may be too small altogether.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "rigorous/Adjust.h"
#include "rigorous/OutControl.h"

namespace orvo::rigorous {

struct ControlSearchOptions {
  double fCritical = 4;  ///< of |w|
  int32_t nThreads = 1;
};

struct ControlFinding {
  /// Most of it does not agree: half of it or more would have to go, or what stays is as a rule more than
  /// five times as far off as its standard deviations say.
  bool bContradictory = false;
};

/// `problem` and `estimate` are those of `steps`; `adjust` is to run its least squares, and says whether the
/// adjustment can go on; `sigma0` that of a value of standard deviation 1 where they stand. `out` is what has
/// been set aside before; of it, what fits comes back. Less than half of the control goes.
ControlFinding SearchControl(Problem& problem, Adjuster& steps, Estimate& estimate,
                             const ControlSearchOptions& options, const std::function<bool()>& adjust,
                             const std::function<double()>& sigma0, std::vector<OutControl>& out);

}  // namespace orvo::rigorous
