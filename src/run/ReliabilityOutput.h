// Reliability of control and check points, observations that the others contradict, and standard deviations
// that were estimated: the figures of the summary.
#pragma once

#include <optional>
#include <vector>

#include "records/GcpSigma.h"
#include "report/RunFigures.h"
#include "rigorous/BlockProblem.h"
#include "rigorous/PrecisionFigures.h"
#include "rigorous/RobustAdjust.h"
#include "rigorous/VarianceEstimation.h"

namespace orvo {

class CBundleAdjustment;

/// Check points of the GCP file that take part, by ascending point: `sigmas` are those of its lines, in their
/// order; what is not told there is that of the settings. Points have to be in memory.
std::vector<rigorous::CheckPoint> CheckPointsOfRun(const rigorous::BlockProblem& problem,
                                                   const std::vector<GcpSigma>& sigmas,
                                                   CBundleAdjustment& run);

/// Into the figures of a run that has those of precision; GPS and IMU that the others contradict into the
/// log.
void NoteReliability(const rigorous::BlockProblem& problem, const rigorous::RobustResult& result,
                     const rigorous::PrecisionFigures& figures,
                     const std::optional<rigorous::VarianceEstimation>& variances, CBundleAdjustment& run);

}  // namespace orvo
