// Images that do not belong where the project has them, among others that do.
#pragma once

#include <cstddef>
#include <vector>

#include "records/SurveyBlock.h"

namespace orvo {

struct StrayImage {
  size_t nImage = 0;
  double dMiss = 0;  ///< median length by which its rays miss what the others see, image units;
                     ///< infinite for one that looks away from it
};

/// Images of which most rays, of up to 16 points of three rays and more, miss the point that the other rays
/// see by more than 200 units, 20 times what those miss each other, and 15 times what is usual in the block.
/// Up to ten, and up to a fifth of all images; where more are off, none is told.
std::vector<StrayImage> FindStrayImages(const SurveyBlock& block, const std::vector<bool>& usable,
                                        double objectScale);

}  // namespace orvo
