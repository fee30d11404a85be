// What a similarity transform rests on, and where it puts the block.
#pragma once

#include <array>
#include <span>
#include <vector>

#include "geometry/Similarity.h"
#include "records/Records.h"

namespace orvo {

/// Extent of the points across their longest direction over that along it (root mean squares): 0 on a line or
/// for fewer than three points, 1 for a round set.
double WidthOverLength(std::span<const Position> points);

/// Where the images have their "up": the mean of the camera axes that point away from the ground.
struct MeanView {
  Position Up{};          ///< of unit length; 0 0 0 without images
  double fAgreement = 0;  ///< 1 where all are the same, 0 where they cancel out
};
MeanView ViewOf(std::span<const EopRecord> images);

/// Degrees between two directions; 0 where one has no length.
double AngleBetween(const Position& a, const Position& b);

/// For each pair, how far source[i] is off target[i] after the transform that three pairs determine, namely
/// the three that make half of the others (four at least, the three included) fit best. Empty for fewer than
/// five pairs, which leave no way to tell a wrong one.
std::vector<double> RobustMisfits(std::span<const Position> source, std::span<const Position> target);

}  // namespace orvo
