// POS lines beside the images that they belong to.
#pragma once

#include <vector>

#include "check/block/FrameJudgement.h"
#include "records/SurveyBlock.h"

namespace orvo {

struct PosPair {
  size_t nImage = 0, nPos = 0;  ///< ordinals
};

/// By image ordinal: usable images that have a line. Of several images of a name the first has it, of several
/// lines of a name the last counts.
std::vector<PosPair> PairPos(const SurveyBlock& block, const std::vector<bool>& usable);

/// Projection centres and positions of the pairs, those without position (0, 0, 0) left out. Working units.
struct PositionPairing {
  std::vector<PosPair> Pairs;
  std::vector<Position3> Block, Given;
};
PositionPairing PairPositions(const SurveyBlock& block, const std::vector<PosPair>& pairs,
                              double objectScale);

}  // namespace orvo
