// Control and check points of a generated block.
#pragma once

#include <string>
#include <vector>

#include "synthetic/SyntheticScene.h"

namespace orvo {

struct SyntheticGroundPoint {
  std::string szName;
  int32_t nType = 1;                                ///< 1 control point, 2 check point
  double X = 0, Y = 0, Z = 0;                       ///< true coordinates
  double fGivenX = 0, fGivenY = 0, fGivenZ = 0;     ///< as surveyed, in the GCP file
  std::vector<SyntheticMeasurement> pMeasurements;  ///< at least two
};

/// Control points, then check points, spread over the block: its corners first, then always where the next
/// neighbour is farthest. Fewer than asked for where the block has no room for more that two images see.
std::vector<SyntheticGroundPoint> MakeGroundPoints(const SyntheticScene& scene);

}  // namespace orvo
