// What an image covers on the ground.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <vector>

#include "exchange/views/ViewBlock.h"
#include "records/SurveyBlock.h"

namespace orvo::exchange {

using PlanPoint = std::array<double, 2>;  ///< X, Y in object units
/// A convex polygon, counter-clockwise, its first corner not repeated.
using Polygon = std::vector<PlanPoint>;

/// Height of the ground below each image: the median of Z of the points that are measured in it; for images
/// without one, that of all points. Nothing where no point is solved.
std::optional<std::vector<double>> GroundHeights(const SurveyBlock& block, const SurveyPoints& points,
                                                 std::span<const StrictPoint> solved);

/// The corners of an image, corrected for distortion, brought to the plane Z = `ground` by their rays. Empty
/// where a corner does not look down upon it, or the image has no usable camera.
Polygon FootprintOf(const SurveyBlock& block, const SurveyImage& image, double ground);

/// Positive for counter-clockwise ones.
double AreaOf(const Polygon& polygon);
/// The part of a convex polygon where a X + b Y <= c.
Polygon ClippedBy(const Polygon& polygon, double a, double b, double c);

/// The middle of an unsorted range, between the two middle values of an even one. Its order is lost. 0 for an
/// empty range.
double MedianOf(std::span<double> values);

}  // namespace orvo::exchange
