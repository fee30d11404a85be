// Points an image, and the pieces that a block falls into.
#pragma once

#include <cstdint>
#include <vector>

#include "records/SurveyBlock.h"

namespace orvo {

/// By image ordinal: its measurements of points that are measured on two usable images or more.
std::vector<int64_t> CountSharedPoints(const SurveyBlock& block, const std::vector<bool>& usable);

/// Images by piece, the largest first: no two pieces share `least` points. Control and check points join
/// images like tie points. Images that are not usable, or share no point, are in no piece.
std::vector<std::vector<int32_t>> FindPieces(const SurveyBlock& block, const std::vector<bool>& usable,
                                             const std::vector<int64_t>& sharedPoints, int64_t least);

}  // namespace orvo
