// Where the rays of a point meet, without a start.
#pragma once

#include <optional>

#include "rigorous/PointPlace.h"

namespace orvo::rigorous {

/// The place nearest to all rays: with their unit directions d and centres S, sum (I - d d') (P - S) = 0
/// (Förstner and Wrobel, Photogrammetric Computer Vision (2016), 13.4). Observed coordinates are held at
/// their values. Empty where the rays are within about a thousandth of
/// parallel, or too few.
std::optional<Vector3> IntersectionOf(const PointSurroundings& around, const PointObservations& point);

}  // namespace orvo::rigorous
