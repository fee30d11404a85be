// Motions of a block as a whole, which its rays alone can't tell from none, and words for a direction in the
// space of the unknowns.
// With the mean C0 of the projection centres that are unknown, a shift t, a turn w and a scale s move
//   centres   dC = t + w x (C - C0) + s (C - C0), and points alike
//   images    R to exp([w]x) R = R exp([R'w]x)
// and leave all rays as they are, to first order. The seven are the datum of a free net: Förstner and Wrobel,
// Photogrammetric Computer Vision (2016), 15.5.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "rigorous/Problem.h"
#include "rigorous/UnknownPlan.h"

namespace orvo::rigorous {

/// Shifts in X, Y and Z, turns about X, Y and Z, scale.
inline constexpr int kBlockMotionNum = 7;

/// The seven in this order, one behind the other, each over all unknowns: t and w of 1, s of 1. Those of
/// cameras are 0. Those of a strip's drift, where images of it have a GPS or an IMU, follow the motion as
/// closely as they can, in the sense of least squares, so that the observations see little of it, and of a
/// shift nothing; elsewhere they are 0.
std::vector<double> FreeDirections(const Problem& problem, const UnknownPlan& plan, const Estimate& estimate);

/// What motions of the whole block have of a direction: parts of the sum of squares over all unknown images.
/// A turn of an image counts as what it moves at the distance of the points, so that all have one unit.
/// Turns are about the axes of the block: X, Y and Z; for a strip along it, across it, and Z.
struct BlockMotion {
  std::array<double, kBlockMotionNum> Shares{};  ///< with fRest a sum of 1; all 0 where nothing moves
  double fRest = 0;                              ///< what deforms the block
  bool bStrip =
      false;  ///< its centres are within a fifth of their length of a straight line, seen from above
  bool bFinite = true;  ///< else without meaning
};

/// Of a `direction` over all unknowns, of any length.
BlockMotion MotionOf(const Problem& problem, const UnknownPlan& plan, const Estimate& estimate,
                     std::span<const double> direction);

/// "height", "turn about the strip's axis", "scale and height of the block", "deformation of the block": the
/// motions that have more than 15 % of it.
std::string WordsOf(const BlockMotion& motion);

}  // namespace orvo::rigorous
