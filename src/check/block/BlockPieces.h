// Points an image, and the pieces that a block falls into.
#pragma once

#include <cstdint>
#include <vector>

#include "records/SurveyBlock.h"

namespace orvo {

struct BlockPieces {
  /// By image ordinal: its measurements of points that are measured on two usable images or more.
  std::vector<int64_t> SharedPoints;
  /// Images by piece, the largest first. Images that are not usable, or share no point, are in no piece.
  std::vector<std::vector<int32_t>> Pieces;
};

/// No two pieces share `least` points. Control and check points join images like tie points. Two passes over
/// all measurements, the second where the first leaves a doubt.
BlockPieces FindPieces(const SurveyBlock& block, const std::vector<bool>& usable, int64_t least);

}  // namespace orvo
