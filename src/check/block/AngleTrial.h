// Which reading of given angles agrees with the orientations of a block.
#pragma once

#include <array>
#include <optional>
#include <span>

#include "check/block/AngleConventions.h"

namespace orvo {

struct AnglePair {
  Rotation3 Block;                ///< of the image
  std::array<double, 3> Numbers;  ///< of its line
};

struct AngleVerdict {
  const AngleReading* pBest = nullptr;
  double dWritten = 0, dBest = 0;  ///< median angles between given and block, degrees
  bool bWrong = false;             ///< another reading than the written one is right
};

/// A reading is right where its median angle is five times smaller than the written one's and below 5
/// degrees. `frame` turns the block into the frame of the angles; where it is not known, what most images
/// have in common is taken for it. Readings in radians are tried where no number is beyond 2 pi.
AngleVerdict TryAngles(std::span<const AnglePair> pairs, const std::optional<Rotation3>& frame);

}  // namespace orvo
