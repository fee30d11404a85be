// What a rigorous adjustment leaves in the parts of its run, for the writers of results.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "geometry/Similarity.h"
#include "results/ResultForm.h"
#include "rigorous/BlockProblem.h"
#include "rigorous/BlockResiduals.h"

namespace orvo {

class CBundleAdjustment;

/// Means and root mean squares, in working image units.
void StoreResidualStatistics(const rigorous::RayResidualSums& sums, ResidualStatistics& residuals);

/// Orientations, cameras, points, drift; POS observations without lever arm and boresight.
void StoreResult(const rigorous::BlockProblem& problem, const rigorous::Estimate& estimate,
                 CBundleAdjustment& run);

/// By measurement in memory: 1 where it takes no part in the solution.
ScratchVector<uint8_t> LeftOutMeasurements(const rigorous::BlockProblem& problem, const PointStore& points);

/// Control of which not all coordinates are observed: their names, and where those are; no number for the
/// others. `stated` is the control as it was given, in the order of the problem. Points have to be in memory.
std::vector<std::pair<std::string, Position>> UnobservedPlaces(
    const rigorous::BlockProblem& problem, const std::vector<rigorous::ControlObservation>& stated,
    const rigorous::Estimate& estimate, const PointStore& points);

/// Residuals_K_0.res behind the last of K iterations, with the measurements that take part.
void WriteRigorousResiduals(int32_t iterations, const rigorous::BlockProblem& problem,
                            const rigorous::Estimate& estimate, CBundleAdjustment& run);

/// Coordinates of the tie points at the result, by their place in the file. Not numbers where a point has
/// none.
ScratchVector<rigorous::Vector3> TiePointPlaces(const rigorous::BlockProblem& problem,
                                                const rigorous::Estimate& estimate, int64_t tiePoints);

/// Control and check points at the result; those of the GCP file are the last in memory. Refers to all of its
/// arguments.
PointPlacing GroundPointPlacing(const rigorous::BlockProblem& problem, const rigorous::Estimate& estimate,
                                const PointStore& points);

}  // namespace orvo
