// Ground sample distance of a block.
#pragma once

#include <span>

#include "records/Records.h"

namespace orvo {

/// Ground size of one file image unit, sampled on the image of the first measurement: the mean over every
/// tenth measurement of (distance on the ground) / (distance in the image), each taken to the first
/// measurement, with image distances divided by `imageScale`. Not a number where nothing can be compared.
float ComputeGsd(std::span<const ObjectPointRecord> objectPoints,
                 std::span<const ImagePointRecord> imagePoints, double imageScale);

}  // namespace orvo
