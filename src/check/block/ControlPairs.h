// Given coordinates of control and check points beside where their rays meet.
#pragma once

#include <vector>

#include "check/block/PosPairs.h"
#include "records/SurveyBlock.h"

namespace orvo {

/// Working units.
struct ControlPairs {
  std::vector<size_t> Points;  ///< ordinals of those whose rays meet, with finite coordinates
  std::vector<Position3> Block, Given;
  std::vector<double> Expected;  ///< how far off a point may be for the rays of the block, in its frame
  std::vector<Position3> ControlInBlock, ControlGiven;  ///< of these, the control points (type 1)
  std::vector<size_t> Unmeasured;                       ///< ordinals of those that fewer than two images see
};

/// `raySigma`: by how much rays of the block miss each other, radians.
ControlPairs PairControl(const SurveyBlock& block, const std::vector<bool>& usable, double objectScale,
                         double raySigma);

}  // namespace orvo
