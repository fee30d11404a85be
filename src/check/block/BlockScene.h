// What a sample of points tells of a block as it stands.
#pragma once

#include <array>
#include <span>
#include <vector>

#include "check/block/LeastSquaresIntersection.h"
#include "records/SurveyBlock.h"

namespace orvo {

struct ScenePoint {
  RayIntersection Met;
  double dBaseToHeight = 0;  ///< largest distance between two of its cameras, by the depth
};

/// Lengths in working units.
struct BlockScene {
  std::vector<ScenePoint> Points;  ///< of an even sample, those whose rays meet
  size_t nSampled = 0;
  double dDepth = 0;     ///< median distance of points in front of their cameras; 0 without any
  double dRms = 0;       ///< image units, of the four fifths of the points that meet best
  double dRaySigma = 0;  ///< radians: by how much rays miss each other, for the redundancy of the points
  double dBehind = 0;  ///< share of the points that lie behind a camera, of those with a base worth the name
  double dBaseToHeight = 0;             ///< median
  std::array<double, 3> Up{0, 0, 1};    ///< the mean of what lies behind the cameras, of length 1
  std::array<double, 3> Low{}, High{};  ///< 5 % and 95 % of the points' coordinates
};

BlockScene SampleScene(const SurveyBlock& block, const std::vector<bool>& usable, double objectScale);

/// The longest distance between two of the projection centres.
double LongestBase(std::span<const SightRay> rays);

/// The value below which `share` of the values lie; 0 of none. Reorders the values, of which those that are
/// no number count as infinite.
double Quantile(std::vector<double>& values, double share);

}  // namespace orvo
