// Where measurements lie in their images.
#pragma once

#include <cstdint>

#include "records/SurveyBlock.h"

namespace orvo {

struct CoordinateRange {
  int64_t nMeasurements = 0;  ///< on cameras with an extent
  int64_t nOutside = 0;       ///< more than 1 image unit beyond the extent, origin in the centre
  int64_t nInCorner = 0;      ///< within an image whose origin is a corner, x to the right
  int64_t nFirstPoint = -1;   ///< ordinal of the first point with one outside
  int32_t nFirstImage = -1;   ///< ordinal of the image of it
};

/// One pass over all measurements of the points.
CoordinateRange FindCoordinateRange(const SurveyBlock& block, const SurveyPoints& points);

/// A good share lies outside of images with the origin in the centre, and nearly all inside of images with
/// the origin in a corner.
bool IsFromCorner(const CoordinateRange& range);

}  // namespace orvo
