// The directions in which a free block moves as a whole.
#pragma once

#include <span>
#include <vector>

#include "records/Records.h"
#include "records/UnknownLayout.h"

namespace orvo {

/// Takes out of `r`, one value an unknown, what lies along the seven ways to move, turn and scale all images
/// together. Nothing measured in the images of a free block says anything about these, and what rounding and
/// linearisation leave there is no step that would gain anything.
void RemoveDatum(const UnknownLayout& layout, std::span<const EopRecord> images, std::vector<double>& r);

}  // namespace orvo
