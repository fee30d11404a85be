// An adjustment that finds gross errors by itself, leaves them out, and ends as least squares of the rest.
// Where a start looks gross, by graduated Welsch losses: their scale is halved each iteration, so that what
// is far off loses its pull before it has bent the block (Blake & Zisserman, Visual Reconstruction (1987),
// chapter 7). Then what is far off is left out, and data snooping takes the largest of each point in turn and
// takes back what fits. Control points that contradict the others are set aside whole (ControlStart.h,
// ControlSearch.h), and their rays stay.
#pragma once

#include <cstdint>
#include <vector>

#include "records/RigorousSettings.h"
#include "rigorous/Adjust.h"
#include "rigorous/BlunderSearch.h"
#include "rigorous/OutControl.h"

namespace orvo::rigorous {

struct RobustOptions {
  AdjustOptions Steps;
  RobustForm Form = RobustForm::Auto;  ///< None: plain least squares of everything
  double fCritical = 3.29;
};

struct RobustResult {
  AdjustResult Last;  ///< of the final least squares; its iterations are all there were
  std::vector<AdjustIteration> vIterations;  ///< of all stages, numbered through
  std::vector<OutRay> vOut;                  ///< left out at the end, by ray, with |w| against the result
  std::vector<OutControl> vControlOut;       ///< by point, against the result
  bool bControlContradictory = false;        ///< see ControlFinding
  bool bGraduated = false;
  int32_t nSnoopingPasses = 0;
};

/// Rays that are left out lose their image in `problem`, control its standard deviations, and both stand in
/// the result.
RobustResult AdjustRobustly(Problem& problem, const RobustOptions& options, Estimate& estimate,
                            const IterationObserver& observer = {});

}  // namespace orvo::rigorous
